/// What an image holds: its runs, whether they lie in the memory of a part, and how another image differs.
#pragma once

#include <cstdint>
#include <vector>

#include "memimage/mem_image.h"

/// Bytes at ascending addresses without a gap.
struct CheckRun {
  uint64_t Addr;      ///< UINT64_MAX if there is no such run.
  uint64_t NumBytes;  ///< 0 if there is none.
};

/// Returns the first run at Addr or above, cut to begin at Addr. Calls with rising addresses visit each run once in
/// all.
CheckRun CHECK_RunFrom(MemImage* pImage, uint64_t Addr);

/// Returns the run that follows Run, or the rest of the run that Run is the first part of.
inline CheckRun CHECK_RunAfter(MemImage* pImage, const CheckRun& Run) {
  return CHECK_RunFrom(pImage, Run.Addr + Run.NumBytes);
}

/// Addresses from First to Last, both included.
struct CheckRange {
  uint32_t First;
  uint32_t Last;
};

/// Returns the first part of a run that lies outside all ranges, which may touch, overlap and be nested. Its NumBytes
/// is 0 if there is none, and if there are no ranges.
CheckRun CHECK_FindOutside(MemImage* pImage, std::vector<CheckRange> Ranges);

/// How an image differs from another one.
struct CheckDifference {
  uint64_t FirstAddr = UINT64_MAX;  ///< Lowest address with a difference; this, if there is none.
  uint64_t NumDiffering = 0;        ///< Addresses at which both have a byte, but not the same.
  uint64_t NumMissing = 0;          ///< Addresses at which only the other one has a byte.
  uint64_t NumSurplus = 0;          ///< Addresses at which only the image has a byte.
};

inline bool CHECK_IsSame(const CheckDifference& Difference) {
  return Difference.FirstAddr == UINT64_MAX;
}

/// Compares an image with another one; neither is changed. O(bytes).
CheckDifference CHECK_Compare(MemImage* pImage, MemImage* pOther);
