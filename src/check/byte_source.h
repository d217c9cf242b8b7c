/// A file byte by byte.
#pragma once

#include <array>
#include <cstdint>

constexpr int BYTE_SOURCE_END = -1;
constexpr int BYTE_SOURCE_FAILED = -2;  ///< The file could not be opened or read; SYS_GetLastError has the reason.

struct ByteSource {
  int64_t hFile;
  uint32_t Pos;
  uint32_t NumFilled;
  std::array<uint8_t, 16384> aByte;
};

/// Opens the file. One that cannot be opened shows when it is read.
void CHECK_OpenBytes(ByteSource* pSource, const char* pPath);

/// Returns the next byte, BYTE_SOURCE_END or BYTE_SOURCE_FAILED.
[[nodiscard]] int CHECK_NextByte(ByteSource* pSource);

void CHECK_CloseBytes(ByteSource* pSource);
