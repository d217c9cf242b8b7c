#include "memimage/area_search.h"
#include "memimage/mem_image.h"

namespace {

/// Returns whether areas and ranges of these lengths make an area of a legal length together.
bool IsLegalLength(uint64_t NumBytesA, uint64_t NumBytesB, uint64_t NumBytesC = 0) {
  return NumBytesA <= MEMIMG_MAX_AREA_BYTES && NumBytesB <= MEMIMG_MAX_AREA_BYTES - NumBytesA &&
         NumBytesC <= MEMIMG_MAX_AREA_BYTES - NumBytesA - NumBytesB;
}

/// Contents that go into an area without storage are gone.
void NoteLostBytes(MemImage* pImage, const DataArea& Area, const WriteRange& Range) {
  if (AREA_HasContents(Range) && !AREA_HasStorage(Area)) {
    pImage->HasLostBytes = 1;
  }
}

void EnterInIndex(MemImage* pImage, DataArea* pArea) {
  if (!INDEX_IsEmpty(pImage->Index) && !INDEX_Insert(&pImage->Index, pArea)) {
    INDEX_Clear(&pImage->Index);  // an index that misses an area would mislead; without one the chain is walked
  }
}

/// Makes the range an area of its own between two neighbours in the chain, either of which may be null.
[[nodiscard]] int NewArea(MemImage* pImage, DataArea* pPrev, DataArea* pNext, const WriteRange& Range) {
  if (!IsLegalLength(Range.NumBytes, 0)) {
    return MEMIMG_ERR_NO_MEMORY;
  }
  DataArea* pArea = static_cast<DataArea*>(POOL_Take(&pImage->AreaPool, AREA_SLOT_BYTES));
  if (pArea == nullptr) {
    return MEMIMG_ERR_NO_MEMORY;
  }
  AREA_Init(pArea, Range);
  NoteLostBytes(pImage, *pArea, Range);
  pArea->pNext = pNext;
  (pPrev != nullptr ? pPrev->pNext : pImage->pFirstArea) = pArea;
  if (pNext == nullptr) {
    pImage->pLastArea = pArea;
  }
  ++pImage->NumAreas;
  EnterInIndex(pImage, pArea);
  return 0;
}

/// Takes the successor of pArea, whose contents are in pArea now, out of the chain. It was entered in the index with
/// NextAddr.
void RemoveNext(MemImage* pImage, DataArea* pArea, uint64_t NextAddr) {
  DataArea* pNext = pArea->pNext;
  pArea->pNext = pNext->pNext;
  if (pImage->pLastArea == pNext) {
    pImage->pLastArea = nullptr;
  }
  INDEX_Remove(&pImage->Index, NextAddr);
  AREA_FreeBuffer(pNext);
  POOL_Give(&pImage->AreaPool, pNext);
  --pImage->NumAreas;
  pImage->CursorIndex = -1;
}

/// Joins pArea, the range behind it and the successor, which the range touches.
[[nodiscard]] int MEMIMG_MergeWithNext(MemImage* pImage, DataArea* pArea, const WriteRange& Range) {
  DataArea* pNext = pArea->pNext;
  const uint64_t NextAddr = pNext->Addr;
  if (!IsLegalLength(pArea->NumBytes, Range.NumBytes, pNext->NumBytes) || !AREA_Join(pArea, Range, pNext)) {
    return MEMIMG_ERR_NO_MEMORY;
  }
  NoteLostBytes(pImage, *pArea, Range);
  RemoveNext(pImage, pArea, NextAddr);
  return 0;
}

[[nodiscard]] int ExtendAtEnd(MemImage* pImage, DataArea* pArea, const WriteRange& Range) {
  if (!IsLegalLength(pArea->NumBytes, Range.NumBytes) ||
      (AREA_HasStorage(*pArea) && !AREA_ReserveAtEnd(pArea, Range.NumBytes))) {
    return MEMIMG_ERR_NO_MEMORY;
  }
  AREA_PutAtEnd(pArea, Range);
  NoteLostBytes(pImage, *pArea, Range);
  return 0;
}

[[nodiscard]] int ExtendAtFront(MemImage* pImage, DataArea* pArea, const WriteRange& Range) {
  if (!IsLegalLength(pArea->NumBytes, Range.NumBytes) ||
      (AREA_HasStorage(*pArea) && !AREA_ReserveInFront(pArea, Range.NumBytes))) {
    return MEMIMG_ERR_NO_MEMORY;
  }
  const uint64_t OldAddr = pArea->Addr;
  AREA_PutInFront(pArea, Range);
  INDEX_Lower(&pImage->Index, OldAddr, Range.Addr);
  NoteLostBytes(pImage, *pArea, Range);
  return 0;
}

/// Stores a range that begins behind the last area (null: the image is empty).
[[nodiscard]] int Append(MemImage* pImage, DataArea* pLast, const WriteRange& Range) {
  if (pLast != nullptr && AREA_LastOf(*pLast) + 1 == Range.Addr) {
    return ExtendAtEnd(pImage, pLast, Range);
  }
  return NewArea(pImage, pLast, nullptr, Range);
}

/// Stores a range anywhere in the chain.
[[nodiscard]] int Insert(MemImage* pImage, const WriteRange& Range) {
  DataArea* pBelow = MEMIMG_AreaAtOrBelow(pImage, Range.Addr);
  DataArea* pAbove = MEMIMG_AreaBehind(*pImage, pBelow);
  const uint64_t RangeLast = Range.Addr + (Range.NumBytes - 1);
  const bool IsInBelow = pBelow != nullptr && AREA_LastOf(*pBelow) >= Range.Addr;
  const bool ReachesAbove = pAbove != nullptr && RangeLast >= pAbove->Addr;
  if (IsInBelow || ReachesAbove) {
    return MEMIMG_ERR_OVERLAP;
  }
  const bool TouchesBelow = pBelow != nullptr && AREA_LastOf(*pBelow) + 1 == Range.Addr;
  const bool TouchesAbove = pAbove != nullptr && RangeLast + 1 == pAbove->Addr;
  if (TouchesBelow) {
    return TouchesAbove ? MEMIMG_MergeWithNext(pImage, pBelow, Range) : ExtendAtEnd(pImage, pBelow, Range);
  }
  return TouchesAbove ? ExtendAtFront(pImage, pAbove, Range) : NewArea(pImage, pBelow, pAbove, Range);
}

}  // namespace

int MEMIMG_WriteData(MemImage* pImage, uint64_t Addr, uint64_t NumBytes, const uint8_t* pData, int32_t FillByte) {
  ++pImage->NumChanges;
  pImage->CursorIndex = -1;
  if (NumBytes == 0) {
    return 0;
  }
  if (NumBytes - 1 > UINT64_MAX - Addr) {
    return MEMIMG_ERR_OVERLAP;
  }
  const WriteRange Range{Addr, NumBytes, pData, FillByte};
  DataArea* pLast = MEMIMG_LastArea(pImage);
  const bool IsAboveAll = pLast == nullptr || AREA_LastOf(*pLast) < Addr;
  return IsAboveAll ? Append(pImage, pLast, Range) : Insert(pImage, Range);
}
