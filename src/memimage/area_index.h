/// Finds the area at an address without walking the chain: all areas of an image in a B+ tree.
///
/// Every operation goes down from the root: O(log areas), whatever the order of the calls. Nodes repeat the areas'
/// addresses because a search that had to look into each area it compares with would wait for memory at every step.
#pragma once

#include <cstdint>

#include "memimage/data_area.h"
#include "memimage/slab_pool.h"

struct IndexNode;

/// The index. All zero is the empty index that owns nothing.
struct AreaIndex {
  IndexNode* pRoot;    ///< Null when the index is empty; no other node is ever empty.
  uint32_t NumLevels;  ///< From the root to the leaves, which all are on the same level.
  SlabPool Pool;       ///< The nodes.
};

/// Whether the index has no areas.
inline bool INDEX_IsEmpty(const AreaIndex& Index) {
  return Index.pRoot == nullptr;
}

/// Returns the last area that begins at or below Addr, null for none.
[[nodiscard]] DataArea* INDEX_Find(const AreaIndex& Index, uint64_t Addr);

/// Adds an area whose address is not in the index. Returns false, with the same areas in it, when memory gives out.
[[nodiscard]] bool INDEX_Insert(AreaIndex* pIndex, DataArea* pArea);

/// Removes the area that was entered with Addr. The index may be empty.
void INDEX_Remove(AreaIndex* pIndex, uint64_t Addr);

/// The area that was entered with OldAddr begins at NewAddr, which is lower, and still behind the area before it. The
/// index may be empty.
void INDEX_Lower(AreaIndex* pIndex, uint64_t OldAddr, uint64_t NewAddr);

/// Releases everything; the index is empty again.
void INDEX_Clear(AreaIndex* pIndex);
