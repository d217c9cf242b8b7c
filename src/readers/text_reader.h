/// What the readers of both text formats share: the loop over the records, the window that slides over the file, the
/// white space between records, and the pending error with its line number.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>

#include "readers/read_frame.h"
#include "readers/read_notes.h"

/// File bytes that the window holds at most; one byte more is allocated, for the NUL after them.
constexpr uint32_t READ_WINDOW_SIZE = 60000;

/// The window is topped up before a record when at most this many unread bytes remain, so that every record (521
/// characters and its line end at most) is completely in it unless the file ends.
constexpr uint32_t READ_REFILL_THRESHOLD = 999;

/// The state of one read.
struct TextReadState {
  int32_t NumLineEnds;            ///< Line ends passed so far; messages print it plus 1.
  int32_t Pos;                    ///< Index of the next unread byte of the window.
  uint8_t* pWindow;               ///< READ_WINDOW_SIZE + 1 bytes.
  uint8_t Checksum;               ///< Running sum of the bytes of the current record.
  uint32_t UpperAddr;             ///< Intel HEX: added to the addresses of data records.
  std::array<char, 128> acError;  ///< The pending error's text; empty: no error.

  int32_t NumFilled;  ///< File bytes in the window; the byte after them is NUL.
  uint32_t hFile;
  bool IsAtEnd;  ///< The file has no more bytes to give.
  int Status;    ///< The result that goes with acError.

  ReadNotes* pNotes;      ///< Filled on the way.
  uint64_t WindowOffset;  ///< Offset in the file of the window's first byte.
};

/// What makes a text format.
struct TextFormat {
  char StartChar;              ///< The first character of the file and of every record.
  bool CountsCr;               ///< A CR in white space is a line end as LF is.
  const char* pNotFormatText;  ///< The error of a file that begins otherwise.
  const char* pNoWindowText;   ///< The error when there is no memory for the window.
  /// Reads the record at Pos, which is not NUL. Returns false when there is a pending error.
  bool (*pfReadRecord)(TextReadState* pState, MemImage* pImage);
};

/// Reads a text file. acError of a failed read is reported as "Error in line ..."; open failures are reported as
/// the frame makes them. pNotes, fresh or null, receives what there is to note. Returns a result of a read.
[[nodiscard]] int TEXT_Read(const TextFormat& Format, MemImage* pImage, const char* pPath, const ReportSink& Sink,
                            ReportSink* pModuleSink, ReadNotes* pNotes);

/// Makes a text the pending error unless there is one already: the first error of a record is the one reported. Its
/// place is the next unread byte. Returns false, so that a function that returns its success can end with it.
__attribute__((format(printf, 3, 4))) bool TEXT_Fail(TextReadState* pState, int Status, const char* pFormat, ...);

/// Whether there is a pending error.
inline bool TEXT_HasError(const TextReadState& State) {
  return State.acError[0] != '\0';
}

/// Returns the offset in the file of the next unread byte.
inline uint64_t TEXT_OffsetOfPos(const TextReadState& State) {
  return State.WindowOffset + static_cast<uint32_t>(State.Pos);
}

/// Returns the next unread byte, a NUL at the end of the window.
inline uint8_t TEXT_Peek(const TextReadState& State) {
  return State.pWindow[State.Pos];
}

/// Whether a byte in the place where a record would begin ends the data: a NUL (the window's own after the last byte of
/// the file, or one in it), or 0x1A, which old systems wrote after a text.
inline bool TEXT_IsEndOfData(uint8_t Byte) {
  return Byte == 0 || Byte == 0x1A;
}

/// Counts a line end, up to the largest count whose next number can still be printed.
inline void TEXT_CountLineEnd(TextReadState* pState) {
  pState->NumLineEnds += pState->NumLineEnds < INT32_MAX - 1 ? 1 : 0;
}

/// TEXT_Fail for the first character from Pos on that is not a hexadecimal digit.
bool TEXT_FailAtDigit(TextReadState* pState);

/// Makes a text the pending error of a record whose text is right: READER_ERR_RECORD, at the record's start.
bool TEXT_FailRecord(TextReadState* pState, const char* pText);

/// Hands the record that ends at Pos to whoever wants the notes. Its places in the file are filled in here.
inline void TEXT_NoteRecord(const TextReadState& State, NotedRecord Record) {
  if (State.pNotes->pfRecord != nullptr) {
    Record.Offset = State.pNotes->LastRecord;
    Record.DataOffset = TEXT_OffsetOfPos(State) - 2 - 2 * static_cast<uint64_t>(std::max(Record.NumBytes, 0));
    State.pNotes->pfRecord(State.pNotes->pContext, Record);
  }
}

/// Skips TAB, SPACE, CR and LF, however many windows of it, and counts line ends; then makes sure that a complete
/// record is in the window unless the file ends. Returns false when the file cannot be read; that is then the pending
/// error.
[[nodiscard]] bool TEXT_SkipWhiteSpace(TextReadState* pState, bool CountsCr);

/// Decodes the next NumBytes bytes of two digits each, adds them to Checksum and steps over them.
/// Returns false if a character is not a digit or the window ends first; only pBytes may have changed then.
[[nodiscard]] bool TEXT_DecodeBytes(TextReadState* pState, uint32_t NumBytes, uint8_t* pBytes);

/// Stores the data of a record. Returns whether the image holds it now; if not, the reason is the pending error.
[[nodiscard]] bool TEXT_StoreData(TextReadState* pState, MemImage* pImage, uint64_t Addr, uint32_t NumBytes,
                                  const uint8_t* pData);
