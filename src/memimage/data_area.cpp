#include "memimage/data_area.h"

#include <algorithm>
#include <cstring>

#include "sys/heap.h"

namespace {

/// Room given beyond what is needed grows with the buffer, so that reallocations become rarer as an area grows.
uint64_t SpareFor(uint64_t NumBytesAlloc) {
  return NumBytesAlloc / 8 + 128;
}

uint8_t* BufferOf(const DataArea& Area) {
  return Area.pData - Area.NumBytesFront;
}

/// The room that every record has behind it.
uint8_t* FirstBufferOf(DataArea* pArea) {
  return reinterpret_cast<uint8_t*>(pArea + 1);
}

bool IsInFirstBuffer(DataArea* pArea) {
  return BufferOf(*pArea) == FirstBufferOf(pArea);
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

/// Gives the area a new buffer with NewFront bytes in front of its contents and NewAlloc bytes from them on.
[[nodiscard]] bool MoveToNewBuffer(DataArea* pArea, uint64_t NewFront, uint64_t NewAlloc) {
  const uint64_t Size = NewFront + NewAlloc;
  uint8_t* pBlock = Size <= UINT32_MAX ? static_cast<uint8_t*>(SYS_Alloc(static_cast<uint32_t>(Size))) : nullptr;
  if (pBlock == nullptr) {
    return false;
  }
  std::memcpy(pBlock + NewFront, pArea->pData, static_cast<size_t>(pArea->NumBytes));
  AREA_FreeBuffer(pArea);
  pArea->pData = pBlock + NewFront;
  pArea->NumBytesAlloc = NewAlloc;
  pArea->NumBytesFront = NewFront;
  return true;
}

/// Grows the buffer at its end to NumBytesAlloc, or to the largest that can be asked for.
[[nodiscard]] bool GrowAtEnd(DataArea* pArea, uint64_t NumBytesAlloc, uint64_t NumBytesNeeded) {
  const uint64_t NewAlloc = std::min(NumBytesAlloc, UINT32_MAX - pArea->NumBytesFront);
  if (NewAlloc < NumBytesNeeded) {
    return false;
  }
  if (IsInFirstBuffer(pArea)) {
    return MoveToNewBuffer(pArea, pArea->NumBytesFront, NewAlloc);
  }
  void* pBlock = SYS_Realloc(BufferOf(*pArea), static_cast<uint32_t>(pArea->NumBytesFront + NewAlloc));
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
  uint8_t* pBlock = BufferOf(*pArea);
  std::memmove(pBlock + NewFront, pArea->pData, static_cast<size_t>(pArea->NumBytes));
  pArea->pData = pBlock + NewFront;
  pArea->NumBytesAlloc = pArea->NumBytesFront + pArea->NumBytesAlloc - NewFront;
  pArea->NumBytesFront = NewFront;
}

/// Joins where one of the two areas has no storage: the whole gets a new buffer, in which MEMIMG_ERASED_BYTE stands for
/// what nobody holds.
[[nodiscard]] bool JoinInNewBuffer(DataArea* pArea, const WriteRange& Gap, DataArea* pNext) {
  const uint64_t Size = std::max(pArea->NumBytes + Gap.NumBytes + pNext->NumBytes, MEMIMG_MIN_BUFFER_BYTES);
  uint8_t* pBlock = static_cast<uint8_t*>(SYS_Alloc(static_cast<uint32_t>(Size)));
  if (pBlock == nullptr) {
    return false;
  }
  AREA_PutBytes(pBlock, RangeOf(*pArea));
  AREA_PutBytes(pBlock + pArea->NumBytes, Gap);
  AREA_PutBytes(pBlock + pArea->NumBytes + Gap.NumBytes, RangeOf(*pNext));
  AREA_FreeBuffer(pArea);
  AREA_FreeBuffer(pNext);
  pArea->pData = pBlock;
  pArea->NumBytesAlloc = Size;
  pArea->NumBytesFront = 0;
  pArea->NumBytes += Gap.NumBytes + pNext->NumBytes;
  return true;
}

[[nodiscard]] bool JoinAtEndOf(DataArea* pArea, const WriteRange& Gap, DataArea* pNext) {
  const uint64_t Sum = pArea->NumBytes + Gap.NumBytes + pNext->NumBytes;
  if (pArea->NumBytesAlloc < Sum && !GrowAtEnd(pArea, 2 * std::max(Sum, MEMIMG_MIN_BUFFER_BYTES), Sum)) {
    return false;
  }
  AREA_PutAtEnd(pArea, Gap);
  AREA_PutAtEnd(pArea, RangeOf(*pNext));
  AREA_FreeBuffer(pNext);
  return true;
}

[[nodiscard]] bool JoinInFrontOf(DataArea* pArea, const WriteRange& Gap, DataArea* pNext) {
  if (!AREA_ReserveInFront(pNext, pArea->NumBytes + Gap.NumBytes)) {
    return false;
  }
  AREA_PutInFront(pNext, Gap);
  AREA_PutInFront(pNext, RangeOf(*pArea));
  AREA_FreeBuffer(pArea);
  HandOverBuffer(pNext, pArea);
  pArea->NumBytes = pNext->NumBytes;
  return true;
}

}  // namespace

void AREA_Init(DataArea* pArea, const WriteRange& Range) {
  *pArea = {nullptr, nullptr, Range.Addr, Range.NumBytes, 0, 0};
  if (!AREA_HasContents(Range)) {
    return;
  }
  if (Range.NumBytes <= MEMIMG_MIN_BUFFER_BYTES) {
    pArea->pData = FirstBufferOf(pArea);
  } else {
    pArea->pData = static_cast<uint8_t*>(SYS_Alloc(static_cast<uint32_t>(Range.NumBytes)));
  }
  if (AREA_HasStorage(*pArea)) {
    pArea->NumBytesAlloc = std::max(Range.NumBytes, MEMIMG_MIN_BUFFER_BYTES);
    AREA_PutBytes(pArea->pData, Range);
  }
}

void AREA_FreeBuffer(DataArea* pArea) {
  if (AREA_HasStorage(*pArea) && !IsInFirstBuffer(pArea)) {
    SYS_Free(BufferOf(*pArea));
  }
  pArea->pData = nullptr;
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
  // Room as large as the contents again: nothing of it is touched before it is used. Where that cannot be had, less.
  return MoveToNewBuffer(pArea, NumBytes + pArea->NumBytes, pArea->NumBytesAlloc) ||
         MoveToNewBuffer(pArea, NumBytes + SpareFor(pArea->NumBytes), pArea->NumBytes);
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
  // A first buffer cannot be handed over; it is short, so copying it is as cheap.
  const bool IsNextKept = pNext->NumBytes > pArea->NumBytes && !IsInFirstBuffer(pNext);
  return IsNextKept ? JoinInFrontOf(pArea, Gap, pNext) : JoinAtEndOf(pArea, Gap, pNext);
}
