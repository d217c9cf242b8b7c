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

DataArea* Walk(const MemImage& Image, uint64_t Addr) {
  DataArea* pBelow = nullptr;
  for (DataArea* pArea = Image.pFirstArea; pArea != nullptr && pArea->Addr <= Addr; pArea = pArea->pNext) {
    pBelow = pArea;
  }
  return pBelow;
}

}  // namespace

DataArea* MEMIMG_AreaAtOrBelow(MemImage* pImage, uint64_t Addr) {
  if (INDEX_IsEmpty(pImage->Index) && pImage->NumAreas > LONGEST_WALK) {
    BuildIndex(pImage);
  }
  return INDEX_IsEmpty(pImage->Index) ? Walk(*pImage, Addr) : INDEX_Find(pImage->Index, Addr);
}

DataArea* MEMIMG_LastArea(MemImage* pImage) {
  if (pImage->pLastArea == nullptr) {
    pImage->pLastArea = MEMIMG_AreaAtOrBelow(pImage, UINT64_MAX);
  }
  return pImage->pLastArea;
}
