#include "check/contents.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace {

/// How many bytes are compared at once.
constexpr uint64_t PIECE_SIZE = 4096;

/// Returns the first part of a run that lies outside all ranges; without one, its NumBytes is 0.
CheckRun OutsideOf(const CheckRun& Run, const std::vector<CheckRange>& Ranges) {
  uint64_t First = Run.Addr;
  uint64_t End = Run.Addr + Run.NumBytes;
  const auto HoldsFirst = [&](const CheckRange& Range) { return Range.First <= First && First <= Range.Last; };
  for (auto i = Ranges.begin(); (i = std::find_if(Ranges.begin(), Ranges.end(), HoldsFirst)) != Ranges.end();) {
    First = uint64_t{i->Last} + 1;
  }
  for (const CheckRange& Range : Ranges) {
    End = Range.First > First ? std::min<uint64_t>(End, Range.First) : End;
  }
  return {First, End - std::min(First, End)};
}

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

std::vector<CheckRun> CHECK_ListRuns(MemImage* pImage) {
  std::vector<CheckRun> Runs(pImage->NumAreas);
  uint64_t Addr = 0;
  for (CheckRun& Run : Runs) {
    Run = CHECK_RunFrom(pImage, Addr);
    Addr = Run.Addr + Run.NumBytes;
  }
  return Runs;
}

CheckRun CHECK_FindOutside(MemImage* pImage, const std::vector<CheckRange>& Ranges) {
  for (const CheckRun& Run : CHECK_ListRuns(pImage)) {
    const CheckRun Outside = OutsideOf(Run, Ranges);
    if (Outside.NumBytes != 0 && !Ranges.empty()) {
      return Outside;
    }
  }
  return {};
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
    Mine = CHECK_RunFrom(pImage, Piece.Addr + Piece.NumBytes);
    Other = CHECK_RunFrom(pOther, Piece.Addr + Piece.NumBytes);
  }
  return Difference;
}
