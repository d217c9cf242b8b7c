#include "check/compare.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "check/input.h"

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
  if (std::memcmp(aMine.data(), aOther.data(), Piece.NumBytes) == 0) {
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
    Mine = CHECK_RunFrom(pImage, Piece.Addr + Piece.NumBytes);
    Other = CHECK_RunFrom(pOther, Piece.Addr + Piece.NumBytes);
  }
  return Difference;
}
