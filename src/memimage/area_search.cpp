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

DataArea* WalkToAtOrBelow(const MemImage& Image, uint64_t Addr) {
  DataArea* pBelow = nullptr;
  for (DataArea* p = Image.pFirstArea; p != nullptr && p->Addr <= Addr; p = p->pNext) {
    pBelow = p;
  }
  return pBelow;
}

DataArea* FindAtOrBelow(const MemImage& Image, uint64_t Addr) {
  return INDEX_IsEmpty(Image.Index) ? WalkToAtOrBelow(Image, Addr) : INDEX_FindAtOrBelow(Image.Index, Addr);
}

}  // namespace

AreaNeighbours MEMIMG_FindAreas(MemImage* pImage, uint64_t Addr) {
  if (INDEX_IsEmpty(pImage->Index) && pImage->NumAreas > LONGEST_WALK) {
    BuildIndex(pImage);
  }
  DataArea* pBelow = FindAtOrBelow(*pImage, Addr);
  return {pBelow, pBelow != nullptr ? pBelow->pNext : pImage->pFirstArea};
}

DataArea* MEMIMG_LastArea(MemImage* pImage) {
  if (pImage->pLastArea == nullptr) {
    pImage->pLastArea = FindAtOrBelow(*pImage, UINT64_MAX);
  }
  return pImage->pLastArea;
}
