/// Files by handle, directories, and the wait between attempts to open a file. SYS_GetLastError says why a call failed.
#pragma once

#include <cstdint>

/// Portable open flags, to be combined. Every file is opened close-on-exec. New files get permissions 0644 less the
/// umask.
constexpr uint32_t SYS_OPEN_READ = 0x01;       ///< Read access; also the default without an access flag.
constexpr uint32_t SYS_OPEN_WRITE = 0x02;      ///< Write access.
constexpr uint32_t SYS_OPEN_SHARE = 0x04;      ///< Accepted, but has no effect here.
constexpr uint32_t SYS_OPEN_CREATE = 0x10;     ///< Create the file if it is missing; SYS_OpenFileEx: its directory too.
constexpr uint32_t SYS_OPEN_TRUNCATE = 0x20;   ///< Empty an existing file.
constexpr uint32_t SYS_OPEN_AT_END = 0x40;     ///< Start at the end of the file.
constexpr uint32_t SYS_OPEN_EXCLUSIVE = 0x80;  ///< With SYS_OPEN_CREATE: fail if the file exists; nothing is emptied.

/// Returns the system error number (errno) of the calling thread's last failed call.
int SYS_GetLastError();

/// What a failed open returns.
constexpr int64_t SYS_NO_FILE = -1;

/// Opens pPath as given. Returns the handle, which the caller closes with SYS_FileClose, or SYS_NO_FILE.
[[nodiscard]] int64_t SYS_FileOpen(const char* pPath, uint32_t Flags);

/// As SYS_FileOpen, with up to NumRetries more attempts, each after DelayMs milliseconds.
[[nodiscard]] int64_t SYS_OpenFileRetry(const char* pPath, uint32_t Flags, uint32_t NumRetries, uint32_t DelayMs);

/// As SYS_FileOpen, but a leading '~' means the user's home directory (the path is then cut to 511 characters), and
/// SYS_OPEN_CREATE first creates the missing directories of the path. A null path fails.
/// Directory names are cut to 511 characters, so creating a longer one also creates a stray directory with the cut
/// name.
[[nodiscard]] int64_t SYS_OpenFileEx(const char* pPath, uint32_t Flags);

/// Reads up to NumBytes bytes. Returns how many it read, perhaps fewer even before the end of the file; 0 at the end of
/// the file; -1 on an error.
[[nodiscard]] int64_t SYS_FileRead(uint32_t hFile, void* pBuffer, uint32_t NumBytes);

/// Writes up to NumBytes bytes. Returns how many it wrote, perhaps fewer; -1 on an error.
[[nodiscard]] int64_t SYS_FileWrite(uint32_t hFile, const void* pBuffer, uint32_t NumBytes);

/// Returns whether pPath, expanded as SYS_OpenFileEx does it, names the regular file that standard output goes to.
[[nodiscard]] bool SYS_IsStandardOutput(const char* pPath);

/// Closes the handle, which is gone even if that fails.
/// Returns 0, or -1 if the system reports that an earlier write was lost after all.
int SYS_FileClose(uint32_t hFile);

/// Identifies a file, and says how large it is. All 0: not a regular file.
struct SysFileState {
  uint64_t Device;
  uint64_t Node;
  uint64_t NumBytes;

  bool operator==(const SysFileState&) const = default;
};

/// Returns the state of the regular file at pPath, following links. Only such a file can be read again.
SysFileState SYS_GetFileState(const char* pPath);

/// Returns whether pPath names a pipe, which gives its bytes only once.
[[nodiscard]] bool SYS_IsPipe(const char* pPath);

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

/// Sleeps for the given time, even if signals interrupt. The time is counted in 32-bit microseconds, so one call sleeps
/// at most 4294967 ms; a longer time wraps.
void SYS_Sleep(uint32_t Milliseconds);
