/// What is at a path, and making directories.
#pragma once

#include <cstdint>

/// Bits of SYS_GetFileAttributes.
constexpr int SYS_ATTR_READ_ONLY = 0x01;  ///< No write permission bit is set for anyone.
constexpr int SYS_ATTR_DIRECTORY = 0x10;

/// Returns the attribute bits of the regular file or directory at pPath, links followed; -1 when there is none or it
/// is of another kind; 0 for a null path.
int SYS_GetFileAttributes(const char* pPath);

/// Creates the directory at pPath with its missing parents, at most MaxDepth levels, with permissions 0777 less the
/// creation mask.
/// Returns 0 when the directory was created or was there, -1 when not; parents created before the failure stay.
[[nodiscard]] int SYS_CreateDirectory(const char* pPath, int32_t MaxDepth);

/// Creates the directory that the path of a file names before its last '/', if it names one, as SYS_CreateDirectory
/// does. Of the directory's name, 511 characters are taken. Returns 0 or -1 likewise; -1 for an empty path.
[[nodiscard]] int SYS_CreateDirectoryOf(const char* pPath, int32_t MaxDepth);
