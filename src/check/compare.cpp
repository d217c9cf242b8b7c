#include "check/compare.h"

#include <algorithm>
#include <array>

#include "check/input.h"

namespace {

constexpr uint64_t CHUNK_SIZE = 1024;

/// What an image has at a range of addresses.
struct Chunk {
  std::array<uint8_t, CHUNK_SIZE> aByte;
  std::array<uint8_t, CHUNK_SIZE> aHasByte;
};

void ReadChunk(MemImage* pImage, uint64_t Addr, uint64_t LastAddr, Chunk* pChunk) {
  pChunk->aHasByte.fill(0);
  const CheckRun Run = CHECK_RunFrom(pImage, Addr);
  if (Run.NumBytes != 0 && Run.Addr <= LastAddr) {
    const uint64_t Skipped = Run.Addr - Addr;
    MEMIMG_ReadData(pImage, Run.Addr, LastAddr, CHUNK_SIZE, 0, pChunk->aByte.data() + Skipped,
                    pChunk->aHasByte.data() + Skipped, nullptr, static_cast<int64_t>(CHUNK_SIZE - Skipped), 0, 0);
  }
}

/// Compares what both have at Addr + Index.
void CompareAt(CheckDifference* pDifference, const Chunk& Mine, const Chunk& Other, uint64_t Addr, uint64_t Index) {
  const bool IsMine = Mine.aHasByte[Index] != 0;
  const bool IsOther = Other.aHasByte[Index] != 0;
  if (IsMine == IsOther && (!IsMine || Mine.aByte[Index] == Other.aByte[Index])) {
    return;
  }
  if (CHECK_IsSame(*pDifference)) {
    pDifference->FirstAddr = Addr + Index;
  }
  ++(IsMine && IsOther ? pDifference->NumDiffering : IsMine ? pDifference->NumSurplus : pDifference->NumMissing);
}

}  // namespace

CheckDifference CHECK_Compare(MemImage* pImage, MemImage* pOther) {
  CheckDifference Difference{};
  Chunk Mine;
  Chunk Other;
  for (uint64_t Next = 0;;) {
    const CheckRun Run = CHECK_RunFrom(pImage, Next);
    const CheckRun OtherRun = CHECK_RunFrom(pOther, Next);
    if (Run.NumBytes == 0 && OtherRun.NumBytes == 0) {
      return Difference;
    }
    const uint64_t Addr = Run.NumBytes == 0        ? OtherRun.Addr
                          : OtherRun.NumBytes == 0 ? Run.Addr
                                                   : std::min(Run.Addr, OtherRun.Addr);
    const uint64_t LastAddr = Addr + std::min(CHUNK_SIZE - 1, UINT64_MAX - Addr);
    ReadChunk(pImage, Addr, LastAddr, &Mine);
    ReadChunk(pOther, Addr, LastAddr, &Other);
    for (uint64_t i = 0; i <= LastAddr - Addr; ++i) {
      CompareAt(&Difference, Mine, Other, Addr, i);
    }
    Next = LastAddr + 1;
    if (Next == 0) {
      return Difference;
    }
  }
}
