#include "memimage/slab_pool.h"

#include <algorithm>

#include "sys/heap.h"

struct Slab {
  Slab* pNext;
  uint32_t NumBytes;       ///< Size of the slots in all.
  uint32_t NumBytesTaken;  ///< Slots that were ever taken: the first so many bytes.
};

namespace {

constexpr uint32_t MIN_SLAB_BYTES = 4096;
constexpr uint32_t MAX_SLAB_BYTES = (16 << 20) - 256;  // less than a power of two, so that heads find room in it

static_assert(sizeof(Slab) % alignof(uint64_t) == 0, "the slots follow the slab's head");

uint8_t* SlotsOf(Slab* pSlab) {
  return reinterpret_cast<uint8_t*>(pSlab + 1);
}

/// Adds a slab twice as large as the newest one, within limits. Returns false without memory.
[[nodiscard]] bool AddSlab(SlabPool* pPool) {
  const uint32_t NumBytes =
      pPool->pSlabs != nullptr ? std::min(pPool->pSlabs->NumBytes * 2, MAX_SLAB_BYTES) : MIN_SLAB_BYTES;
  Slab* pSlab = static_cast<Slab*>(SYS_Alloc(static_cast<uint32_t>(sizeof(Slab)) + NumBytes));
  if (pSlab == nullptr) {
    return false;
  }
  *pSlab = {pPool->pSlabs, NumBytes, 0};
  pPool->pSlabs = pSlab;
  return true;
}

bool HasRoom(const Slab* pSlab, uint32_t SlotSize) {
  return pSlab != nullptr && pSlab->NumBytes - pSlab->NumBytesTaken >= SlotSize;
}

}  // namespace

void* POOL_Take(SlabPool* pPool, uint32_t SlotSize) {
  if (pPool->pFree != nullptr) {
    void* pSlot = pPool->pFree;
    pPool->pFree = *static_cast<void**>(pSlot);
    return pSlot;
  }
  if (!HasRoom(pPool->pSlabs, SlotSize) && !AddSlab(pPool)) {
    return nullptr;
  }
  Slab* pSlab = pPool->pSlabs;
  void* pSlot = SlotsOf(pSlab) + pSlab->NumBytesTaken;
  pSlab->NumBytesTaken += SlotSize;
  return pSlot;
}

void POOL_Give(SlabPool* pPool, void* pSlot) {
  *static_cast<void**>(pSlot) = pPool->pFree;
  pPool->pFree = pSlot;
}

void POOL_ForEach(const SlabPool& Pool, uint32_t SlotSize, void (*pfVisit)(void* pSlot)) {
  for (Slab* pSlab = Pool.pSlabs; pSlab != nullptr; pSlab = pSlab->pNext) {
    for (uint32_t Pos = 0; Pos < pSlab->NumBytesTaken; Pos += SlotSize) {
      pfVisit(SlotsOf(pSlab) + Pos);
    }
  }
}

void POOL_Clear(SlabPool* pPool) {
  while (pPool->pSlabs != nullptr) {
    Slab* pNext = pPool->pSlabs->pNext;
    SYS_Free(pPool->pSlabs);
    pPool->pSlabs = pNext;
  }
  *pPool = {};
}
