#include "check/compare.h"

#include <algorithm>
#include <array>

#include "check/input.h"

namespace {

constexpr uint32_t CHUNK_SIZE = 1024;

/// What an image has at a range of addresses.
struct Chunk {
  std::array<uint8_t, CHUNK_SIZE> aByte;
  std::array<uint8_t, CHUNK_SIZE> aHasByte;
};

void ReadChunk(MemImage* pImage, uint64_t Addr, uint64_t LastAddr, Chunk* pChunk) {
  pChunk->aHasByte.fill(0);
  const CheckRun Run = CHECK_RunFrom(pImage, Addr);
  if (Run.NumBytes != 0 && Run.Addr <= LastAddr) {
    const uint32_t Skipped = static_cast<uint32_t>(Run.Addr - Addr);
    MEMIMG_ReadData(pImage, Run.Addr, LastAddr, CHUNK_SIZE, 0, pChunk->aByte.data() + Skipped,
                    pChunk->aHasByte.data() + Skipped, nullptr, CHUNK_SIZE - Skipped, 0, 0);
  }
}

/// Compares what both have at Addr + Index.
void CompareAt(CheckDifference* pDifference, const Chunk& Mine, const Chunk& Other, uint64_t Addr, uint32_t Index) {
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

/// Steps *pAddr up to where one of the images has a byte. Returns false if none has.
[[nodiscard]] bool FindByte(MemImage* pImage, MemImage* pOther, uint64_t* pAddr) {
  const CheckRun Mine = CHECK_RunFrom(pImage, *pAddr);
  const CheckRun Other = CHECK_RunFrom(pOther, *pAddr);
  *pAddr = std::min(Mine.Addr, Other.Addr);
  return Mine.NumBytes != 0 || Other.NumBytes != 0;
}

}  // namespace

CheckDifference CHECK_Compare(MemImage* pImage, MemImage* pOther) {
  CheckDifference Difference{};
  Chunk Mine;
  Chunk Other;
  uint64_t Addr = 0;
  bool GoesOn = FindByte(pImage, pOther, &Addr);
  while (GoesOn) {
    const uint64_t LastAddr = Addr + std::min<uint64_t>(CHUNK_SIZE - 1, UINT64_MAX - Addr);
    ReadChunk(pImage, Addr, LastAddr, &Mine);
    ReadChunk(pOther, Addr, LastAddr, &Other);
    for (uint32_t i = 0; i <= LastAddr - Addr; ++i) {
      CompareAt(&Difference, Mine, Other, Addr, i);
    }
    Addr = LastAddr + 1;
    GoesOn = LastAddr != UINT64_MAX && FindByte(pImage, pOther, &Addr);
  }
  return Difference;
}
