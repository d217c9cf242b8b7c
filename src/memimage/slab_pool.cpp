#include "memimage/slab_pool.h"

#include <algorithm>

#include "sys/heap.h"

struct alignas(uint64_t) Slab {
  Slab* pNext;
  uint32_t NumBytes;       ///< Size of the slots in all.
  uint32_t NumBytesTaken;  ///< Slots that were ever taken: the first so many bytes.
};

namespace {

constexpr uint32_t MIN_SLAB_BYTES = 4096;
constexpr uint32_t MAX_SLAB_BYTES = (32 << 20) - 256;  // less than a power of two, so that heads find room in it

uint8_t* SlotsOf(Slab* pSlab) {
  return reinterpret_cast<uint8_t*>(pSlab + 1);
}

/// Returns memory for a slab of at most *pNumBytes bytes of slots, or of less where that cannot be had; null for none.
[[nodiscard]] Slab* AllocSlab(uint32_t* pNumBytes) {
  for (; *pNumBytes >= MIN_SLAB_BYTES; *pNumBytes /= 2) {
    void* pBlock = SYS_Alloc(static_cast<uint32_t>(sizeof(Slab)) + *pNumBytes);
    if (pBlock != nullptr) {
      return static_cast<Slab*>(pBlock);
    }
  }
  return nullptr;
}

/// Adds a slab four times as large as the newest one, within limits. Returns false without memory.
[[nodiscard]] bool AddSlab(SlabPool* pPool) {
  uint32_t NumBytes = pPool->pSlabs != nullptr ? std::min(pPool->pSlabs->NumBytes * 4, MAX_SLAB_BYTES) : MIN_SLAB_BYTES;
  Slab* pSlab = AllocSlab(&NumBytes);
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
