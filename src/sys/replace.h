/// Replaces a file in one step: at every moment, its path names the complete old file or the complete new one.
/// SYS_GetLastError says why a call failed.
#pragma once

#include <cstdint>

/// Returns the path of the file to replace for pPath: where a symbolic link leads to, otherwise pPath itself. The
/// caller owns it until SYS_Free. Returns null if that is not a regular file that may be written, if a link leads
/// nowhere, or if memory is exhausted. A pPath at which nothing is yet is fine.
[[nodiscard]] char* SYS_FindTarget(const char* pPath);

/// Creates the file for the new contents of pTarget, or opens the one that an interrupted run has left, without
/// emptying it. On POSIX, it gets the permissions of the file at pTarget, if there is one. Where the file system has
/// locks, no other run can open it this way until it is closed.
/// Returns the handle, which the caller closes with SYS_FileClose; or SYS_NO_FILE, with the error EBUSY if another run
/// has it, and EEXIST if it is not a regular file with one name. A failure leaves no file that this call has created.
[[nodiscard]] int64_t SYS_OpenReplacement(const char* pPath, const char* pTarget);

/// Waits until the disk has all that was written to the file, through any handle. Returns 0, or -1 if it has not.
[[nodiscard]] int SYS_FileFlush(uint32_t hFile);

/// Moves the file at pPath to pTarget, and lets that outlast a power cut where the file system can. Returns 0, or -1
/// with the target as it was.
[[nodiscard]] int SYS_ReplaceFile(const char* pPath, const char* pTarget);
