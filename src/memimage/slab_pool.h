/// Memory for many objects of one size: slabs of them, which an image of many short runs fills and releases at a
/// fraction of the cost of a heap block each, and which are large enough for the system's large pages.
#pragma once

#include <cstdint>

struct Slab;

/// The slabs of one kind of object. All zero is the empty pool that owns nothing.
struct SlabPool {
  Slab* pSlabs;  ///< The newest first; it alone may have slots that were never taken.
  void* pFree;   ///< Slots given back; each holds the pointer to the next.
};

/// Returns a slot of SlotSize bytes, uninitialised and owned by the caller until POOL_Give; null when memory is
/// exhausted. SlotSize: a multiple of what its contents are aligned to, the same in all calls for a pool. O(1)
/// amortised.
[[nodiscard]] void* POOL_Take(SlabPool* pPool, uint32_t SlotSize);

/// Gives a slot back.
void POOL_Give(SlabPool* pPool, void* pSlot);

/// Calls pfVisit with each slot that was ever taken, in the order of memory; those given back are among them.
void POOL_ForEach(const SlabPool& Pool, uint32_t SlotSize, void (*pfVisit)(void* pSlot));

/// Releases all slots and the pool's memory.
void POOL_Clear(SlabPool* pPool);
