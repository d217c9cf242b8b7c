/// Finds the area at an address without walking the chain: all areas of an image, sorted, in blocks of entries.
///
/// A lookup is a binary search for the block and one within it: O(log areas). An insertion moves entries within a block
/// and, once in half a block of insertions, the references behind the block that was split: with a million areas that
/// is a few nanoseconds an insertion, less than the search. Entries repeat the areas' addresses because a search
/// that had to look into each area it compares with would wait for memory at every step.
#pragma once

#include <cstdint>

#include "memimage/data_area.h"

struct IndexBlock;

/// A block of the index and the lowest address in it.
struct IndexBlockRef {
  uint64_t FirstAddr;
  IndexBlock* pBlock;
};

/// The index. All zero is the empty index that owns nothing.
struct AreaIndex {
  IndexBlockRef* paBlockRef;  ///< Sorted by address; every block holds at least one entry.
  uint32_t NumBlocks;
  uint32_t NumBlocksAlloc;
};

inline bool INDEX_IsEmpty(const AreaIndex& Index) {
  return Index.NumBlocks == 0;
}

/// Returns the area with the highest address at or below Addr, or null.
[[nodiscard]] DataArea* INDEX_FindAtOrBelow(const AreaIndex& Index, uint64_t Addr);

/// Adds an area whose address is not in the index. Returns false, with the index unchanged, when memory gives out.
[[nodiscard]] bool INDEX_Insert(AreaIndex* pIndex, DataArea* pArea);

/// Removes the area that was entered with Addr.
void INDEX_Remove(AreaIndex* pIndex, uint64_t Addr);

/// The area that was entered with OldAddr begins at NewAddr now; its place among the others is the same.
void INDEX_Move(AreaIndex* pIndex, uint64_t OldAddr, uint64_t NewAddr);

/// Releases everything; the index is empty again.
void INDEX_Clear(AreaIndex* pIndex);
