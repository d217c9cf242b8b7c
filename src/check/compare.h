/// Compares the bytes of two images at their addresses.
#pragma once

#include "memimage/mem_image.h"

/// How an image differs from another one.
struct CheckDifference {
  uint64_t FirstAddr = UINT64_MAX;  ///< Lowest address with a difference; this, if there is none.
  uint64_t NumDiffering = 0;        ///< Addresses at which both have a byte, but not the same.
  uint64_t NumMissing = 0;          ///< Addresses at which only the other one has a byte.
  uint64_t NumSurplus = 0;          ///< Addresses at which only the image has a byte.
};

/// Compares an image with another one; neither is changed. O(bytes).
CheckDifference CHECK_Compare(MemImage* pImage, MemImage* pOther);

inline bool CHECK_IsSame(const CheckDifference& Difference) {
  return Difference.FirstAddr == UINT64_MAX;
}
