#include "check/contents.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace {

/// How many bytes are compared at once.
constexpr uint64_t PIECE_SIZE = 4096;

/// Compares bytes that both images have.
void ComparePiece(CheckDifference* pDifference, MemImage* pImage, MemImage* pOther, const CheckRun& Piece) {
  std::array<uint8_t, PIECE_SIZE> aMine;
  std::array<uint8_t, PIECE_SIZE> aOther;
  const uint64_t Last = Piece.Addr + (Piece.NumBytes - 1);
  MEMIMG_ReadData(pImage, Piece.Addr, Last, 0, 0, aMine.data(), nullptr, nullptr, PIECE_SIZE, 0, 0);
  MEMIMG_ReadData(pOther, Piece.Addr, Last, 0, 0, aOther.data(), nullptr, nullptr, PIECE_SIZE, 0, 0);
  if (std::memcmp(aMine.data(), aOther.data(), static_cast<size_t>(Piece.NumBytes)) == 0) {
    return;
  }
  for (uint32_t i = 0; i < Piece.NumBytes; ++i) {
    if (aMine[i] != aOther[i]) {
      pDifference->FirstAddr = std::min(pDifference->FirstAddr, Piece.Addr + i);
      ++pDifference->NumDiffering;
    }
  }
}

}  // namespace

CheckRun CHECK_RunFrom(MemImage* pImage, uint64_t Addr) {
  CheckRun Run{UINT64_MAX, 0};
  Run.NumBytes = static_cast<uint64_t>(MEMIMG_FindRun(pImage, Addr, UINT64_MAX, &Run.Addr));
  return Run;
}

CheckRun CHECK_FindOutside(MemImage* pImage, std::vector<CheckRange> Ranges) {
  std::sort(Ranges.begin(), Ranges.end(), [](const CheckRange& A, const CheckRange& B) { return A.First < B.First; });
  uint64_t Addr = 0;  // no byte below it is outside
  for (const CheckRange& Range : Ranges) {
    const CheckRun Run = CHECK_RunFrom(pImage, Addr);
    if (Run.Addr < Range.First) {
      return {Run.Addr, std::min(Run.NumBytes, Range.First - Run.Addr)};
    }
    Addr = std::max(Addr, uint64_t{Range.Last} + 1);
  }
  return Ranges.empty() ? CheckRun{} : CHECK_RunFrom(pImage, Addr);
}

CheckDifference CHECK_Compare(MemImage* pImage, MemImage* pOther) {
  CheckDifference Difference;
  CheckRun Mine = CHECK_RunFrom(pImage, 0);
  CheckRun Other = CHECK_RunFrom(pOther, 0);
  while (Mine.NumBytes != 0 || Other.NumBytes != 0) {
    CheckRun Piece = Mine.Addr < Other.Addr ? Mine : Other;
    if (Mine.Addr == Other.Addr) {
      Piece.NumBytes = std::min({Mine.NumBytes, Other.NumBytes, PIECE_SIZE});
      ComparePiece(&Difference, pImage, pOther, Piece);
    } else {
      Piece.NumBytes = std::min(Piece.NumBytes, std::max(Mine.Addr, Other.Addr) - Piece.Addr);
      Difference.FirstAddr = std::min(Difference.FirstAddr, Piece.Addr);
      (Mine.Addr < Other.Addr ? Difference.NumSurplus : Difference.NumMissing) += Piece.NumBytes;
    }
    // A run that begins after the piece is still the next one. To ask again would start at the front of the image.
    Mine = Mine.Addr == Piece.Addr ? CHECK_RunAfter(pImage, Piece) : Mine;
    Other = Other.Addr == Piece.Addr ? CHECK_RunAfter(pOther, Piece) : Other;
  }
  return Difference;
}
