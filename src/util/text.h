/// Bounded operations on zero-terminated byte strings ("texts"). Buffer sizes count the terminator.
#pragma once

#include <cstdint>

/// Returned by UTIL_CopyString if there is nothing to copy from or to.
constexpr uint32_t UTIL_COPY_NOTHING = 0xFFFFFFFF;

/// Copies pSrc to pDest, cut to DestSize - 1 bytes and always terminated.
/// Returns the size that the source needs (its length + 1), so a result above DestSize means that the copy was cut;
/// UTIL_COPY_NOTHING, with nothing written, if pDest or pSrc is null or DestSize is 0.
uint32_t UTIL_CopyString(char* pDest, const char* pSrc, uint32_t DestSize);

/// Appends as much of pSrc to the text in pDest as fits into a buffer of DestSize bytes. pDest stays terminated; a text
/// that already fills its buffer does not change.
void UTIL_AppendString(char* pDest, const char* pSrc, uint32_t DestSize);

/// Compares two texts to their ends, ignoring the case of ASCII letters.
/// Returns 0 if they are equal, else the difference of the first two bytes that differ, each folded and taken as
/// signed.
int UTIL_CompareNoCase(const char* pA, const char* pB);

/// Returns the number of bytes before the terminator. O(length).
uint64_t UTIL_StrLen(const char* pText);

/// Returns the length of pText, but at most MaxLen; no byte after the first MaxLen is read. O(result).
uint32_t UTIL_StrLenMax(const char* pText, uint32_t MaxLen);
