#include "check/conditioned.h"

#include <array>
#include <cinttypes>
#include <cstdio>
#include <cstring>

#include "check/byte_source.h"
#include "check/source_line.h"
#include "sys/last_error.h"
#include "util/hex_digits.h"

namespace {

/// Each run is laid out in pieces of this many bytes, counted from its start.
constexpr uint32_t PIECE_SIZE = 32;

/// The longest line: S3 with 32 bytes.
constexpr uint32_t MAX_LINE = 80;

/// The latest line, up to its LF or as many characters as the longest one has, and NULs after it.
struct TextLine {
  uint64_t Offset;
  uint32_t NumChars;
  std::array<char, MAX_LINE + 1> acChar;
};

struct DataRecord {
  uint64_t Addr;
  uint32_t NumAddressBytes;
  uint32_t NumBytes;
};

/// A check on its way through the file.
struct Check {
  ConditionedRules Rules;
  BlockSink Blocks;
  TextLine Line;
  ConditionedBlock Block;
  uint64_t RunStart;  ///< A run that starts at address 0 goes on with an empty one there.
  uint64_t NextAddr;  ///< The address after the latest record; can be one more than 32 bits hold.
  bool HasEnded;      ///< The latest line is the end record.
  uint64_t BrokenOffset;
  const char* pBroken;  ///< The promise that is broken there, or null.
};

/// Makes a promise the broken one, at a position in the line. Returns false.
bool Break(Check* pCheck, uint32_t Pos, const char* pText) {
  pCheck->BrokenOffset = pCheck->Line.Offset + Pos;
  pCheck->pBroken = Pos != 0 && Pos >= pCheck->Line.NumChars ? "the file ends within a line" : pText;
  return false;
}

bool HasWholeLines(const Check& State) {
  return State.Rules.BlockSize >= CHECK_MIN_WHOLE_LINES;
}

/// Hands out the blocks that end before the line.
void EnterBlock(Check* pCheck, bool IsRestOfCut) {
  while (pCheck->Line.Offset - pCheck->Block.Offset >= pCheck->Rules.BlockSize) {
    pCheck->Block.IsCut = IsRestOfCut;
    if (pCheck->Blocks.pfBlock != nullptr) {
      pCheck->Blocks.pfBlock(pCheck->Blocks.pContext, pCheck->Block);
    }
    pCheck->Block = {pCheck->Block.Offset + pCheck->Rules.BlockSize, 0, 0, 0, false};
  }
}

/// No line crosses the end of a block, and only fill follows fill in it.
[[nodiscard]] bool TestPlace(Check* pCheck) {
  if (!HasWholeLines(*pCheck)) {
    return true;
  }
  if (pCheck->Block.NumFill != 0) {
    return Break(pCheck, 0, "a record follows fill in the same block");
  }
  const uint64_t Room = pCheck->Block.Offset + pCheck->Rules.BlockSize - pCheck->Line.Offset;
  return pCheck->Line.NumChars <= Room ||
         Break(pCheck, static_cast<uint32_t>(Room), "the line crosses the end of its block");
}

[[nodiscard]] bool TestText(Check* pCheck, uint32_t Pos, const char* pExpected, const char* pText) {
  for (; *pExpected != '\0'; ++pExpected, ++Pos) {
    if (pCheck->Line.acChar[Pos] != *pExpected) {
      return Break(pCheck, Pos, pText);
    }
  }
  return true;
}

[[nodiscard]] bool TestFill(Check* pCheck) {
  EnterBlock(pCheck, false);
  pCheck->Block.NumFill += 2;
  return TestText(pCheck, 0, "\r\n", "CR LF expected");
}

[[nodiscard]] bool TestEndRecord(Check* pCheck) {
  EnterBlock(pCheck, false);
  pCheck->HasEnded = true;
  return TestText(pCheck, 0, "S9030000FC\r\n", "the end record is not S9030000FC with CR LF") && TestPlace(pCheck);
}

/// Decodes NumBytes bytes from Pos on and adds them to *pSum.
[[nodiscard]] bool Decode(Check* pCheck, uint32_t Pos, uint32_t NumBytes, uint64_t* pValue, uint8_t* pSum) {
  for (uint32_t i = 0; i < 2 * NumBytes; ++i) {
    const char Digit = pCheck->Line.acChar[Pos + i];
    const uint8_t Value = UTIL_HexDigitValue(Digit);
    if (Value == UTIL_NO_HEX_DIGIT || Digit >= 'a') {
      return Break(pCheck, Pos + i, "upper-case hexadecimal digit expected");
    }
    *pValue = *pValue << 4 | Value;
    *pSum = static_cast<uint8_t>(*pSum + (i % 2 == 0 ? Value << 4 : Value));
  }
  return true;
}

/// Reads a data record: S, type, count, address, data, checksum and CR LF.
[[nodiscard]] bool ReadData(Check* pCheck, DataRecord* pRecord) {
  uint64_t Count = 0;
  uint64_t Data = 0;
  uint8_t Sum = 0;
  pRecord->NumAddressBytes = static_cast<uint32_t>(pCheck->Line.acChar[1] - '0') + 1;
  if (!Decode(pCheck, 2, 1, &Count, &Sum)) {
    return false;
  }
  pRecord->NumBytes = static_cast<uint32_t>(Count) - pRecord->NumAddressBytes - 1;
  if (pRecord->NumBytes - 1 >= PIECE_SIZE) {  // wraps where the count is too small
    return Break(pCheck, 2, "the count does not give 1 to 32 data bytes");
  }
  const uint32_t DataPos = 4 + 2 * pRecord->NumAddressBytes;
  const uint32_t EndPos = DataPos + 2 * pRecord->NumBytes + 2;
  if (!Decode(pCheck, 4, pRecord->NumAddressBytes, &pRecord->Addr, &Sum) ||
      !Decode(pCheck, DataPos, pRecord->NumBytes + 1, &Data, &Sum)) {
    return false;
  }
  return (Sum == 0xFF || Break(pCheck, EndPos - 2, "wrong checksum")) &&
         TestText(pCheck, EndPos, "\r\n", "CR LF expected");
}

/// A record that goes on with a run begins a new piece of it, or is the rest of a piece that was cut: it is the first
/// of its block then, and the part before holds whole groups of bytes.
[[nodiscard]] bool TestCut(Check* pCheck, const DataRecord& Record) {
  const uint32_t NumBefore = static_cast<uint32_t>((Record.Addr - pCheck->RunStart) % PIECE_SIZE);
  if (NumBefore == 0 || !HasWholeLines(*pCheck)) {
    return true;
  }
  if (pCheck->Block.NumRecords != 0) {
    return Break(pCheck, 0, "the record before is cut, but not at the end of a block");
  }
  const uint32_t LineAlign = pCheck->Rules.LineAlign;
  if (LineAlign == 0 || NumBefore % LineAlign != 0) {
    return Break(pCheck, 0, "the record before is not cut at a multiple of the line alignment");
  }
  return NumBefore + Record.NumBytes <= PIECE_SIZE || Break(pCheck, 0, "more than the rest of the record before");
}

/// Records have ascending addresses and a type that reaches their last one.
[[nodiscard]] bool TestData(Check* pCheck) {
  DataRecord Record{};
  if (!ReadData(pCheck, &Record)) {
    return false;
  }
  if (Record.Addr + Record.NumBytes > uint64_t{1} << (8 * Record.NumAddressBytes)) {
    return Break(pCheck, 4, "the data goes beyond the last address of the record type");
  }
  if (Record.Addr < pCheck->NextAddr) {
    return Break(pCheck, 4, "the address is not above those of the record before");
  }
  if (Record.Addr > pCheck->NextAddr) {
    pCheck->RunStart = Record.Addr;
  }
  EnterBlock(pCheck, (Record.Addr - pCheck->RunStart) % PIECE_SIZE != 0);
  if (!TestPlace(pCheck) || !TestCut(pCheck, Record)) {
    return false;
  }
  ++pCheck->Block.NumRecords;
  pCheck->Block.NumBytes += Record.NumBytes;
  pCheck->NextAddr = Record.Addr + Record.NumBytes;
  return true;
}

[[nodiscard]] bool TestLine(Check* pCheck) {
  if (pCheck->HasEnded) {
    return Break(pCheck, 0, "text after the end record");
  }
  const char Mark = pCheck->Line.acChar[0];
  const char Type = pCheck->Line.acChar[1];
  if (Mark != 'S') {
    return Mark == '\r' ? TestFill(pCheck) : Break(pCheck, 0, "record or CR LF expected");
  }
  if (Type == '9') {
    return TestEndRecord(pCheck);
  }
  return Type >= '1' && Type <= '3' ? TestData(pCheck) : Break(pCheck, 1, "record type 1, 2, 3 or 9 expected");
}

/// Reads the next line. Returns false at the end of the file, and when it cannot be read: that is what *pByte says.
[[nodiscard]] bool ReadLine(TextLine* pLine, ByteSource* pSource, int* pByte) {
  *pLine = {pLine->Offset + pLine->NumChars, 0, {}};
  do {
    *pByte = CHECK_NextByte(pSource);
    if (*pByte < 0) {
      return *pByte == BYTE_SOURCE_END && pLine->NumChars != 0;
    }
    pLine->acChar[pLine->NumChars++] = static_cast<char>(*pByte);
  } while (*pByte != '\n' && pLine->NumChars < MAX_LINE);
  return true;
}

/// The last block ends with the file, which the end record does, too.
void EndFile(Check* pCheck) {
  if (!pCheck->HasEnded) {
    Break(pCheck, 0, "no end record");
  } else if (pCheck->Blocks.pfBlock != nullptr) {
    pCheck->Blocks.pfBlock(pCheck->Blocks.pContext, pCheck->Block);
  }
}

/// Tests all lines. Returns false when the file cannot be read.
[[nodiscard]] bool TestFile(Check* pCheck, const char* pPath) {
  ByteSource Source;
  CHECK_OpenBytes(&Source, pPath);
  int Byte = 0;
  bool GoesOn = true;
  while (GoesOn) {
    GoesOn = ReadLine(&pCheck->Line, &Source, &Byte) && TestLine(pCheck);
  }
  CHECK_CloseBytes(&Source);
  if (Byte == BYTE_SOURCE_END && pCheck->pBroken == nullptr) {
    EndFile(pCheck);
  }
  return Byte != BYTE_SOURCE_FAILED;
}

}  // namespace

CheckStatus CHECK_Conditioned(const char* pPath, const ConditionedRules& Rules, const CheckSink& Sink,
                              const BlockSink& Blocks) {
  Check State{};
  State.Rules = Rules;
  State.Blocks = Blocks;
  std::array<char, 160> acText;
  if (!TestFile(&State, pPath)) {
    std::snprintf(acText.data(), acText.size(), "Could not read file. (%s)", std::strerror(SYS_GetLastError()));
    CHECK_Report(Sink, CHECK_ERROR, acText.data());
    return CHECK_UNREADABLE;
  }
  if (State.pBroken == nullptr) {
    return CHECK_GOOD;
  }
  std::snprintf(acText.data(), acText.size(), "offset %" PRIu64 ": %s", State.BrokenOffset, State.pBroken);
  CHECK_ReportAt(Sink, CHECK_ERROR, acText.data(), pPath, State.BrokenOffset);
  return CHECK_BAD;
}
