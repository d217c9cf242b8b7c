/// Tests that the data of a file lies in the memory of the part that it is for.
#pragma once

#include <vector>

#include "check/arguments.h"
#include "check/input.h"

/// Tests that every byte of an accepted input lies in one of the ranges, which may touch, overlap and be nested; no
/// ranges: all is well. Reports the first run outside, and the line where it begins. Each run
/// takes up to O(ranges * ranges).
[[nodiscard]] CheckStatus CHECK_TestWithin(const CheckInput& Input, const std::vector<CheckRange>& Ranges,
                                           const CheckSink& Sink);
