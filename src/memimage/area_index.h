/// Finds the area at an address without walking the chain.
///
/// The index holds the address of every area, sorted, on pages of a fixed size. A search looks through the list of
/// pages, then through one page. A full page is split in two. The pages repeat the addresses because a search that read
/// them from the areas would wait for memory at every step.
#pragma once

#include <cstdint>

#include "memimage/data_area.h"

struct IndexPage;

/// A page in the list of pages.
struct IndexPageRef {
  uint64_t FirstAddr;  ///< The first address on the page.
  IndexPage* pPage;    ///< Owned; has at least one entry.
};

/// The index. All zero means empty: it owns nothing.
struct AreaIndex {
  IndexPageRef* paPage;    ///< The pages, ascending; owned.
  uint32_t NumPages;       ///< 0 when the index is empty.
  uint32_t NumPagesAlloc;  ///< Pages that paPage has room for.
};

/// Whether the index has no areas.
inline bool INDEX_IsEmpty(const AreaIndex& Index) {
  return Index.NumPages == 0;
}

/// The areas around an address; either may be null.
struct AreaNeighbours {
  DataArea* pBelow;  ///< The last area that begins at or below the address.
  DataArea* pAbove;  ///< The area after it.
};

/// Returns the areas around an address. The index must not be empty. O(log areas).
[[nodiscard]] AreaNeighbours INDEX_Find(const AreaIndex& Index, uint64_t Addr);

/// Adds an area whose address is not in the index. Returns false, with the index as it was, when memory is exhausted.
/// O(log areas), and every split of a page moves the part of the list after it.
[[nodiscard]] bool INDEX_Insert(AreaIndex* pIndex, DataArea* pArea);

/// Removes the area entered at Addr. Does nothing if the index is empty.
void INDEX_Remove(AreaIndex* pIndex, uint64_t Addr);

/// Lowers the address of the area entered at OldAddr to NewAddr, which must be above the end of the area before it.
/// Does nothing if the index is empty.
void INDEX_Lower(AreaIndex* pIndex, uint64_t OldAddr, uint64_t NewAddr);

/// Releases all pages and leaves the index empty.
void INDEX_Clear(AreaIndex* pIndex);
