/// Waiting.
#pragma once

#include <cstdint>

/// Sleeps for the given time, also when signals interrupt. The time is counted in microseconds of 32 bits, so one call
/// sleeps at most 4294967 ms; a longer time wraps.
void SYS_Sleep(uint32_t Milliseconds);
