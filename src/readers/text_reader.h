/// What the readers of both text formats share: the loop over the records, the window that slides over the file, the
/// white space between records, and the pending error with its line number.
#pragma once

#include <array>
#include <cstdint>

#include "readers/read_frame.h"
#include "readers/read_notes.h"

/// The most file bytes that the window holds. One more byte is allocated, for the NUL after them.
constexpr uint32_t READ_WINDOW_SIZE = 60000;

/// Before each record, the window is topped up if no more than this many unread bytes remain. So a record (at most 521
/// characters and a line end) is always completely in it, unless the file ends.
constexpr uint32_t READ_REFILL_THRESHOLD = 999;

/// The state of a read.
struct TextReadState {
  int32_t NumLineEnds;            ///< Line ends so far; messages print one more.
  int32_t Pos;                    ///< Index of the next unread byte of the window.
  uint8_t* pWindow;               ///< READ_WINDOW_SIZE + 1 bytes.
  uint8_t Checksum;               ///< Running sum of the bytes of the current record.
  uint32_t UpperAddr;             ///< Intel HEX: added to the addresses of data records.
  std::array<char, 128> acError;  ///< The pending error's text; empty: no error.

  int32_t NumFilled;  ///< File bytes in the window; the byte after them is NUL.
  uint32_t hFile;
  bool IsAtEnd;  ///< The file has no more bytes.

  ReadObserver* pObserver;  ///< Never null.
  uint64_t WindowOffset;    ///< Offset in the file of the window's first byte.
};

/// What defines a text format.
struct TextFormat {
  char StartChar;              ///< The first character of the file and of every record.
  bool CountsCr;               ///< In white space, a CR counts as a line end, as LF does.
  const char* pNotFormatText;  ///< The error if a file begins with anything else.
  const char* pNoWindowText;   ///< The error if there is no memory for the window.
  /// Reads the record at Pos, which is not NUL. Returns false if there is a pending error.
  bool (*pfReadRecord)(TextReadState* pState, MemImage* pImage);
};

/// Reads a text file. Reports the pending error of a failed read as "Error in line ...", but a failure to open the file
/// as READER_FailOpen does. pObserver: with new notes, or null. Returns the result of the read.
[[nodiscard]] int TEXT_Read(const TextFormat& Format, MemImage* pImage, const char* pPath, const ReportSink& Sink,
                            ReportSink* pModuleSink, ReadObserver* pObserver);

/// Makes a text the pending error and notes it, unless there is one already: the first error of a record is the one
/// reported. Its place is the next unread byte. Always returns false, so a function that returns its success can end
/// with it.
__attribute__((format(printf, 3, 4))) bool TEXT_Fail(TextReadState* pState, ReadErrorKind Error, const char* pFormat,
                                                     ...);

/// Whether there is a pending error.
inline bool TEXT_HasError(const TextReadState& State) {
  return State.acError[0] != '\0';
}

/// Returns the file offset of the next unread byte.
inline uint64_t TEXT_OffsetOfPos(const TextReadState& State) {
  return State.WindowOffset + static_cast<uint32_t>(State.Pos);
}

/// Returns the next unread byte, or NUL at the end of the window.
inline uint8_t TEXT_Peek(const TextReadState& State) {
  return State.pWindow[State.Pos];
}

/// Whether a byte ends the data if it stands where a record would begin: a NUL, which may be the window's own after the
/// last byte of the file, or 0x1A, which old systems wrote after a text.
inline bool TEXT_IsEndOfData(uint8_t Byte) {
  return Byte == 0 || Byte == 0x1A;
}

/// Counts a line end, unless the number of the next line would be too large to print.
inline void TEXT_CountLineEnd(TextReadState* pState) {
  pState->NumLineEnds += pState->NumLineEnds < INT32_MAX - 1 ? 1 : 0;
}

/// TEXT_Fail for the first character from Pos on that is not a hexadecimal digit.
bool TEXT_FailAtDigit(TextReadState* pState);

/// TEXT_Fail for a record whose text and checksum are right. The place is the start of the record.
bool TEXT_FailRecord(TextReadState* pState, ReadErrorKind Error, const char* pText);

/// Whether records are observed. Preparing records that nobody reads would cost a tenth of the run time.
inline bool TEXT_IsObserved(const TextReadState& State) {
  return State.pObserver->pfRecord != nullptr;
}

/// Adds the offsets of the record that ends at Pos and passes it to pfRecord, which must be set.
void TEXT_NoteRecord(const TextReadState& State, NotedRecord Record);

/// Skips TAB, SPACE, CR and LF, even several windows of them, and counts line ends. Then makes sure that a complete
/// record is in the window unless the file ends. Returns false if the file cannot be read, with that as the pending
/// error.
[[nodiscard]] bool TEXT_SkipWhiteSpace(TextReadState* pState, bool CountsCr);

/// Decodes the next NumBytes bytes of two digits each, adds them to Checksum and steps over them.
/// Returns false if a character is not a digit or the window ends first; only pBytes may have changed then.
[[nodiscard]] bool TEXT_DecodeBytes(TextReadState* pState, uint32_t NumBytes, uint8_t* pBytes);

/// Stores the data of a record. Returns whether the image holds it now; if not, the reason is the pending error.
[[nodiscard]] bool TEXT_StoreData(TextReadState* pState, MemImage* pImage, uint64_t Addr, uint32_t NumBytes,
                                  const uint8_t* pData);
