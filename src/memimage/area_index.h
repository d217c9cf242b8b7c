/// Finds the area at an address without walking the chain: all areas of an image, sorted, in blocks of entries.
///
/// A lookup is a binary search for the block and one within it: O(log areas). An insertion moves entries within a block
/// and, once in half a block of insertions, the references behind the block that was split: with a million areas that
/// is a few nanoseconds an insertion, less than the search. Entries repeat the areas' first and last addresses because
/// an operation that had to look into each area it compares with would wait for memory at every step.
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
  uint32_t RecentBlock;  ///< Where the last search ended, a hint: the next operation is often on the same area.
};

/// The two neighbours in the chain that an address stands between.
struct AreaNeighbours {
  DataArea* pBelow;    ///< Last area that begins at or below the address, which may hold it; null for none.
  uint64_t BelowLast;  ///< Its last address, known without a look into it.
  DataArea* pAbove;    ///< The area behind pBelow, or the first of the chain; null for none.
  uint64_t AboveAddr;  ///< Its first address, known likewise.
};

inline bool INDEX_IsEmpty(const AreaIndex& Index) {
  return Index.NumBlocks == 0;
}

/// Finds the neighbours of Addr in an index that is not empty.
[[nodiscard]] AreaNeighbours INDEX_Find(AreaIndex* pIndex, uint64_t Addr);

/// Adds an area whose address is not in the index. Returns false, with the index unchanged, when memory gives out.
[[nodiscard]] bool INDEX_Insert(AreaIndex* pIndex, DataArea* pArea);

/// Removes the area that was entered with Addr.
void INDEX_Remove(AreaIndex* pIndex, uint64_t Addr);

/// The area that was entered with OldAddr has grown; its place among the others is the same.
void INDEX_Update(AreaIndex* pIndex, uint64_t OldAddr, const DataArea& Area);

/// How many areas INDEX_Prefetch takes at a time.
constexpr uint32_t INDEX_PREFETCH_AREAS = 32;

/// Has the next INDEX_PREFETCH_AREAS areas from Addr on fetched while the caller works. The areas of a scattered input
/// lie all over memory, and a scan along the chain alone would wait for each of them. The index may be empty.
void INDEX_Prefetch(AreaIndex* pIndex, uint64_t Addr);

/// Releases everything; the index is empty again.
void INDEX_Clear(AreaIndex* pIndex);
