#include "readers/hex_reader.h"

#include <array>

#include "util/hex_digits.h"

namespace {

constinit ReportSink HexSink{};

constexpr char RECORD_MARK = ':';

enum HexRecordType : uint8_t {
  HEX_TYPE_DATA = 0x00,
  HEX_TYPE_END = 0x01,
  HEX_TYPE_EXTENDED_SEGMENT = 0x02,
  HEX_TYPE_START_SEGMENT = 0x03,
  HEX_TYPE_EXTENDED_LINEAR = 0x04,
  HEX_TYPE_START_LINEAR = 0x05,
  HEX_TYPE_EXTENDED_LINEAR_ALIAS = 0xFF,
};

/// The kind of each type from 00 to 05.
constexpr std::array<NotedKind, HEX_TYPE_START_LINEAR + 1> KINDS = {NOTED_DATA,  NOTED_END,        NOTED_SEGMENT,
                                                                    NOTED_START, NOTED_UPPER_ADDR, NOTED_START};

/// The bytes of a record, in file order: byte count, address (two bytes), type, data, checksum.
struct HexRecord {
  static constexpr uint32_t NUM_FRAME_BYTES = 5;

  std::array<uint8_t, 255 + NUM_FRAME_BYTES> aByte;

  [[nodiscard]] uint32_t NumData() const {
    return aByte[0];
  }
  [[nodiscard]] uint32_t NumBytes() const {
    return NumData() + NUM_FRAME_BYTES;
  }
  [[nodiscard]] uint32_t Address() const {
    return uint32_t{aByte[1]} << 8 | aByte[2];
  }
  [[nodiscard]] uint8_t Type() const {
    return aByte[3];
  }
  [[nodiscard]] const uint8_t* Data() const {
    return aByte.data() + 4;
  }
  [[nodiscard]] uint8_t Checksum() const {
    return aByte[NumBytes() - 1];
  }
};

[[nodiscard]] bool ReadMark(TextReadState* pState) {
  const uint8_t Found = TEXT_Peek(*pState);
  if (Found != RECORD_MARK) {
    return TEXT_Fail(pState, READ_ERROR_MARK, "Unexpected character (Expected: %c, Found: %c)", RECORD_MARK, Found);
  }
  ++pState->Pos;
  return true;
}

[[nodiscard]] bool DecodeRecord(TextReadState* pState, HexRecord* pRecord) {
  pRecord->aByte[0] = HEX_ReadByte(pState);
  return !TEXT_HasError(*pState) &&
         (TEXT_DecodeBytes(pState, pRecord->NumBytes() - 1, &pRecord->aByte[1]) || TEXT_FailAtDigit(pState));
}

/// Intel HEX checksum: the bytes of a record, its checksum included, add up to 0 modulo 256.
[[nodiscard]] bool TestChecksum(TextReadState* pState, const HexRecord& Record) {
  if (pState->Checksum == 0) {
    return true;
  }
  const uint32_t SumBefore = uint32_t{pState->Checksum} - Record.Checksum();
  const uint8_t Right = static_cast<uint8_t>(0 - SumBefore);
  pState->pObserver->Notes.RightChecksum = Right;
  pState->Pos -= 2;
  return TEXT_Fail(pState, READ_ERROR_CHECKSUM, "Checksum error !\nExpected: 0x%02X, found: 0x%02X", Right,
                   Record.Checksum());
}

/// Sets UpperAddr to the first two data bytes, high byte first, shifted left by Shift bits.
[[nodiscard]] bool SetUpperAddr(TextReadState* pState, const HexRecord& Record, uint32_t Shift) {
  if (Record.NumData() < 2) {
    return TEXT_FailRecord(pState, READ_ERROR_TOO_SHORT, "Record too short");
  }
  pState->UpperAddr = (uint32_t{Record.Data()[0]} << 8 | Record.Data()[1]) << Shift;
  return true;
}

NotedKind KindOf(const HexRecord& Record) {
  if (Record.Type() < KINDS.size()) {
    return KINDS[Record.Type()];
  }
  return Record.Type() == HEX_TYPE_EXTENDED_LINEAR_ALIAS ? NOTED_UPPER_ADDR : NOTED_UNKNOWN;
}

/// Returns the linear address of a start record, made from the data bytes it has, at most four.
uint32_t StartAddressOf(const HexRecord& Record) {
  uint32_t Value = 0;
  for (uint32_t i = 0; i < 4 && i < Record.NumData(); ++i) {
    Value = Value << 8 | Record.Data()[i];
  }
  return Record.Type() == HEX_TYPE_START_LINEAR ? Value : (Value >> 16 << 4) + (Value & 0xFFFF);
}

/// Returns the address of a data record.
uint32_t DataAddressOf(const TextReadState& State, const HexRecord& Record) {
  return State.UpperAddr + Record.Address();  // modulo 2 to the power 32
}

void NoteRecord(const TextReadState& State, const HexRecord& Record) {
  NotedRecord Noted{KindOf(Record), Record.Address(), static_cast<int32_t>(Record.NumData()), Record.Data()};
  if (Noted.Kind == NOTED_DATA) {
    Noted.Addr = DataAddressOf(State, Record);
  } else if (Noted.Kind == NOTED_START) {
    Noted.Addr = StartAddressOf(Record);
  }
  TEXT_NoteRecord(State, Noted);
}

[[nodiscard]] bool ActOnRecord(TextReadState* pState, MemImage* pImage, const HexRecord& Record) {
  if (TEXT_IsObserved(*pState)) {
    NoteRecord(*pState, Record);
  }
  switch (Record.Type()) {
    case HEX_TYPE_DATA:
      return TEXT_StoreData(pState, pImage, DataAddressOf(*pState, Record), Record.NumData(), Record.Data());
    case HEX_TYPE_EXTENDED_SEGMENT:
      return SetUpperAddr(pState, Record, 4);
    case HEX_TYPE_EXTENDED_LINEAR:
    case HEX_TYPE_EXTENDED_LINEAR_ALIAS:
      return SetUpperAddr(pState, Record, 16);
    default:
      return true;
  }
}

bool IsLineEnd(uint8_t c) {
  return c == '\r' || c == '\n';
}

/// Steps over the line end after a record. There, any two CR or LF characters in a row are one line end.
[[nodiscard]] bool ReadLineEnd(TextReadState* pState) {
  const uint8_t Next = TEXT_Peek(*pState);
  if (!IsLineEnd(Next)) {
    return TEXT_IsEndOfData(Next) || TEXT_Fail(pState, READ_ERROR_LINE_END, "Expected CR or LF");
  }
  TEXT_CountLineEnd(pState);
  ++pState->Pos;
  if (IsLineEnd(TEXT_Peek(*pState))) {
    ++pState->Pos;
  }
  return true;
}

[[nodiscard]] bool ReadRecord(TextReadState* pState, MemImage* pImage) {
  HexRecord Record;
  pState->Checksum = 0;
  return ReadMark(pState) && DecodeRecord(pState, &Record) && TestChecksum(pState, Record) &&
         ActOnRecord(pState, pImage, Record) && ReadLineEnd(pState);
}

constexpr TextFormat INTEL_HEX = {RECORD_MARK, true, "Not a hex file", "malloc Problem", ReadRecord};

}  // namespace

int HEX_ReadEx(MemImage* pImage, const char* pPath, ReportFn pfReport, void* pReportContext, ReadObserver* pObserver) {
  return TEXT_Read(INTEL_HEX, pImage, pPath, {pfReport, pReportContext}, &HexSink, pObserver);
}

int HEX_Read(MemImage* pImage, const char* pPath, char* pErrText, uint32_t ErrTextSize) {
  ErrorTextBuffer Buffer{pErrText, ErrTextSize};
  return HEX_ReadEx(pImage, pPath, UTIL_CollectErrorText, &Buffer);
}

uint8_t HEX_ReadByte(TextReadState* pState) {
  if (TEXT_HasError(*pState)) {
    return 0;
  }
  const uint8_t High = UTIL_HEX_DIGIT_VALUE[TEXT_Peek(*pState)];
  if (High == UTIL_NO_HEX_DIGIT) {
    TEXT_FailAtDigit(pState);
    return 0;
  }
  ++pState->Pos;
  const uint8_t Low = UTIL_HEX_DIGIT_VALUE[TEXT_Peek(*pState)];
  if (Low == UTIL_NO_HEX_DIGIT) {
    TEXT_FailAtDigit(pState);
    return static_cast<uint8_t>(High << 4);
  }
  ++pState->Pos;
  const uint8_t Value = static_cast<uint8_t>(High << 4 | Low);
  pState->Checksum = static_cast<uint8_t>(pState->Checksum + Value);
  return Value;
}
