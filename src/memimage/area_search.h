/// Where an address stands in an image's chain. For the image's own operations.
#pragma once

#include "memimage/mem_image.h"

/// Finds the neighbours of Addr: through the index, which is built when the chain has grown long, or by a walk where
/// there is no memory for one. O(log areas) with the index.
[[nodiscard]] AreaNeighbours MEMIMG_FindAreas(MemImage* pImage, uint64_t Addr);

/// Returns the last area of the chain, null for an empty image. O(1) but for a walk after the shortcut was lost.
[[nodiscard]] DataArea* MEMIMG_LastArea(MemImage* pImage);
