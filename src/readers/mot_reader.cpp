#include "readers/mot_reader.h"

#include <algorithm>
#include <array>

#include "readers/text_reader.h"

namespace {

constinit ReportSink MotSink{};

constexpr char RECORD_MARK = 'S';
constexpr bool COUNTS_CR = false;

/// The bytes of a record after 'S' and type, in file order: count, address, data, checksum.
struct MotRecord {
  uint8_t Type;
  uint8_t Count;                   ///< Bytes that follow, checksum included.
  std::array<uint8_t, 255> aByte;  ///< Address and data, then the checksum.

  /// Even a record with a count of 0 has a checksum.
  [[nodiscard]] uint32_t NumBytes() const {
    return Count != 0 ? Count : 1;
  }
  [[nodiscard]] uint8_t Checksum() const {
    return aByte[NumBytes() - 1];
  }
};

/// The properties of a record type.
struct MotType {
  NotedKind Kind;
  uint8_t NumAddressBytes;
};

constexpr std::array<MotType, 10> TYPES = {{
    {NOTED_HEADER, 2},
    {NOTED_DATA, 2},
    {NOTED_DATA, 3},
    {NOTED_DATA, 4},
    {NOTED_UNKNOWN, 0},
    {NOTED_COUNT, 2},
    {NOTED_COUNT, 3},
    {NOTED_END, 4},
    {NOTED_END, 3},
    {NOTED_END, 2},
}};

/// Returns the first NumBytes bytes as an address.
uint32_t AddressOf(const MotRecord& Record, uint32_t NumBytes) {
  uint32_t Addr = 0;
  for (uint32_t i = 0; i < NumBytes; ++i) {
    Addr = Addr << 8 | Record.aByte[i];
  }
  return Addr;
}

/// Reads 'S' and the type digit, and any white space between them.
[[nodiscard]] bool ReadMarkAndType(TextReadState* pState, MotRecord* pRecord) {
  if (TEXT_Peek(*pState) == RECORD_MARK) {
    ++pState->Pos;
    if (!TEXT_SkipWhiteSpace(pState, COUNTS_CR)) {
      return false;
    }
    const uint8_t Digit = TEXT_Peek(*pState);
    if (Digit >= '0' && Digit <= '9') {
      ++pState->Pos;
      pRecord->Type = static_cast<uint8_t>(Digit - '0');
      return true;
    }
  }
  return TEXT_Fail(pState, READ_ERROR_MARK, "Unexpected character");
}

[[nodiscard]] bool DecodeRecord(TextReadState* pState, MotRecord* pRecord) {
  return (TEXT_DecodeBytes(pState, 1, &pRecord->Count) &&
          TEXT_DecodeBytes(pState, pRecord->NumBytes(), pRecord->aByte.data())) ||
         TEXT_FailAtDigit(pState);
}

/// S-record checksum: the bytes of a record, its checksum included, add up to 0xFF modulo 256.
[[nodiscard]] bool TestChecksum(TextReadState* pState, const MotRecord& Record) {
  if (pState->Checksum == 0xFF) {
    return true;
  }
  const uint32_t SumBefore = uint32_t{pState->Checksum} - Record.Checksum();
  const uint8_t Right = static_cast<uint8_t>(~SumBefore);
  pState->pObserver->Notes.RightChecksum = Right;
  pState->Pos -= 2;
  return TEXT_Fail(pState, READ_ERROR_CHECKSUM, "Checksum error! Checksum in file: 0x%02X, checksum calculated 0x%02X",
                   Record.Checksum(), Right);
}

[[nodiscard]] bool ActOnRecord(TextReadState* pState, MemImage* pImage, const MotRecord& Record) {
  const NotedKind Kind = TYPES[Record.Type].Kind;
  const uint8_t NumAddressBytes = TYPES[Record.Type].NumAddressBytes;
  const int32_t NumBytes = static_cast<int32_t>(Record.NumBytes()) - 1 - NumAddressBytes;
  if (Kind == NOTED_DATA && NumBytes < 0) {
    return TEXT_FailRecord(pState, READ_ERROR_TOO_SHORT, "Record too short");
  }
  const uint32_t Addr = AddressOf(Record, std::min<uint32_t>(NumAddressBytes, Record.NumBytes() - 1));
  const uint8_t* pData = Record.aByte.data() + NumAddressBytes;
  if (TEXT_IsObserved(*pState)) {
    TEXT_NoteRecord(*pState, {Kind, Addr, NumBytes, pData});
  }
  return Kind != NOTED_DATA || TEXT_StoreData(pState, pImage, Addr, static_cast<uint32_t>(NumBytes), pData);
}

[[nodiscard]] bool ReadRecord(TextReadState* pState, MemImage* pImage) {
  MotRecord Record;
  pState->Checksum = 0;
  return ReadMarkAndType(pState, &Record) && DecodeRecord(pState, &Record) && TestChecksum(pState, Record) &&
         ActOnRecord(pState, pImage, Record);
}

constexpr TextFormat S_RECORD = {RECORD_MARK, COUNTS_CR, "Not a mot file", "Malloc problem", ReadRecord};

}  // namespace

int MOT_ReadEx(MemImage* pImage, const char* pPath, ReportFn pfReport, void* pReportContext, ReadObserver* pObserver) {
  return TEXT_Read(S_RECORD, pImage, pPath, {pfReport, pReportContext}, &MotSink, pObserver);
}

int MOT_Read(MemImage* pImage, const char* pPath, char* pErrText, uint32_t ErrTextSize) {
  ErrorTextBuffer Buffer{pErrText, ErrTextSize};
  return MOT_ReadEx(pImage, pPath, UTIL_CollectErrorText, &Buffer);
}
