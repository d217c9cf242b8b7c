#include "check/conditioned.h"

#include <array>
#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstring>

#include "check/source_line.h"
#include "util/hex_digits.h"

namespace {

/// Each run is laid out in pieces of this many bytes, counted from its start.
constexpr uint32_t PIECE_SIZE = 32;

/// The longest line: S3 with 32 bytes.
constexpr uint32_t MAX_LINE = 80;

/// For smaller blocks, lines may cross the ends of blocks, and nothing is promised of cuts and fill.
constexpr uint32_t MIN_BLOCK_OF_LINES = 80;

/// A check on its way through the file.
struct Check {
  ConditionedRules Rules;
  BlockSink Blocks;
  uint64_t Offset;                        ///< Of the latest line.
  std::array<char, MAX_LINE + 1> acLine;  ///< As much of it as the longest one has.
  ConditionedBlock Block;
  uint64_t RunStart;  ///< A run that starts at address 0 goes on with an empty one there.
  uint64_t NextAddr;  ///< The address after the latest record; can be one more than 32 bits hold.
  bool HasEnded;      ///< The latest line is the end record.
  uint64_t BrokenOffset;
  const char* pBroken;  ///< The promise that is broken there; null: none.
};

struct DataRecord {
  uint64_t Addr;
  uint32_t NumBytes;
};

/// Makes a promise the broken one, at a position in the line. Returns false.
bool Break(Check* pCheck, uint32_t Pos, const char* pText) {
  pCheck->BrokenOffset = pCheck->Offset + Pos;
  pCheck->pBroken = pText;
  return false;
}

/// Hands out the latest block and begins the next one.
void EndBlock(Check* pCheck) {
  if (pCheck->Blocks.pfBlock != nullptr) {
    pCheck->Blocks.pfBlock(pCheck->Blocks.pContext, pCheck->Block);
  }
  pCheck->Block = {pCheck->Block.Offset + pCheck->Rules.BlockSize, 0, 0, 0, false};
}

/// Steps to the line's block. A line has its place in one block, and only fill follows fill there.
[[nodiscard]] bool EnterBlock(Check* pCheck, bool IsRestOfCut) {
  for (; pCheck->Offset - pCheck->Block.Offset >= pCheck->Rules.BlockSize; IsRestOfCut = false) {
    pCheck->Block.IsCut = IsRestOfCut;
    EndBlock(pCheck);
  }
  if (pCheck->Rules.BlockSize < MIN_BLOCK_OF_LINES || pCheck->acLine[0] == '\r') {
    return true;
  }
  const uint64_t Room = pCheck->Block.Offset + pCheck->Rules.BlockSize - pCheck->Offset;
  if (std::strlen(pCheck->acLine.data()) > Room) {
    return Break(pCheck, static_cast<uint32_t>(Room), "the line crosses the end of its block");
  }
  return pCheck->Block.NumFill == 0 || Break(pCheck, 0, "a record follows fill in the same block");
}

[[nodiscard]] bool TestFill(Check* pCheck) {
  const bool IsInPlace = EnterBlock(pCheck, false);
  pCheck->Block.NumFill += 2;
  return pCheck->acLine[1] == '\n' ? IsInPlace : Break(pCheck, 1, "LF expected");
}

/// Decodes a data record: S, type, count, address, data, checksum, with an address of NumAddressBytes bytes.
[[nodiscard]] bool Decode(Check* pCheck, uint32_t NumDigits, uint32_t NumAddressBytes, DataRecord* pRecord) {
  std::array<uint8_t, MAX_LINE / 2> aByte{};  // count, address, data, checksum
  uint8_t Sum = 0;
  const uint32_t NumBytes = (NumDigits - 1) / 2;
  if (!UTIL_DecodeHex(reinterpret_cast<const uint8_t*>(pCheck->acLine.data()) + 2, NumBytes, aByte.data(), &Sum) ||
      NumDigits % 2 == 0 || NumBytes != aByte[0] + 1U) {
    return Break(pCheck, 2, "the count does not fit the line");
  }
  pRecord->NumBytes = NumBytes - NumAddressBytes - 2;
  if (pRecord->NumBytes - 1 >= PIECE_SIZE) {  // wraps where the count is too small
    return Break(pCheck, 2, "the count does not give 1 to 32 data bytes");
  }
  for (uint32_t i = 1; i <= NumAddressBytes; ++i) {
    pRecord->Addr = pRecord->Addr << 8 | aByte[i];
  }
  if (pRecord->Addr + pRecord->NumBytes > uint64_t{1} << (8 * NumAddressBytes)) {
    return Break(pCheck, 4, "the data goes beyond the last address of the record type");
  }
  return Sum == 0xFF || Break(pCheck, 2 * NumBytes, "wrong checksum");
}

/// A record that goes on with a run begins a new piece of it, or is the rest of a piece that was cut: it is the first
/// of its block then, and the part before holds whole groups of bytes.
[[nodiscard]] bool TestCut(Check* pCheck, uint32_t NumBefore, uint32_t NumBytes) {
  const uint32_t LineAlign = pCheck->Rules.LineAlign;
  if (NumBefore == 0 || pCheck->Rules.BlockSize < MIN_BLOCK_OF_LINES) {
    return true;
  }
  if (pCheck->Block.NumRecords != 0) {
    return Break(pCheck, 0, "the record before is cut, but not at the end of a block");
  }
  if (LineAlign == 0 || NumBefore % LineAlign != 0) {
    return Break(pCheck, 0, "the record before is not cut at a multiple of the line alignment");
  }
  return NumBefore + NumBytes <= PIECE_SIZE || Break(pCheck, 0, "this is more than the rest of the record before");
}

[[nodiscard]] bool TestData(Check* pCheck, const DataRecord& Record) {
  if (Record.Addr < pCheck->NextAddr) {
    return Break(pCheck, 4, "the address is not above those of the record before");
  }
  if (Record.Addr > pCheck->NextAddr) {
    pCheck->RunStart = Record.Addr;
  }
  const uint32_t NumBefore = static_cast<uint32_t>((Record.Addr - pCheck->RunStart) % PIECE_SIZE);
  if (!EnterBlock(pCheck, NumBefore != 0) || !TestCut(pCheck, NumBefore, Record.NumBytes)) {
    return false;
  }
  ++pCheck->Block.NumRecords;
  pCheck->Block.NumBytes += Record.NumBytes;
  pCheck->NextAddr = Record.Addr + Record.NumBytes;
  return true;
}

[[nodiscard]] bool TestRecord(Check* pCheck) {
  const char* pLine = pCheck->acLine.data();
  const uint32_t NumDigits = static_cast<uint32_t>(std::strspn(pLine + 1, "0123456789ABCDEF"));
  const char Type = pLine[1];
  if (std::strchr("1239", Type) == nullptr || Type == '\0') {
    return Break(pCheck, 1, "record type 1, 2, 3 or 9 expected");
  }
  if (std::strcmp(pLine + 1 + NumDigits, "\r\n") != 0) {
    return Break(pCheck, 1 + NumDigits, "upper-case hexadecimal digit or CR LF expected");
  }
  if (Type == '9') {
    pCheck->HasEnded = true;
    return std::strcmp(pLine, "S9030000FC\r\n") == 0 ? EnterBlock(pCheck, false)
                                                     : Break(pCheck, 0, "the end record is not S9030000FC");
  }
  DataRecord Record{};
  return Decode(pCheck, NumDigits, static_cast<uint32_t>(Type - '0') + 1, &Record) && TestData(pCheck, Record);
}

[[nodiscard]] bool TestLine(Check* pCheck) {
  if (pCheck->HasEnded) {
    return Break(pCheck, 0, "text after the end record");
  }
  switch (pCheck->acLine[0]) {
    case 'S':
      return TestRecord(pCheck);
    case '\r':
      return TestFill(pCheck);
    default:
      return Break(pCheck, 0, "record or CR LF expected");
  }
}

/// Tests all lines. A line with a NUL in it is taken to end there, which breaks a promise.
/// Returns false when the file cannot be read.
[[nodiscard]] bool TestFile(Check* pCheck, std::FILE* pFile) {
  while (std::fgets(pCheck->acLine.data(), MAX_LINE + 1, pFile) != nullptr) {
    if (!TestLine(pCheck)) {
      return true;
    }
    pCheck->Offset += std::strlen(pCheck->acLine.data());
  }
  if (pCheck->HasEnded) {
    EndBlock(pCheck);
  } else {
    Break(pCheck, 0, "no end record");
  }
  return std::ferror(pFile) == 0;
}

}  // namespace

CheckStatus CHECK_Conditioned(const char* pPath, const ConditionedRules& Rules, const CheckSink& Sink,
                              const BlockSink& Blocks) {
  Check State{};
  State.Rules = Rules;
  State.Blocks = Blocks;
  std::array<char, 160> acText;
  std::FILE* pFile = std::fopen(pPath, "rbe");
  const bool IsRead = pFile != nullptr && TestFile(&State, pFile);
  std::snprintf(acText.data(), acText.size(), "Could not read file. (%s)", std::strerror(errno));
  if (pFile != nullptr) {
    std::fclose(pFile);
  }
  if (!IsRead) {
    CHECK_Report(Sink, CHECK_ERROR, acText.data(), pPath, READ_NOWHERE);
    return CHECK_UNREADABLE;
  }
  if (State.pBroken == nullptr) {
    return CHECK_GOOD;
  }
  std::snprintf(acText.data(), acText.size(), "offset %" PRIu64 ": %s", State.BrokenOffset, State.pBroken);
  CHECK_Report(Sink, CHECK_ERROR, acText.data(), pPath, State.BrokenOffset);
  return CHECK_BAD;
}
