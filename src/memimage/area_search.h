/// Where an address stands in an image's chain. For the image's own operations.
#pragma once

#include "memimage/mem_image.h"

/// Returns the last area that begins at or below Addr, null for none: through the index, which is built when the chain
/// has grown long, or by a walk where there is no memory for one. O(log areas) with the index, else O(areas).
[[nodiscard]] DataArea* MEMIMG_AreaAtOrBelow(MemImage* pImage, uint64_t Addr);

/// Returns the area behind pArea, the first for null; null for none.
[[nodiscard]] inline DataArea* MEMIMG_AreaBehind(const MemImage& Image, const DataArea* pArea) {
  return pArea != nullptr ? pArea->pNext : Image.pFirstArea;
}

/// Returns the last area of the chain, null for an empty image. O(1) but for a search after the shortcut was lost.
[[nodiscard]] DataArea* MEMIMG_LastArea(MemImage* pImage);
