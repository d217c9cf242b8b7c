/// Waiting.
#pragma once

#include <cstdint>

/// Sleeps for the given time, even if signals interrupt. The time is counted in 32-bit microseconds, so one call sleeps
/// at most 4294967 ms; a longer time wraps.
void SYS_Sleep(uint32_t Milliseconds);
