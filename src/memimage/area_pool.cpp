#include "memimage/area_pool.h"

#include <algorithm>
#include <array>

#include "sys/heap.h"

namespace {

constexpr uint32_t MIN_SLOTS = 8;
constexpr uint32_t MAX_SLOTS = 1024;

struct AreaSlot {
  DataArea Area;
  std::array<uint8_t, MEMIMG_MIN_BUFFER_BYTES> aFirstBuffer;
};

static_assert(sizeof(DataArea) + MEMIMG_MIN_BUFFER_BYTES == sizeof(AreaSlot), "the first buffer follows the record");

}  // namespace

struct alignas(DataArea) AreaSlab {
  AreaSlab* pNext;
  uint32_t NumSlots;
  uint32_t NumTaken;  ///< Slots that were ever taken: the first so many.
};

namespace {

static_assert(sizeof(AreaSlab) % alignof(AreaSlot) == 0, "the slots follow the slab's head");

AreaSlot* SlotsOf(AreaSlab* pSlab) {
  return reinterpret_cast<AreaSlot*>(pSlab + 1);
}

/// Adds a slab twice as large as the newest one, within limits. Returns false without memory.
[[nodiscard]] bool AddSlab(AreaPool* pPool) {
  const AreaSlab* pNewest = pPool->pSlabs;
  const uint32_t NumSlots = pNewest != nullptr ? std::min(pNewest->NumSlots * 2, MAX_SLOTS) : MIN_SLOTS;
  AreaSlab* pSlab =
      static_cast<AreaSlab*>(SYS_Alloc(static_cast<uint32_t>(sizeof(AreaSlab) + NumSlots * sizeof(AreaSlot))));
  if (pSlab == nullptr) {
    return false;
  }
  *pSlab = {pPool->pSlabs, NumSlots, 0};
  pPool->pSlabs = pSlab;
  return true;
}

}  // namespace

DataArea* POOL_Take(AreaPool* pPool) {
  if (pPool->pFree != nullptr) {
    DataArea* pArea = pPool->pFree;
    pPool->pFree = pArea->pNext;
    return pArea;
  }
  AreaSlab* pSlab = pPool->pSlabs;
  if (pSlab == nullptr || pSlab->NumTaken == pSlab->NumSlots) {
    if (!AddSlab(pPool)) {
      return nullptr;
    }
    pSlab = pPool->pSlabs;
  }
  return &SlotsOf(pSlab)[pSlab->NumTaken++].Area;
}

void POOL_Give(AreaPool* pPool, DataArea* pArea) {
  pArea->pNext = pPool->pFree;
  pPool->pFree = pArea;
}

void POOL_Clear(AreaPool* pPool) {
  AreaSlab* pSlab = pPool->pSlabs;
  while (pSlab != nullptr) {
    for (uint32_t i = 0; i < pSlab->NumTaken; ++i) {
      AREA_FreeBuffer(&SlotsOf(pSlab)[i].Area);
    }
    AreaSlab* pNext = pSlab->pNext;
    SYS_Free(pSlab);
    pSlab = pNext;
  }
  *pPool = {};
}
