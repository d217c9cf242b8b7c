/// All heap memory of the program comes from here and goes back here.
#pragma once

#include <cstdint>

/// Returns a new block of NumBytes bytes (at least 1), uninitialised and aligned for any type, owned by the caller
/// until SYS_Free; null if memory is exhausted.
[[nodiscard]] void* SYS_Alloc(uint32_t NumBytes);

/// Frees a block; null is ignored.
void SYS_Free(void* pBlock);

/// Resizes a block (null: makes a new one) to NumBytes bytes (at least 1). It may move; its contents stay, up to the
/// smaller size. Returns the block; or null if memory is exhausted, and the old block then stays valid and owned.
[[nodiscard]] void* SYS_Realloc(void* pBlock, uint32_t NumBytes);

/// Returns the first Len characters of pText as a new text, owned by the caller until SYS_Free; null if memory is
/// exhausted.
[[nodiscard]] char* SYS_CopyText(const char* pText, uint64_t Len);
