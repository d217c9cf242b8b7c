/// Where an address stands in an image's chain. For the image's own operations.
#pragma once

#include "memimage/mem_image.h"

/// The two neighbours in the chain that an address stands between.
struct AreaNeighbours {
  DataArea* pBelow;  ///< Last area that begins at or below the address, which may hold it; null for none.
  DataArea* pAbove;  ///< The area behind pBelow, or the first of the chain; null for none.
};

/// Finds the neighbours of Addr: through the index, which is built when the chain has grown long, or by a walk where
/// there is no memory for one. O(log areas) with the index.
[[nodiscard]] AreaNeighbours MEMIMG_FindAreas(MemImage* pImage, uint64_t Addr);

/// Returns the last area of the chain, null for an empty image. O(1) but for a walk after the shortcut was lost.
[[nodiscard]] DataArea* MEMIMG_LastArea(MemImage* pImage);
