#include "check/compare.h"

#include <algorithm>
#include <array>

#include "check/input.h"

namespace {

constexpr uint32_t CHUNK_SIZE = 4096;

/// Counts addresses with a difference.
void Count(CheckDifference* pDifference, uint64_t* pNum, uint64_t Addr, uint64_t NumBytes) {
  if (CHECK_IsSame(*pDifference)) {
    pDifference->FirstAddr = Addr;
  }
  *pNum += NumBytes;
}

/// Steps over the first bytes of a run.
void Advance(MemImage* pImage, CheckRun* pRun, uint64_t NumBytes) {
  *pRun = NumBytes < pRun->NumBytes ? CheckRun{pRun->Addr + NumBytes, pRun->NumBytes - NumBytes}
                                    : CHECK_RunAfter(pImage, *pRun);
}

/// Counts what only one image has: what its run holds before the other one's. Returns how many bytes that are.
uint64_t CountAlone(CheckDifference* pDifference, uint64_t* pNum, const CheckRun& Run, const CheckRun& Other) {
  if (Run.NumBytes == 0 || (Other.NumBytes != 0 && Other.Addr <= Run.Addr)) {
    return 0;
  }
  const uint64_t NumBytes = Other.NumBytes != 0 ? std::min(Run.NumBytes, Other.Addr - Run.Addr) : Run.NumBytes;
  Count(pDifference, pNum, Run.Addr, NumBytes);
  return NumBytes;
}

/// Compares bytes that both images have.
void CompareBytes(CheckDifference* pDifference, MemImage* pImage, MemImage* pOther, uint64_t Addr, uint64_t NumBytes) {
  std::array<uint8_t, CHUNK_SIZE> aByte;
  std::array<uint8_t, CHUNK_SIZE> aOther;
  const uint64_t LastAddr = Addr + (NumBytes - 1);
  MEMIMG_ReadData(pImage, Addr, LastAddr, 0, 0, aByte.data(), nullptr, nullptr, CHUNK_SIZE, 0, 0);
  MEMIMG_ReadData(pOther, Addr, LastAddr, 0, 0, aOther.data(), nullptr, nullptr, CHUNK_SIZE, 0, 0);
  for (uint64_t i = 0; i < NumBytes; ++i) {
    if (aByte[i] != aOther[i]) {
      Count(pDifference, &pDifference->NumDiffering, Addr + i, 1);
    }
  }
}

}  // namespace

CheckDifference CHECK_Compare(MemImage* pImage, MemImage* pOther) {
  CheckDifference Difference{};
  CheckRun Run = CHECK_RunFrom(pImage, 0);
  CheckRun Other = CHECK_RunFrom(pOther, 0);
  while (Run.NumBytes != 0 || Other.NumBytes != 0) {
    const uint64_t NumSurplus = CountAlone(&Difference, &Difference.NumSurplus, Run, Other);
    const uint64_t NumMissing = CountAlone(&Difference, &Difference.NumMissing, Other, Run);
    const uint64_t NumBoth = std::min<uint64_t>({Run.NumBytes, Other.NumBytes, CHUNK_SIZE});
    if (NumSurplus != 0) {
      Advance(pImage, &Run, NumSurplus);
    } else if (NumMissing != 0) {
      Advance(pOther, &Other, NumMissing);
    } else {
      CompareBytes(&Difference, pImage, pOther, Run.Addr, NumBoth);
      Advance(pImage, &Run, NumBoth);
      Advance(pOther, &Other, NumBoth);
    }
  }
  return Difference;
}
