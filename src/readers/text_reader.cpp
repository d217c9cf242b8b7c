#include "readers/text_reader.h"

#include <algorithm>
#include <cstdarg>
#include <cstring>

#include "sys/file.h"
#include "sys/heap.h"
#include "util/format.h"
#include "util/hex_digits.h"

namespace {

/// Returns the result of a read that ends with an error, or with none.
int StatusOf(ReadErrorKind Error) {
  switch (Error) {
    case READ_NO_ERROR:
      return 0;
    case READ_ERROR_SYSTEM:
      return READER_ERR_OPEN;
    case READ_ERROR_MEMORY:
      return READER_ERR_NO_MEMORY;
    case READ_ERROR_NOT_FORMAT:
      return READER_ERR_NOT_FORMAT;
    default:
      return READER_ERR_RECORD;
  }
}

int32_t NumUnread(const TextReadState& State) {
  return State.NumFilled - State.Pos;
}

/// Reads until the window is full or the file ends, even if the system delivers less at a time.
void FillWindow(TextReadState* pState) {
  while (pState->NumFilled < static_cast<int32_t>(READ_WINDOW_SIZE) && !pState->IsAtEnd) {
    const uint32_t NumWanted = READ_WINDOW_SIZE - static_cast<uint32_t>(pState->NumFilled);
    const int64_t NumRead = SYS_FileRead(pState->hFile, pState->pWindow + pState->NumFilled, NumWanted);
    if (NumRead < 0) {
      TEXT_Fail(pState, READ_ERROR_SYSTEM, "Could not read file.");
    }
    pState->IsAtEnd = NumRead <= 0;
    pState->NumFilled += NumRead > 0 ? static_cast<int32_t>(NumRead) : 0;
  }
  pState->pWindow[pState->NumFilled] = 0;
}

/// Moves the unread bytes to the front and fills the rest. Does nothing if the file has ended.
void TopUpWindow(TextReadState* pState) {
  if (pState->IsAtEnd) {
    return;
  }
  const int32_t NumKept = NumUnread(*pState);
  pState->WindowOffset += static_cast<uint32_t>(pState->Pos);
  std::memmove(pState->pWindow, pState->pWindow + pState->Pos, static_cast<size_t>(NumKept));
  pState->Pos = 0;
  pState->NumFilled = NumKept;
  FillWindow(pState);
}

bool IsWhiteSpace(uint8_t c) {
  return c == '\n' || c == '\r' || c == '\t' || c == ' ';
}

/// Steps over white space within the window.
void SkipWithinWindow(TextReadState* pState, bool CountsCr) {
  while (IsWhiteSpace(TEXT_Peek(*pState))) {
    const uint8_t c = TEXT_Peek(*pState);
    if (c == '\n' || (c == '\r' && CountsCr)) {
      TEXT_CountLineEnd(pState);
    }
    ++pState->Pos;
  }
}

/// Whether the next record may be longer than the rest of the window.
bool IsLow(const TextReadState& State) {
  return NumUnread(State) <= static_cast<int32_t>(READ_REFILL_THRESHOLD);
}

/// Tops up the window until more than white space is in it.
/// Not inlined: it is rare, and TEXT_SkipWhiteSpace is then short enough to be inlined into the loop over the records.
[[gnu::noinline]] void TopUpAndSkip(TextReadState* pState, bool CountsCr) {
  while (NumUnread(*pState) == 0 && !pState->IsAtEnd) {
    TopUpWindow(pState);
    SkipWithinWindow(pState, CountsCr);
  }
  if (IsLow(*pState)) {
    TopUpWindow(pState);
  }
}

/// Returns whether a record begins at Pos. If not, the data ends there.
[[nodiscard]] bool BeginRecord(TextReadState* pState) {
  const bool IsEnd = TEXT_IsEndOfData(TEXT_Peek(*pState));
  if (!IsEnd) {
    pState->pObserver->Notes.LastRecord = TEXT_OffsetOfPos(*pState);
  } else if (NumUnread(*pState) > 1) {  // bytes follow the mark; the window's own NUL is not counted
    pState->pObserver->Notes.EndMark = TEXT_OffsetOfPos(*pState);
  }
  return !IsEnd;
}

void ReadRecords(const TextFormat& Format, TextReadState* pState, MemImage* pImage) {
  FillWindow(pState);
  if (pState->pWindow[0] != static_cast<uint8_t>(Format.StartChar)) {
    TEXT_Fail(pState, READ_ERROR_NOT_FORMAT, "%s", Format.pNotFormatText);
  }
  bool GoesOn = !TEXT_HasError(*pState);
  while (GoesOn) {
    GoesOn = TEXT_SkipWhiteSpace(pState, Format.CountsCr) && BeginRecord(pState) && Format.pfReadRecord(pState, pImage);
  }
}

void ReportWithLine(const TextReadState& State, const ReportSink& Sink) {
  std::array<char, 256> acText;
  UTIL_snprintf(acText.data(), acText.size(), "Error in line %d: %s", State.NumLineEnds + 1, State.acError.data());
  UTIL_ReportError(Sink, acText.data());
}

/// Reads the open file and reports its pending error, if it has one. Returns the result of the read.
[[nodiscard]] int ReadText(const TextFormat& Format, TextReadState* pState, MemImage* pImage, const ReportSink& Sink) {
  pState->pWindow = static_cast<uint8_t*>(SYS_Alloc(READ_WINDOW_SIZE + 1));
  if (pState->pWindow == nullptr) {
    TEXT_Fail(pState, READ_ERROR_MEMORY, "%s", Format.pNoWindowText);
  } else {
    ReadRecords(Format, pState, pImage);
    SYS_Free(pState->pWindow);
  }
  if (TEXT_HasError(*pState)) {
    ReportWithLine(*pState, Sink);
  }
  return StatusOf(pState->pObserver->Notes.Error);
}

}  // namespace

int TEXT_Read(const TextFormat& Format, MemImage* pImage, const char* pPath, const ReportSink& Sink,
              ReportSink* pModuleSink, ReadObserver* pObserver) {
  TextReadState State{};
  ReadObserver Unused;
  State.pObserver = pObserver != nullptr ? pObserver : &Unused;
  const int64_t hFile = READER_Begin(pImage, pPath, Sink, pModuleSink);
  State.hFile = static_cast<uint32_t>(hFile);
  const int Status =
      hFile != SYS_NO_FILE
          ? ReadText(Format, &State, pImage, *pModuleSink)
          : READER_FailOpen(pPath, *pModuleSink, {State.acError.data(), State.acError.size()}, &State.pObserver->Notes);
  READER_End(pImage, hFile);
  return Status;
}

bool TEXT_Fail(TextReadState* pState, ReadErrorKind Error, const char* pFormat, ...) {
  if (TEXT_HasError(*pState)) {
    return false;
  }
  ReadNotes* pNotes = &pState->pObserver->Notes;
  READER_NoteError(pNotes, Error);
  if (Error >= READ_ERROR_NOT_FORMAT) {
    pNotes->ErrorOffset = TEXT_OffsetOfPos(*pState);
  }
  FormatBuffer Buffer{pState->acError.data(), static_cast<int32_t>(pState->acError.size()), 0};
  va_list Args;
  va_start(Args, pFormat);
  UTIL_FormatV(&Buffer, pFormat, Args);
  va_end(Args);
  return false;
}

bool TEXT_FailAtDigit(TextReadState* pState) {
  while (UTIL_HEX_DIGIT_VALUE[TEXT_Peek(*pState)] != UTIL_NO_HEX_DIGIT) {
    ++pState->Pos;
  }
  return TEXT_Fail(pState, READ_ERROR_DIGIT, "Expected Hex character : 0..9, A..F");
}

bool TEXT_FailRecord(TextReadState* pState, ReadErrorKind Error, const char* pText) {
  TEXT_Fail(pState, Error, "%s", pText);
  pState->pObserver->Notes.ErrorOffset = pState->pObserver->Notes.LastRecord;
  return false;
}

void TEXT_NoteRecord(const TextReadState& State, NotedRecord Record) {
  Record.Offset = State.pObserver->Notes.LastRecord;
  Record.DataOffset = TEXT_OffsetOfPos(State) - 2 - 2 * static_cast<uint64_t>(std::max(Record.NumBytes, 0));
  State.pObserver->pfRecord(State.pObserver->pContext, Record);
}

bool TEXT_SkipWhiteSpace(TextReadState* pState, bool CountsCr) {
  SkipWithinWindow(pState, CountsCr);
  if (IsLow(*pState)) {
    TopUpAndSkip(pState, CountsCr);
  }
  return !TEXT_HasError(*pState);
}

bool TEXT_DecodeBytes(TextReadState* pState, uint32_t NumBytes, uint8_t* pBytes) {
  if (static_cast<uint32_t>(NumUnread(*pState)) < 2 * NumBytes) {
    return false;
  }
  uint8_t Sum = pState->Checksum;
  if (!UTIL_DecodeHex(pState->pWindow + pState->Pos, NumBytes, pBytes, &Sum)) {
    return false;
  }
  pState->Checksum = Sum;
  pState->Pos += static_cast<int32_t>(2 * NumBytes);
  return true;
}

bool TEXT_StoreData(TextReadState* pState, MemImage* pImage, uint64_t Addr, uint32_t NumBytes, const uint8_t* pData) {
  const int Status = READER_Store(pImage, Addr, NumBytes, pData);
  if (Status == MEMIMG_ERR_NO_MEMORY) {
    return TEXT_Fail(pState, READ_ERROR_MEMORY, "Out of memory");
  }
  return Status == 0 || TEXT_FailRecord(pState, READ_ERROR_OVERLAP, "Areas overlap");
}
