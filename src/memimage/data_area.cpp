#include "memimage/data_area.h"

#include <algorithm>
#include <cstring>

#include "sys/heap.h"

namespace {

/// The value of bytes without contents in an area that has storage: erased flash.
constexpr uint8_t ERASED_BYTE = 0xFF;

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

/// Returns an area's bytes as a range to write. Without storage the range has no contents.
WriteRange RangeOf(const DataArea& Area) {
  return {Area.Addr, Area.NumBytes, Area.pData, -1};
}

void PutBytes(uint8_t* pDest, const WriteRange& Range) {
  const size_t NumBytes = static_cast<size_t>(Range.NumBytes);
  if (Range.pData != nullptr) {
    std::memcpy(pDest, Range.pData, NumBytes);
  } else {
    std::memset(pDest, Range.FillByte >= 0 ? Range.FillByte : ERASED_BYTE, NumBytes);
  }
}

/// Enlarges the buffer by NumBytes bytes and some more. The spare room grows with the buffer, so reallocations become
/// rarer as an area grows. Before long contents it stays below two thirds of their length, after them below half.
/// Contents and new bytes together have a legal length, so they fit into the largest block with the room before them.
/// Not inlined: it is rare, and ReserveAtEnd, which every record calls, is faster without it.
[[nodiscard, gnu::noinline]] bool GrowAtEnd(DataArea* pArea, uint64_t NumBytes) {
  const uint64_t Wanted = pArea->NumBytesAlloc + NumBytes + pArea->NumBytesAlloc / 8 + 128;
  const uint64_t NewAlloc = std::min(Wanted, UINT32_MAX - pArea->NumBytesFront);
  const uint32_t Size = static_cast<uint32_t>(pArea->NumBytesFront + NewAlloc);
  const bool IsOwn = HasOwnBuffer(*pArea);
  void* pBlock = SYS_Realloc(IsOwn ? BufferOf(*pArea) : nullptr, Size);
  if (pBlock == nullptr) {
    return false;
  }
  uint8_t* pContents = static_cast<uint8_t*>(pBlock) + pArea->NumBytesFront;
  if (!IsOwn) {
    std::memcpy(pContents, pArea->pData, static_cast<size_t>(pArea->NumBytes));
  }
  pArea->pData = pContents;
  pArea->NumBytesAlloc = NewAlloc;
  return true;
}

/// Makes room for NumBytes more bytes after the contents.
[[nodiscard]] bool ReserveAtEnd(DataArea* pArea, uint64_t NumBytes) {
  return pArea->NumBytesAlloc - pArea->NumBytes >= NumBytes || GrowAtEnd(pArea, NumBytes);
}

/// Makes room for NumBytes more bytes before the contents: reserves it after them, then moves them up. In a heap block
/// they move to its end, so that they rarely move. In a first buffer they move only as far as they must, because it may
/// soon need room after them, too.
[[nodiscard]] bool ReserveInFront(DataArea* pArea, uint64_t NumBytes) {
  if (pArea->NumBytesFront >= NumBytes) {
    return true;
  }
  if (!ReserveAtEnd(pArea, NumBytes)) {
    return false;
  }
  const uint64_t Shift = HasOwnBuffer(*pArea) ? pArea->NumBytesAlloc - pArea->NumBytes : NumBytes;
  std::memmove(pArea->pData + Shift, pArea->pData, static_cast<size_t>(pArea->NumBytes));
  pArea->pData += Shift;
  pArea->NumBytesAlloc -= Shift;
  pArea->NumBytesFront += Shift;
  return true;
}

/// Extends the contents down by NumBytes bytes of the room before them. Returns the first of these bytes.
uint8_t* TakeFront(DataArea* pArea, uint64_t NumBytes) {
  pArea->pData -= NumBytes;
  pArea->NumBytesAlloc += NumBytes;
  pArea->NumBytesFront -= NumBytes;
  return pArea->pData;
}

/// Frees the buffer of *pArea and moves that of *pFrom to it. A first buffer is part of its record, so it is copied.
void TakeBuffer(DataArea* pArea, DataArea* pFrom) {
  const bool IsOwn = HasOwnBuffer(*pFrom);
  FreeBuffer(pArea);
  if (!IsOwn) {
    pArea->aFirstBuffer = pFrom->aFirstBuffer;
  }
  pArea->pData = IsOwn ? pFrom->pData : pArea->aFirstBuffer.data();
  pArea->NumBytesAlloc = pFrom->NumBytesAlloc;
  pArea->NumBytesFront = pFrom->NumBytesFront;
  pFrom->pData = nullptr;
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

/// Copies an area and the gap to the front of the next area, then gives that area's buffer to *pArea.
[[nodiscard]] bool JoinInFront(DataArea* pArea, const WriteRange& Gap, DataArea* pNext) {
  const uint64_t NumAdded = pArea->NumBytes + Gap.NumBytes;
  if (!ReserveInFront(pNext, NumAdded)) {
    return false;
  }
  uint8_t* pStart = TakeFront(pNext, NumAdded);
  PutBytes(pStart, RangeOf(*pArea));
  PutBytes(pStart + pArea->NumBytes, Gap);
  TakeBuffer(pArea, pNext);
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
  if (RANGE_HasContents(Range)) {
    const uint64_t Size = std::max(Range.NumBytes, MEMIMG_MIN_BUFFER_BYTES);
    const bool IsShort = Size == MEMIMG_MIN_BUFFER_BYTES;
    pArea->pData = IsShort ? pArea->aFirstBuffer.data() : static_cast<uint8_t*>(SYS_Alloc(static_cast<uint32_t>(Size)));
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
  if (AREA_HasStorage(*pArea)) {
    if (!ReserveInFront(pArea, Range.NumBytes)) {
      return false;
    }
    PutBytes(TakeFront(pArea, Range.NumBytes), Range);
  }
  pArea->Addr = Range.Addr;
  pArea->NumBytes += Range.NumBytes;
  return true;
}

bool AREA_Join(DataArea* pArea, const WriteRange& Gap, DataArea* pNext) {
  if (AREA_HasStorage(*pArea) || AREA_HasStorage(*pNext)) {
    const bool IsNextLonger = HasOwnBuffer(*pNext) && pNext->NumBytes > pArea->NumBytes;
    const bool IsNextKept = IsNextLonger || !AREA_HasStorage(*pArea);
    if (!(IsNextKept ? JoinInFront(pArea, Gap, pNext) : JoinAtEnd(pArea, Gap, *pNext))) {
      return false;
    }
  }
  pArea->NumBytes += Gap.NumBytes + pNext->NumBytes;
  return true;
}
