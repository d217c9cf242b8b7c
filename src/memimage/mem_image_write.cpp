#include "memimage/mem_image.h"

namespace {

/// Up to this many areas, a walk is as fast as a search. Most files have no more and need no index.
constexpr uint32_t LONGEST_WALK = 8;

/// Returns whether NumStored bytes, from one or two areas, and NumNew new ones make an area of a legal length.
bool IsLegalLength(uint64_t NumStored, uint64_t NumNew) {
  return NumStored <= MEMIMG_MAX_AREA_BYTES && NumNew <= MEMIMG_MAX_AREA_BYTES - NumStored;
}

/// Contents that go into an area without storage are lost.
void NoteLostBytes(MemImage* pImage, const DataArea& Area, const WriteRange& Range) {
  if (RANGE_HasContents(Range) && !AREA_HasStorage(Area)) {
    pImage->HasLostBytes = 1;
  }
}

/// Enters all areas in the index. Returns false, without an index, if memory is exhausted.
[[nodiscard]] bool BuildIndex(MemImage* pImage) {
  for (DataArea* pArea = pImage->pFirstArea; pArea != nullptr; pArea = pArea->pNext) {
    if (!INDEX_Insert(&pImage->Index, pArea)) {
      INDEX_Clear(&pImage->Index);
      return false;
    }
  }
  return true;
}

/// Walks the chain to the areas around an address.
AreaNeighbours WalkTo(const MemImage& Image, uint64_t Addr) {
  AreaNeighbours Found{nullptr, Image.pFirstArea};
  while (Found.pAbove != nullptr && Found.pAbove->Addr <= Addr) {
    Found = {Found.pAbove, Found.pAbove->pNext};
  }
  return Found;
}

AreaNeighbours Find(const MemImage& Image, uint64_t Addr) {
  return INDEX_IsEmpty(Image.Index) ? WalkTo(Image, Addr) : INDEX_Find(Image.Index, Addr);
}

/// Returns the last area of the chain, or null for an empty image.
DataArea* LastArea(MemImage* pImage) {
  if (pImage->pLastArea == nullptr) {
    pImage->pLastArea = Find(*pImage, UINT64_MAX).pBelow;
  }
  return pImage->pLastArea;
}

/// Gives a long chain its index. Returns false if there is no memory for it.
[[nodiscard]] bool IndexIfLong(MemImage* pImage) {
  return !INDEX_IsEmpty(pImage->Index) || pImage->NumAreas <= LONGEST_WALK || BuildIndex(pImage);
}

/// Stores the range as a new area between its neighbours.
[[nodiscard]] int NewArea(MemImage* pImage, AreaNeighbours Place, const WriteRange& Range) {
  DataArea* pArea = IsLegalLength(0, Range.NumBytes) ? AREA_New(Range) : nullptr;
  if (pArea == nullptr) {
    return MEMIMG_ERR_NO_MEMORY;
  }
  if (!INDEX_IsEmpty(pImage->Index) && !INDEX_Insert(&pImage->Index, pArea)) {
    AREA_Free(pArea);
    return MEMIMG_ERR_NO_MEMORY;
  }
  NoteLostBytes(pImage, *pArea, Range);
  pArea->pNext = Place.pAbove;
  (Place.pBelow != nullptr ? Place.pBelow->pNext : pImage->pFirstArea) = pArea;
  if (Place.pAbove == nullptr) {
    pImage->pLastArea = pArea;
  }
  ++pImage->NumAreas;
  return 0;
}

/// Removes and frees the area after pArea. Its bytes are now in pArea.
void RemoveNext(MemImage* pImage, DataArea* pArea) {
  DataArea* pNext = pArea->pNext;
  pArea->pNext = pNext->pNext;
  if (pImage->pLastArea == pNext) {
    pImage->pLastArea = nullptr;
  }
  INDEX_Remove(&pImage->Index, pNext->Addr);
  AREA_Free(pNext);
  --pImage->NumAreas;
}

/// Joins pArea, the range after it and the next area, which the range touches.
/// docs/architecture.md names it, so it has the prefix.
[[nodiscard]] int MEMIMG_MergeWithNext(MemImage* pImage, DataArea* pArea, const WriteRange& Range) {
  if (!IsLegalLength(pArea->NumBytes + pArea->pNext->NumBytes, Range.NumBytes) ||
      !AREA_Join(pArea, Range, pArea->pNext)) {
    return MEMIMG_ERR_NO_MEMORY;
  }
  NoteLostBytes(pImage, *pArea, Range);
  RemoveNext(pImage, pArea);
  return 0;
}

[[nodiscard]] int ExtendAtEnd(MemImage* pImage, DataArea* pArea, const WriteRange& Range) {
  if (!IsLegalLength(pArea->NumBytes, Range.NumBytes) || !AREA_AddAtEnd(pArea, Range)) {
    return MEMIMG_ERR_NO_MEMORY;
  }
  NoteLostBytes(pImage, *pArea, Range);
  return 0;
}

[[nodiscard]] int ExtendAtFront(MemImage* pImage, DataArea* pArea, const WriteRange& Range) {
  const uint64_t OldAddr = pArea->Addr;
  if (!IsLegalLength(pArea->NumBytes, Range.NumBytes) || !AREA_AddInFront(pArea, Range)) {
    return MEMIMG_ERR_NO_MEMORY;
  }
  INDEX_Lower(&pImage->Index, OldAddr, Range.Addr);
  NoteLostBytes(pImage, *pArea, Range);
  return 0;
}

/// Stores a range between its neighbours.
[[nodiscard]] int Store(MemImage* pImage, AreaNeighbours Place, const WriteRange& Range) {
  const auto& [pBelow, pAbove] = Place;
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
  return TouchesAbove ? ExtendAtFront(pImage, pAbove, Range) : NewArea(pImage, Place, Range);
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
  AreaNeighbours Place{LastArea(pImage), nullptr};
  if (Place.pBelow != nullptr && AREA_LastOf(*Place.pBelow) >= Addr) {
    if (!IndexIfLong(pImage)) {
      return MEMIMG_ERR_NO_MEMORY;
    }
    Place = Find(*pImage, Addr);
  }
  return Store(pImage, Place, Range);  // the only call, so that it is inlined
}
