#include "readers/mot_reader.h"

#include <algorithm>
#include <array>

#include "readers/text_window.h"

namespace {

constinit ReportSink MotSink{};

constexpr char RECORD_MARK = 'S';
constexpr bool COUNTS_CR = false;

/// The bytes of a record as the file has them after 'S' and type: count, address, data, checksum.
struct MotRecord {
  uint8_t Type;
  uint8_t Count;                   ///< Bytes that follow, checksum included.
  std::array<uint8_t, 255> aByte;  ///< Address and data, then the checksum.

  /// A count of 0 has a checksum all the same.
  [[nodiscard]] uint32_t NumBytes() const {
    return Count != 0 ? Count : 1;
  }
  [[nodiscard]] uint8_t Checksum() const {
    return aByte[NumBytes() - 1];
  }
};

/// Returns the number of address bytes of a data record, or 0 for a type that carries no data.
uint32_t NumDataAddressBytes(uint8_t Type) {
  return Type >= 1 && Type <= 3 ? uint32_t{Type} + 1 : 0;
}

/// Returns the first NumBytes bytes as an address.
uint32_t AddressOf(const MotRecord& Record, uint32_t NumBytes) {
  uint32_t Addr = 0;
  for (uint32_t i = 0; i < NumBytes; ++i) {
    Addr = Addr << 8 | Record.aByte[i];
  }
  return Addr;
}

/// Reads 'S' and the type digit; there may be white space between them.
[[nodiscard]] bool ReadMarkAndType(TextReadState* pState, MotRecord* pRecord) {
  if (pState->pWindow[pState->Pos] == RECORD_MARK) {
    ++pState->Pos;
    if (!TEXT_SkipWhiteSpace(pState, COUNTS_CR)) {
      return false;
    }
    const uint8_t Digit = pState->pWindow[pState->Pos];
    if (Digit >= '0' && Digit <= '9') {
      ++pState->Pos;
      pRecord->Type = static_cast<uint8_t>(Digit - '0');
      return true;
    }
  }
  return TEXT_Fail(pState, READER_ERR_RECORD, "Unexpected character");
}

[[nodiscard]] bool DecodeRecord(TextReadState* pState, MotRecord* pRecord) {
  return (TEXT_DecodeBytes(pState, 1, &pRecord->Count) &&
          TEXT_DecodeBytes(pState, pRecord->NumBytes(), pRecord->aByte.data())) ||
         TEXT_FailAtDigit(pState);
}

/// S-record checksum: the low byte of the sum of all bytes of a record, its checksum included, is 0xFF.
[[nodiscard]] bool TestChecksum(TextReadState* pState, const MotRecord& Record) {
  if (pState->Checksum == 0xFF) {
    return true;
  }
  const uint32_t SumBefore = uint32_t{pState->Checksum} - Record.Checksum();
  pState->Pos -= 2;
  return TEXT_Fail(pState, READER_ERR_RECORD, "Checksum error! Checksum in file: 0x%02X, checksum calculated 0x%02X",
                   Record.Checksum(), static_cast<uint8_t>(~SumBefore));
}

/// S7, S8 and S9 end a file and give the start address in 4, 3 and 2 bytes; 0 is none.
void NoteIfEnd(TextReadState* pState, const MotRecord& Record) {
  if (Record.Type < 7) {
    return;
  }
  TEXT_NoteEnd(pState);
  const uint32_t Addr = AddressOf(Record, std::min(uint32_t{11} - Record.Type, Record.NumBytes() - 1));
  if (Addr != 0) {
    TEXT_NoteStart(pState, Addr);
  }
}

[[nodiscard]] bool StoreRecord(TextReadState* pState, MemImage* pImage, const MotRecord& Record) {
  const uint32_t NumAddressBytes = NumDataAddressBytes(Record.Type);
  if (NumAddressBytes == 0) {
    NoteIfEnd(pState, Record);
    return true;
  }
  if (Record.Count < NumAddressBytes + 1) {
    return TEXT_FailRecord(pState, "Record too short");
  }
  return TEXT_StoreData(pState, pImage, AddressOf(Record, NumAddressBytes), Record.Count - NumAddressBytes - 1,
                        Record.aByte.data() + NumAddressBytes);
}

[[nodiscard]] bool ReadRecord(TextReadState* pState, MemImage* pImage) {
  MotRecord Record;
  pState->Checksum = 0;
  return ReadMarkAndType(pState, &Record) && DecodeRecord(pState, &Record) && TestChecksum(pState, Record) &&
         StoreRecord(pState, pImage, Record);
}

constexpr TextFormat S_RECORD = {RECORD_MARK, COUNTS_CR, "Not a mot file", "Malloc problem", ReadRecord};

}  // namespace

int MOT_ReadEx(MemImage* pImage, const char* pPath, ReportFn pfReport, void* pReportContext, ReadNotes* pNotes) {
  return TEXT_Read(S_RECORD, pImage, pPath, {pfReport, pReportContext}, &MotSink, pNotes);
}

int MOT_Read(MemImage* pImage, const char* pPath, char* pErrText, uint32_t ErrTextSize) {
  ErrorTextBuffer Buffer{pErrText, ErrTextSize};
  return MOT_ReadEx(pImage, pPath, UTIL_CollectErrorText, &Buffer);
}
