/// Tests that the data of a file lies in the memory of the part that it is for.
#pragma once

#include <string_view>

#include "check/input.h"

/// Addresses from First to Last, both included.
struct CheckRange {
  uint32_t First;
  uint32_t Last;
};

/// Reads a number of 32 bits, decimal or hexadecimal with 0x. Returns whether the text is one; if not, *pValue may have
/// changed.
[[nodiscard]] bool CHECK_ParseNumber(std::string_view Text, uint32_t* pValue);

/// Reads FIRST-LAST, two such numbers. Returns whether the text is that, with a first that is not above the last.
[[nodiscard]] bool CHECK_ParseRange(std::string_view Text, CheckRange* pRange);

/// Tests that every byte of an accepted input lies in one of the ranges, which may touch, overlap and be nested; no
/// ranges: all is well. Reports the first run outside, and the line where it begins. Each run takes up to
/// O(ranges * ranges).
[[nodiscard]] CheckStatus CHECK_TestWithin(const CheckInput& Input, const std::vector<CheckRange>& Ranges,
                                           const CheckSink& Sink);
