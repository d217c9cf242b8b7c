/// Where the records of areas come from: slabs of many, which an image of many short runs fills and releases at a
/// fraction of the cost of a heap block each, and walks with fewer waits for memory.
#pragma once

#include <cstdint>

#include "memimage/data_area.h"

struct AreaSlab;

/// The records of one image. All zero is the empty pool that owns nothing.
struct AreaPool {
  AreaSlab* pSlabs;  ///< The newest first; it alone may have slots that were never taken.
  DataArea* pFree;   ///< Records given back, linked by pNext.
};

/// Returns a record whose fields the caller sets, with MEMIMG_MIN_BUFFER_BYTES bytes for the area's first buffer right
/// behind it; null when memory is exhausted. O(1) amortised.
[[nodiscard]] DataArea* POOL_Take(AreaPool* pPool);

/// Gives a record back. Its area has no buffer any more.
void POOL_Give(AreaPool* pPool, DataArea* pArea);

/// Releases all areas that were taken and not given back, with their buffers, and the pool's memory.
void POOL_Clear(AreaPool* pPool);
