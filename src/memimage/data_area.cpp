#include "memimage/data_area.h"

#include <algorithm>
#include <cstring>

#include "sys/heap.h"

namespace {

constexpr uint64_t MIN_BUFFER_BYTES = 128;

/// Room given beyond what is needed grows with the buffer, so that reallocations become rarer as an area grows.
uint64_t SpareFor(uint64_t NumBytesAlloc) {
  return NumBytesAlloc / 8 + 128;
}

void FreeBuffer(DataArea* pArea) {
  if (AREA_HasStorage(*pArea)) {
    SYS_Free(pArea->pData - pArea->NumBytesFront);
  }
}

/// Makes the buffer of *pFrom, contents and room, the buffer of *pTo, which has none.
void HandOverBuffer(DataArea* pFrom, DataArea* pTo) {
  pTo->pData = pFrom->pData;
  pTo->NumBytesAlloc = pFrom->NumBytesAlloc;
  pTo->NumBytesFront = pFrom->NumBytesFront;
  pFrom->pData = nullptr;
  pFrom->NumBytesAlloc = 0;
  pFrom->NumBytesFront = 0;
}

/// The bytes of a whole area as a range to be written.
WriteRange RangeOf(const DataArea& Area) {
  return {Area.Addr, Area.NumBytes, Area.pData, -1};
}

/// Grows the buffer at its end to NumBytesAlloc, or to the largest that can be asked for.
[[nodiscard]] bool GrowAtEnd(DataArea* pArea, uint64_t NumBytesAlloc, uint64_t NumBytesNeeded) {
  const uint64_t Largest = UINT32_MAX - pArea->NumBytesFront;
  const uint64_t NewAlloc = std::min(NumBytesAlloc, Largest);
  if (NewAlloc < NumBytesNeeded) {
    return false;
  }
  void* pBlock =
      SYS_Realloc(pArea->pData - pArea->NumBytesFront, static_cast<uint32_t>(pArea->NumBytesFront + NewAlloc));
  if (pBlock == nullptr) {
    return false;
  }
  pArea->pData = static_cast<uint8_t*>(pBlock) + pArea->NumBytesFront;
  pArea->NumBytesAlloc = NewAlloc;
  return true;
}

/// Moves the contents up within the buffer, to the middle of the room that is left after NumBytes in front.
void SlideUp(DataArea* pArea, uint64_t NumBytes) {
  const uint64_t NumFree = pArea->NumBytesFront + pArea->NumBytesAlloc - pArea->NumBytes;
  const uint64_t NewFront = NumBytes + (NumFree - NumBytes) / 2;
  uint8_t* pBlock = pArea->pData - pArea->NumBytesFront;
  std::memmove(pBlock + NewFront, pArea->pData, static_cast<size_t>(pArea->NumBytes));
  pArea->pData = pBlock + NewFront;
  pArea->NumBytesAlloc = pArea->NumBytesFront + pArea->NumBytesAlloc - NewFront;
  pArea->NumBytesFront = NewFront;
}

/// Gives the area a new buffer with NewFront bytes in front of the contents and the room at the end that it had.
[[nodiscard]] bool MoveToNewBuffer(DataArea* pArea, uint64_t NewFront) {
  const uint64_t Size = NewFront + pArea->NumBytesAlloc;
  uint8_t* pBlock = Size <= UINT32_MAX ? static_cast<uint8_t*>(SYS_Alloc(static_cast<uint32_t>(Size))) : nullptr;
  if (pBlock == nullptr) {
    return false;
  }
  std::memcpy(pBlock + NewFront, pArea->pData, static_cast<size_t>(pArea->NumBytes));
  FreeBuffer(pArea);
  pArea->pData = pBlock + NewFront;
  pArea->NumBytesFront = NewFront;
  return true;
}

/// Joins where one of the two areas has no storage: the whole gets a new buffer, in which MEMIMG_ERASED_BYTE stands for
/// what nobody holds.
[[nodiscard]] bool JoinInNewBuffer(DataArea* pArea, const WriteRange& Gap, DataArea* pNext) {
  const uint64_t Size = std::max(pArea->NumBytes + Gap.NumBytes + pNext->NumBytes, MIN_BUFFER_BYTES);
  uint8_t* pBlock = static_cast<uint8_t*>(SYS_Alloc(static_cast<uint32_t>(Size)));
  if (pBlock == nullptr) {
    return false;
  }
  AREA_PutBytes(pBlock, RangeOf(*pArea));
  AREA_PutBytes(pBlock + pArea->NumBytes, Gap);
  AREA_PutBytes(pBlock + pArea->NumBytes + Gap.NumBytes, RangeOf(*pNext));
  FreeBuffer(pArea);
  FreeBuffer(pNext);
  pNext->pData = nullptr;
  pArea->pData = pBlock;
  pArea->NumBytesAlloc = Size;
  pArea->NumBytesFront = 0;
  pArea->NumBytes += Gap.NumBytes + pNext->NumBytes;
  return true;
}

[[nodiscard]] bool JoinAtEndOf(DataArea* pArea, const WriteRange& Gap, DataArea* pNext) {
  const uint64_t Sum = pArea->NumBytes + Gap.NumBytes + pNext->NumBytes;
  if (pArea->NumBytesAlloc < Sum && !GrowAtEnd(pArea, 2 * std::max(Sum, MIN_BUFFER_BYTES), Sum)) {
    return false;
  }
  AREA_PutAtEnd(pArea, Gap);
  AREA_PutAtEnd(pArea, RangeOf(*pNext));
  FreeBuffer(pNext);
  pNext->pData = nullptr;
  return true;
}

[[nodiscard]] bool JoinInFrontOf(DataArea* pArea, const WriteRange& Gap, DataArea* pNext) {
  if (!AREA_ReserveInFront(pNext, pArea->NumBytes + Gap.NumBytes)) {
    return false;
  }
  AREA_PutInFront(pNext, Gap);
  AREA_PutInFront(pNext, RangeOf(*pArea));
  FreeBuffer(pArea);
  HandOverBuffer(pNext, pArea);
  pArea->NumBytes = pNext->NumBytes;
  return true;
}

}  // namespace

DataArea* AREA_Create(const WriteRange& Range) {
  DataArea* pArea = static_cast<DataArea*>(SYS_Alloc(sizeof(DataArea)));
  if (pArea == nullptr) {
    return nullptr;
  }
  *pArea = {nullptr, nullptr, Range.Addr, Range.NumBytes, 0, 0};
  if (!AREA_HasContents(Range)) {
    return pArea;
  }
  const uint64_t Size = std::max(Range.NumBytes, MIN_BUFFER_BYTES);
  pArea->pData = static_cast<uint8_t*>(SYS_Alloc(static_cast<uint32_t>(Size)));
  if (AREA_HasStorage(*pArea)) {
    pArea->NumBytesAlloc = Size;
    AREA_PutBytes(pArea->pData, Range);
  }
  return pArea;
}

void AREA_Free(DataArea* pArea) {
  FreeBuffer(pArea);
  SYS_Free(pArea);
}

bool AREA_ReserveAtEnd(DataArea* pArea, uint64_t NumBytes) {
  if (pArea->NumBytesAlloc - pArea->NumBytes >= NumBytes) {
    return true;
  }
  return GrowAtEnd(pArea, pArea->NumBytesAlloc + NumBytes + SpareFor(pArea->NumBytesAlloc), pArea->NumBytes + NumBytes);
}

bool AREA_ReserveInFront(DataArea* pArea, uint64_t NumBytes) {
  if (pArea->NumBytesFront >= NumBytes) {
    return true;
  }
  // Sliding is for a buffer with much room left: it has to pay for itself in writes to come.
  const uint64_t NumFree = pArea->NumBytesFront + pArea->NumBytesAlloc - pArea->NumBytes;
  if (NumFree >= NumBytes + pArea->NumBytes / 8) {
    SlideUp(pArea, NumBytes);
    return true;
  }
  return MoveToNewBuffer(pArea, NumBytes + SpareFor(pArea->NumBytesAlloc));
}

void AREA_PutBytes(uint8_t* pDest, const WriteRange& Range) {
  const size_t NumBytes = static_cast<size_t>(Range.NumBytes);
  if (Range.pData != nullptr) {
    std::memcpy(pDest, Range.pData, NumBytes);
  } else {
    std::memset(pDest, Range.FillByte >= 0 ? Range.FillByte : MEMIMG_ERASED_BYTE, NumBytes);
  }
}

void AREA_PutAtEnd(DataArea* pArea, const WriteRange& Range) {
  if (AREA_HasStorage(*pArea)) {
    AREA_PutBytes(pArea->pData + pArea->NumBytes, Range);
  }
  pArea->NumBytes += Range.NumBytes;
}

void AREA_PutInFront(DataArea* pArea, const WriteRange& Range) {
  if (AREA_HasStorage(*pArea)) {
    pArea->pData -= Range.NumBytes;
    pArea->NumBytesFront -= Range.NumBytes;
    pArea->NumBytesAlloc += Range.NumBytes;
    AREA_PutBytes(pArea->pData, Range);
  }
  pArea->Addr = Range.Addr;
  pArea->NumBytes += Range.NumBytes;
}

bool AREA_Join(DataArea* pArea, const WriteRange& Gap, DataArea* pNext) {
  if (!AREA_HasStorage(*pArea) && !AREA_HasStorage(*pNext)) {
    pArea->NumBytes += Gap.NumBytes + pNext->NumBytes;
    return true;
  }
  if (!AREA_HasStorage(*pArea) || !AREA_HasStorage(*pNext)) {
    return JoinInNewBuffer(pArea, Gap, pNext);
  }
  return pArea->NumBytes >= pNext->NumBytes ? JoinAtEndOf(pArea, Gap, pNext) : JoinInFrontOf(pArea, Gap, pNext);
}
