#include "memimage/area_search.h"

namespace {

/// Up to here a walk is as fast as a search, and most files need no index at all.
constexpr uint32_t LONGEST_WALK = 8;

/// Enters all areas; without the memory for all of them there is no index.
void BuildIndex(MemImage* pImage) {
  for (DataArea* pArea = pImage->pFirstArea; pArea != nullptr; pArea = pArea->pNext) {
    if (!INDEX_Insert(&pImage->Index, pArea)) {
      INDEX_Clear(&pImage->Index);
      return;
    }
  }
}

AreaNeighbours Walk(const MemImage& Image, uint64_t Addr) {
  AreaNeighbours Near{};
  Near.pAbove = Image.pFirstArea;
  while (Near.pAbove != nullptr && Near.pAbove->Addr <= Addr) {
    Near.pBelow = Near.pAbove;
    Near.pAbove = Near.pAbove->pNext;
  }
  Near.BelowLast = Near.pBelow != nullptr ? AREA_LastOf(*Near.pBelow) : 0;
  Near.AboveAddr = Near.pAbove != nullptr ? Near.pAbove->Addr : 0;
  return Near;
}

AreaNeighbours Find(MemImage* pImage, uint64_t Addr) {
  return INDEX_IsEmpty(pImage->Index) ? Walk(*pImage, Addr) : INDEX_Find(&pImage->Index, Addr);
}

}  // namespace

AreaNeighbours MEMIMG_FindAreas(MemImage* pImage, uint64_t Addr) {
  if (INDEX_IsEmpty(pImage->Index) && pImage->NumAreas > LONGEST_WALK) {
    BuildIndex(pImage);
  }
  return Find(pImage, Addr);
}

DataArea* MEMIMG_LastArea(MemImage* pImage) {
  if (pImage->pLastArea == nullptr) {
    pImage->pLastArea = Find(pImage, UINT64_MAX).pBelow;
  }
  return pImage->pLastArea;
}
