#include "check/compare.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "check/input.h"

namespace {

/// How many bytes are compared at once.
constexpr uint64_t PIECE_SIZE = 4096;

/// Adds addresses of one kind of difference.
void Add(CheckDifference* pDifference, uint64_t* pNum, uint64_t Addr, uint64_t NumBytes) {
  if (CHECK_IsSame(*pDifference)) {
    pDifference->FirstAddr = Addr;
  }
  *pNum += NumBytes;
}

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
      Add(pDifference, &pDifference->NumDiffering, Piece.Addr + i, 1);
    }
  }
}

}  // namespace

CheckDifference CHECK_Compare(MemImage* pImage, MemImage* pOther) {
  CheckDifference Difference{};
  CheckRun Mine = CHECK_RunFrom(pImage, 0);
  CheckRun Other = CHECK_RunFrom(pOther, 0);
  while (Mine.NumBytes != 0 || Other.NumBytes != 0) {
    if (Mine.Addr < Other.Addr) {
      const uint64_t NumBytes = std::min(Mine.NumBytes, Other.Addr - Mine.Addr);
      Add(&Difference, &Difference.NumSurplus, Mine.Addr, NumBytes);
      Mine = CHECK_RunAfter(pImage, {Mine.Addr, NumBytes});
    } else if (Other.Addr < Mine.Addr) {
      const uint64_t NumBytes = std::min(Other.NumBytes, Mine.Addr - Other.Addr);
      Add(&Difference, &Difference.NumMissing, Other.Addr, NumBytes);
      Other = CHECK_RunAfter(pOther, {Other.Addr, NumBytes});
    } else {
      const CheckRun Piece{Mine.Addr, std::min({Mine.NumBytes, Other.NumBytes, PIECE_SIZE})};
      ComparePiece(&Difference, pImage, pOther, Piece);
      Mine = CHECK_RunAfter(pImage, Piece);
      Other = CHECK_RunAfter(pOther, Piece);
    }
  }
  return Difference;
}
