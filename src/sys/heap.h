/// All heap memory of the program comes from here and goes back here.
#pragma once

#include <cstdint>

/// Returns a new block of NumBytes bytes (at least 1), uninitialised and aligned for any type, owned by the caller
/// until SYS_Free; null when memory is exhausted.
[[nodiscard]] void* SYS_Alloc(uint32_t NumBytes);

/// Gives a block back; null is ignored.
void SYS_Free(void* pBlock);

/// Resizes a block (null: a new one) to NumBytes bytes (at least 1); it may move, and its contents up to the smaller
/// size stay. Returns the block, or null when memory is exhausted: the old block then stays valid and owned.
[[nodiscard]] void* SYS_Realloc(void* pBlock, uint32_t NumBytes);
