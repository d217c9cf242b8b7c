/// Compares the bytes of two images at their addresses.
#pragma once

#include <cstdint>

#include "memimage/mem_image.h"

/// How an image differs from another one. All counts 0: it has the same bytes at the same addresses.
struct CheckDifference {
  uint64_t FirstAddr;     ///< Lowest address with a difference, where there is one.
  uint64_t NumDiffering;  ///< Addresses at which both have a byte, but not the same.
  uint64_t NumMissing;    ///< Addresses at which only the other one has a byte.
  uint64_t NumSurplus;    ///< Addresses at which only the image has a byte.
};

/// Compares an image with another one; neither is changed. O(bytes).
CheckDifference CHECK_Compare(MemImage* pImage, MemImage* pOther);

inline bool CHECK_IsSame(const CheckDifference& Difference) {
  return Difference.NumDiffering == 0 && Difference.NumMissing == 0 && Difference.NumSurplus == 0;
}
