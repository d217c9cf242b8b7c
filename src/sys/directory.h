/// Attributes of paths, and making directories.
#pragma once

#include <cstdint>

/// Bits of SYS_GetFileAttributes.
constexpr int SYS_ATTR_READ_ONLY = 0x01;  ///< No write permission bit is set.
constexpr int SYS_ATTR_DIRECTORY = 0x10;

/// Returns the attribute bits of the regular file or directory at pPath, following links; -1 if there is neither; 0 for
/// a null path.
int SYS_GetFileAttributes(const char* pPath);

/// Creates the directory at pPath and its missing parents, at most MaxDepth levels, with permissions 0777 less the
/// umask.
/// Returns 0 if the directory was created or already exists, else -1. Parents created before a failure stay.
[[nodiscard]] int SYS_CreateDirectory(const char* pPath, int32_t MaxDepth);

/// Creates the directory of the file at pPath: the part up to the last '/', if there is one, cut to 511 characters.
/// Works and returns as SYS_CreateDirectory does; -1 for an empty path.
[[nodiscard]] int SYS_CreateDirectoryOf(const char* pPath, int32_t MaxDepth);
