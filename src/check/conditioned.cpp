#include "check/conditioned.h"

#include <array>
#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstring>

#include "util/hex_digits.h"

namespace {

/// Each run is laid out in pieces of this many bytes, counted from its start.
constexpr uint32_t PIECE_SIZE = 32;

/// The longest line: S3 with 32 bytes. In smaller blocks, lines may cross the ends, and nothing is promised of cuts and
/// fill.
constexpr uint32_t MAX_LINE = 80;

/// In the page, each read costs much more than the program's own work on a small buffer.
constexpr size_t FILE_BUFFER_SIZE = 65536;

/// A check on its way through the file.
struct Check {
  CheckedFile File;
  ConditionedRules Rules;
  const BlockSink& Blocks;
  uint64_t Offset = 0;                      ///< Of the latest line.
  std::array<char, MAX_LINE + 1> acLine{};  ///< As much of it as the longest one has.
  ConditionedBlock Block{};                 ///< The one that the latest line begins in.
  uint64_t Addr = 0;                        ///< Of the latest data record.
  uint32_t NumBytes = 0;                    ///< Of the latest data record.
  uint64_t NextAddr = 0;                    ///< The address after the record before it; may be 2 to the power 32.
  uint32_t NumInPiece = 0;  ///< Bytes of the piece that the latest records have; 0: the next one begins.
  bool HasEnded = false;    ///< The latest line is the end record.
};

/// Reports that a promise is broken at a position in the line. Returns false.
bool Fail(const Check& State, uint64_t Pos, const char* pText) {
  const uint64_t Offset = State.Offset + Pos;
  CHECK_Report(State.File, CHECK_ERROR, Offset, CHECK_Format("offset %" PRIu64 ": %s", Offset, pText));
  return false;
}

/// Reports that a promise is broken, unless it is kept. Returns whether it is.
bool Expect(const Check& State, bool IsKept, uint64_t Pos, const char* pText) {
  return IsKept || Fail(State, Pos, pText);
}

/// Expect for the place of a record in its block, which looks wrong when the block size is not that of the file.
bool ExpectPlace(const Check& State, bool IsKept, uint64_t Pos, const char* pText) {
  return IsKept || Fail(State, Pos,
                        CHECK_Format("%s of %u characters: name another block size with --block. Blockfit's "
                                     "-BlockAlign is hexadecimal",
                                     pText, State.Rules.BlockSize)
                            .c_str());
}

/// Tests that the line is a data record of digits, with CR LF.
[[nodiscard]] bool TestText(const Check& State) {
  const char* pLine = State.acLine.data();
  const size_t Len = 1 + std::strspn(pLine + 1, UTIL_HEX_DIGITS);
  return Expect(State, pLine[0] == 'S', 0, "record or CR LF expected") &&
         Expect(State, pLine[1] >= '1' && pLine[1] <= '3', 1,
                "a data record (S1, S2, S3) or the complete end record (S9030000FC) expected") &&
         Expect(State, pLine[Len] != '\n', Len,
                "the line ends in LF, not CR LF: an editor or git has changed it. Make or fetch the file again") &&
         Expect(State, std::strcmp(pLine + Len, "\r\n") == 0, Len, "upper-case hexadecimal digit or CR LF expected");
}

/// Decodes a data record: S, type, then count, address, data and checksum, each byte as two digits.
[[nodiscard]] bool Decode(Check* pState) {
  const char* pDigits = pState->acLine.data() + 2;
  const uint32_t NumDigits = static_cast<uint32_t>(std::strlen(pDigits)) - 2;
  const uint32_t NumAddressBytes = static_cast<uint32_t>(pDigits[-1] - '0') + 1;
  std::array<uint8_t, MAX_LINE / 2> aByte{};
  uint8_t Sum = 0;
  const bool IsHex = UTIL_DecodeHex(reinterpret_cast<const uint8_t*>(pDigits), NumDigits / 2, aByte.data(), &Sum);
  pState->Addr = 0;
  for (uint32_t i = 1; i <= NumAddressBytes; ++i) {
    pState->Addr = pState->Addr << 8 | aByte[i];
  }
  pState->NumBytes = aByte[0] - NumAddressBytes - 1;  // wraps where the count is too small
  const uint64_t End = uint64_t{1} << (8 * NumAddressBytes);
  return Expect(*pState, IsHex && NumDigits == 2 * (aByte[0] + 1U), 2, "the count does not fit the line") &&
         Expect(*pState, pState->NumBytes - 1 < PIECE_SIZE, 2, "the count does not give 1 to 32 data bytes") &&
         Expect(*pState, pState->Addr + pState->NumBytes <= End, 4, "the data goes beyond the type's last address") &&
         Expect(*pState, Sum == 0xFF, NumDigits, "wrong checksum");
}

/// Hands out the latest block and begins the next one.
void EndBlock(Check* pState) {
  if (pState->Blocks) {
    pState->Blocks(pState->Block);
  }
  pState->Block = {pState->Block.Offset + pState->Rules.BlockSize, 0, 0, 0, false};
}

/// Steps to the block that the line begins in. IsRest: the line is the rest of a record that was cut.
void EnterBlock(Check* pState, bool IsRest) {
  while (pState->Offset - pState->Block.Offset >= pState->Rules.BlockSize) {
    pState->Block.IsCut = IsRest && pState->Block.NumRecords != 0;
    EndBlock(pState);
  }
}

/// Tests that a record is in one block, before the fill there. One that goes on with a piece is the rest of a record
/// that was cut: it is the first of its block, and the part before holds complete groups of bytes.
[[nodiscard]] bool TestPlace(const Check& State) {
  if (State.Rules.BlockSize < MAX_LINE) {
    return true;
  }
  const uint64_t Room = State.Block.Offset + State.Rules.BlockSize - State.Offset;
  const uint32_t NumBefore = State.NumInPiece;
  const bool IsPiece = NumBefore == 0;
  const bool IsGroups = State.Rules.LineAlign != 0 && NumBefore % State.Rules.LineAlign == 0;
  return ExpectPlace(State, std::strlen(State.acLine.data()) <= Room, Room, "the line crosses the end of its block") &&
         ExpectPlace(State, State.Block.NumFill == 0, 0, "a record follows fill within a block") &&
         ExpectPlace(State, IsPiece || State.Block.NumRecords == 0, 0,
                     "the record before is cut in the middle of a block") &&
         Expect(State, IsPiece || IsGroups, 0, "the record before is not cut at a multiple of the line alignment") &&
         Expect(State, NumBefore + State.NumBytes <= PIECE_SIZE, 0, "this is more than the rest of the record before");
}

[[nodiscard]] bool TestData(Check* pState) {
  if (!TestText(*pState) || !Decode(pState) ||
      !Expect(*pState, pState->Addr >= pState->NextAddr, 4, "the address is not above those of the record before")) {
    return false;
  }
  if (pState->Addr != pState->NextAddr) {
    pState->NumInPiece = 0;
  }
  EnterBlock(pState, pState->NumInPiece != 0);
  if (!TestPlace(*pState)) {
    return false;
  }
  ++pState->Block.NumRecords;
  pState->Block.NumBytes += pState->NumBytes;
  pState->NextAddr = pState->Addr + pState->NumBytes;
  pState->NumInPiece = (pState->NumInPiece + pState->NumBytes) % PIECE_SIZE;
  return true;
}

[[nodiscard]] bool TestLine(Check* pState) {
  const char* pLine = pState->acLine.data();
  if (!Expect(*pState, !pState->HasEnded, 0, "text after the end record")) {
    return false;
  }
  if (pLine[0] == '\r') {
    EnterBlock(pState, false);
    pState->Block.NumFill += 2;
    return Expect(*pState, pState->Offset != 0, 0, "a record expected: the file begins with fill") &&
           Expect(*pState, std::strcmp(pLine, "\r\n") == 0, 1, "LF expected");
  }
  if (std::strcmp(pLine, "S9030000FC\r\n") == 0) {
    EnterBlock(pState, false);
    pState->HasEnded = true;
    pState->NumInPiece = 0;
    return TestPlace(*pState);
  }
  return TestData(pState);
}

/// Tests all lines. A NUL ends a line early, and the line is then refused. The system says why a file is unreadable.
[[nodiscard]] CheckStatus TestFile(Check* pState, std::FILE* pFile) {
  std::setvbuf(pFile, nullptr, _IOFBF, FILE_BUFFER_SIZE);
  while (std::fgets(pState->acLine.data(), MAX_LINE + 1, pFile) != nullptr) {
    if (!TestLine(pState)) {
      return CHECK_BAD;
    }
    pState->Offset += std::strlen(pState->acLine.data());
  }
  if (std::ferror(pFile) != 0) {
    return CHECK_UNREADABLE;
  }
  EndBlock(pState);
  return Expect(*pState, pState->HasEnded, 0, "no end record") ? CHECK_GOOD : CHECK_BAD;
}

}  // namespace

CheckStatus CHECK_Conditioned(const CheckedFile& File, const ConditionedRules& Rules, const BlockSink& Blocks) {
  Check State{File, Rules, Blocks};
  std::FILE* pFile = std::fopen(File.pPath, "rb");
  const CheckStatus Status = pFile != nullptr ? TestFile(&State, pFile) : CHECK_UNREADABLE;
  if (Status == CHECK_UNREADABLE) {
    CHECK_Report(File, CHECK_ERROR, READ_NOWHERE, std::strerror(errno));
  }
  if (pFile != nullptr) {
    std::fclose(pFile);
  }
  return Status;
}
