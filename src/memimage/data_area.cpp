#include "memimage/data_area.h"

#include <algorithm>
#include <cstring>

#include "sys/heap.h"

namespace {

uint8_t* BufferOf(const DataArea& Area) {
  return Area.pData - Area.NumBytesFront;
}

/// Whether the contents have outgrown the first buffer and are in a heap block of their own.
bool HasOwnBuffer(const DataArea& Area) {
  return AREA_HasStorage(Area) && BufferOf(Area) != Area.aFirstBuffer.data();
}

void FreeBuffer(DataArea* pArea) {
  if (HasOwnBuffer(*pArea)) {
    SYS_Free(BufferOf(*pArea));
  }
}

/// Returns the bytes of an area as a range to be written. Without storage they have no contents.
WriteRange RangeOf(const DataArea& Area) {
  return {Area.Addr, Area.NumBytes, Area.pData, -1};
}

void PutBytes(uint8_t* pDest, const WriteRange& Range) {
  const size_t NumBytes = static_cast<size_t>(Range.NumBytes);
  if (Range.pData != nullptr) {
    std::memcpy(pDest, Range.pData, NumBytes);
  } else {
    std::memset(pDest, Range.FillByte >= 0 ? Range.FillByte : MEMIMG_ERASED_BYTE, NumBytes);
  }
}

/// Makes room for NumBytes more bytes after the contents. What is allocated beyond them grows with the buffer, so that
/// reallocations become rarer as an area grows. The sum is a legal length, so it fits into the largest block.
[[nodiscard]] bool ReserveAtEnd(DataArea* pArea, uint64_t NumBytes) {
  if (pArea->NumBytesAlloc - pArea->NumBytes >= NumBytes) {
    return true;
  }
  const uint64_t Wanted = pArea->NumBytesAlloc + NumBytes + pArea->NumBytesAlloc / 8 + 128;
  const uint64_t NewAlloc = std::min(Wanted, UINT32_MAX - pArea->NumBytesFront);
  const uint32_t Size = static_cast<uint32_t>(pArea->NumBytesFront + NewAlloc);
  const bool IsOwn = HasOwnBuffer(*pArea);
  void* pBlock = SYS_Realloc(IsOwn ? BufferOf(*pArea) : nullptr, Size);
  if (pBlock == nullptr) {
    return false;
  }
  if (!IsOwn) {
    std::memcpy(pBlock, pArea->pData, static_cast<size_t>(pArea->NumBytes));
  }
  pArea->pData = static_cast<uint8_t*>(pBlock) + pArea->NumBytesFront;
  pArea->NumBytesAlloc = NewAlloc;
  return true;
}

/// Puts the range before the contents if the first buffer has room for both, by moving the contents up.
[[nodiscard]] bool PrependInFirstBuffer(DataArea* pArea, const WriteRange& Range) {
  if (HasOwnBuffer(*pArea) || pArea->NumBytesAlloc - pArea->NumBytes < Range.NumBytes) {
    return false;
  }
  std::memmove(pArea->pData + Range.NumBytes, pArea->pData, static_cast<size_t>(pArea->NumBytes));
  PutBytes(pArea->pData, Range);
  return true;
}

/// Makes room for NumBytes more bytes before the contents, in a buffer of their own, and as much again as there are
/// contents: an area that grows downwards is then moved only when its length has doubled. The sum with the new bytes is
/// a legal length, so the size of the buffer fits.
[[nodiscard]] bool ReserveInFront(DataArea* pArea, uint64_t NumBytes) {
  if (pArea->NumBytesFront >= NumBytes) {
    return true;
  }
  const uint64_t NewFront = NumBytes + pArea->NumBytes;
  uint8_t* pBlock = static_cast<uint8_t*>(SYS_Alloc(static_cast<uint32_t>(NewFront + pArea->NumBytes)));
  if (pBlock == nullptr) {
    return false;
  }
  PutBytes(pBlock + NewFront, RangeOf(*pArea));
  FreeBuffer(pArea);
  pArea->pData = pBlock + NewFront;
  pArea->NumBytesAlloc = pArea->NumBytes;
  pArea->NumBytesFront = NewFront;
  return true;
}

/// Copies the gap and the next area to the end of an area.
[[nodiscard]] bool JoinAtEnd(DataArea* pArea, const WriteRange& Gap, const DataArea& Next) {
  if (!ReserveAtEnd(pArea, Gap.NumBytes + Next.NumBytes)) {
    return false;
  }
  uint8_t* pEnd = pArea->pData + pArea->NumBytes;
  PutBytes(pEnd, Gap);
  PutBytes(pEnd + Gap.NumBytes, RangeOf(Next));
  return true;
}

/// Copies an area and the gap to the front of the next area, whose buffer then is the first area's.
[[nodiscard]] bool JoinInFront(DataArea* pArea, const WriteRange& Gap, DataArea* pNext) {
  const uint64_t NumAdded = pArea->NumBytes + Gap.NumBytes;
  if (!ReserveInFront(pNext, NumAdded)) {
    return false;
  }
  uint8_t* pStart = pNext->pData - NumAdded;
  PutBytes(pStart, RangeOf(*pArea));
  PutBytes(pStart + pArea->NumBytes, Gap);
  FreeBuffer(pArea);
  pArea->pData = pStart;
  pArea->NumBytesAlloc = pNext->NumBytesAlloc + NumAdded;
  pArea->NumBytesFront = pNext->NumBytesFront - NumAdded;
  pNext->pData = nullptr;
  return true;
}

}  // namespace

DataArea* AREA_New(const WriteRange& Range) {
  DataArea* pArea = static_cast<DataArea*>(SYS_Alloc(sizeof(DataArea)));
  if (pArea == nullptr) {
    return nullptr;
  }
  pArea->pNext = nullptr;
  pArea->pData = nullptr;
  pArea->Addr = Range.Addr;
  pArea->NumBytes = Range.NumBytes;
  pArea->NumBytesAlloc = 0;
  pArea->NumBytesFront = 0;
  if (AREA_HasContents(Range)) {
    const bool IsShort = Range.NumBytes <= MEMIMG_MIN_BUFFER_BYTES;
    const uint32_t Size = static_cast<uint32_t>(IsShort ? MEMIMG_MIN_BUFFER_BYTES : Range.NumBytes);
    pArea->pData = IsShort ? pArea->aFirstBuffer.data() : static_cast<uint8_t*>(SYS_Alloc(Size));
    if (AREA_HasStorage(*pArea)) {
      pArea->NumBytesAlloc = Size;
      PutBytes(pArea->pData, Range);
    }
  }
  return pArea;
}

void AREA_Free(DataArea* pArea) {
  FreeBuffer(pArea);
  SYS_Free(pArea);
}

bool AREA_AddAtEnd(DataArea* pArea, const WriteRange& Range) {
  if (AREA_HasStorage(*pArea)) {
    if (!ReserveAtEnd(pArea, Range.NumBytes)) {
      return false;
    }
    PutBytes(pArea->pData + pArea->NumBytes, Range);
  }
  pArea->NumBytes += Range.NumBytes;
  return true;
}

bool AREA_AddInFront(DataArea* pArea, const WriteRange& Range) {
  if (AREA_HasStorage(*pArea) && !PrependInFirstBuffer(pArea, Range)) {
    if (!ReserveInFront(pArea, Range.NumBytes)) {
      return false;
    }
    pArea->pData -= Range.NumBytes;
    pArea->NumBytesFront -= Range.NumBytes;
    pArea->NumBytesAlloc += Range.NumBytes;
    PutBytes(pArea->pData, Range);
  }
  pArea->Addr = Range.Addr;
  pArea->NumBytes += Range.NumBytes;
  return true;
}

bool AREA_Join(DataArea* pArea, const WriteRange& Gap, DataArea* pNext) {
  const uint64_t Sum = pArea->NumBytes + Gap.NumBytes + pNext->NumBytes;
  if (AREA_HasStorage(*pArea) || AREA_HasStorage(*pNext)) {
    // A first buffer cannot be handed over, and is short.
    const bool IsNextLonger = HasOwnBuffer(*pNext) && pNext->NumBytes > pArea->NumBytes;
    const bool IsNextKept = IsNextLonger || !AREA_HasStorage(*pArea);
    if (!(IsNextKept ? JoinInFront(pArea, Gap, pNext) : JoinAtEnd(pArea, Gap, *pNext))) {
      return false;
    }
  }
  pArea->NumBytes = Sum;
  return true;
}
