#include "sys/file.h"

#include <fcntl.h>
#include <time.h>
#include <unistd.h>

#include <array>
#include <cerrno>

#include "sys/heap.h"
#include "sys/path.h"
#include "sys/system.h"
#include "util/text.h"

namespace {

constexpr int32_t MAX_DIRECTORY_DEPTH = 128;

int AccessOf(uint32_t Flags) {
  switch (Flags & (SYS_OPEN_READ | SYS_OPEN_WRITE)) {
    case SYS_OPEN_READ | SYS_OPEN_WRITE:
      return O_RDWR;
    case SYS_OPEN_WRITE:
      return O_WRONLY;
    default:
      return O_RDONLY;
  }
}

int SystemFlagsOf(uint32_t Flags) {
  const bool IsCreate = (Flags & SYS_OPEN_CREATE) != 0;
  const bool IsExclusive = IsCreate && (Flags & SYS_OPEN_EXCLUSIVE) != 0;
  const bool IsTruncate = !IsExclusive && (Flags & SYS_OPEN_TRUNCATE) != 0;
  return AccessOf(Flags) | (IsCreate ? O_CREAT : 0) | (IsExclusive ? O_EXCL : 0) | (IsTruncate ? O_TRUNC : 0);
}

int64_t OpenOnce(const char* pPath, uint32_t Flags) {
  const int Descriptor = SYS_OpenPath(pPath, SystemFlagsOf(Flags));
  if (Descriptor >= 0 && (Flags & SYS_OPEN_AT_END) != 0) {
    lseek(Descriptor, 0, SEEK_END);
  }
  return Descriptor;
}

using PathBuffer = std::array<char, SYS_PATH_SIZE>;

/// Returns pPath; or, if it begins with '~', the path below the home directory, in *pBuffer; null if there is no home
/// directory.
const char* ExpandHome(const char* pPath, PathBuffer* pBuffer) {
  if (pPath[0] != '~') {
    return pPath;
  }
  const char* pHome = SYS_GetHomeDirectory();
  if (pHome == nullptr) {
    return nullptr;
  }
  UTIL_CopyString(pBuffer->data(), pHome, SYS_PATH_SIZE);
  UTIL_AppendString(pBuffer->data(), pPath + 1, SYS_PATH_SIZE);
  return pBuffer->data();
}

/// Returns the length of a path without trailing separators.
uint64_t LenWithoutTrailingSeparators(const char* pPath) {
  uint64_t Len = UTIL_StrLen(pPath);
  while (Len > 0 && SYS_IsSeparator(pPath[Len - 1])) {
    --Len;
  }
  return Len;
}

/// Creates the directory of the file at pPath: the part up to the last separator, if there is one, cut to 511
/// characters. Works and returns as SYS_CreateDirectory does; -1 for an empty path.
// NOLINTNEXTLINE(misc-no-recursion): one level per parent directory, at most MaxDepth
[[nodiscard]] int CreateDirectoryOf(const char* pPath, int32_t MaxDepth) {
  PathBuffer acDir;
  PathBuffer acName;
  SYS_SplitPath(pPath, {}, {acDir.data(), SYS_PATH_SIZE}, {acName.data(), SYS_PATH_SIZE}, {});
  if (acDir[0] == '\0') {
    return acName[0] == '\0' ? -1 : 0;
  }
  return SYS_CreateDirectory(acDir.data(), MaxDepth);
}

// NOLINTNEXTLINE(misc-no-recursion): one level per parent directory, at most MaxDepth
[[nodiscard]] int CreateParent(const char* pPath, int32_t MaxDepth) {
  char* pTrimmed = SYS_CopyText(pPath, LenWithoutTrailingSeparators(pPath));
  const int Result = pTrimmed != nullptr ? CreateDirectoryOf(pTrimmed, MaxDepth) : -1;
  SYS_Free(pTrimmed);
  return Result;
}

uint64_t MonotonicMicroseconds() {
  timespec Now{};
  clock_gettime(CLOCK_MONOTONIC, &Now);
  return static_cast<uint64_t>(Now.tv_sec) * 1000000 + static_cast<uint64_t>(Now.tv_nsec) / 1000;
}

}  // namespace

int SYS_GetLastError() {
  return errno;
}

int64_t SYS_FileOpen(const char* pPath, uint32_t Flags) {
  return SYS_OpenFileRetry(pPath, Flags, 0, 0);
}

int64_t SYS_OpenFileRetry(const char* pPath, uint32_t Flags, uint32_t NumRetries, uint32_t DelayMs) {
  int64_t hFile = OpenOnce(pPath, Flags);
  for (uint32_t i = 0; i < NumRetries && hFile == SYS_NO_FILE; ++i) {
    if (DelayMs != 0) {
      SYS_Sleep(DelayMs);
    }
    hFile = OpenOnce(pPath, Flags);
  }
  return hFile;
}

int64_t SYS_OpenFileEx(const char* pPath, uint32_t Flags) {
  PathBuffer acExpanded;
  const char* pUsed = pPath != nullptr ? ExpandHome(pPath, &acExpanded) : nullptr;
  if (pUsed == nullptr || ((Flags & SYS_OPEN_CREATE) != 0 && CreateDirectoryOf(pUsed, MAX_DIRECTORY_DEPTH) != 0)) {
    return SYS_NO_FILE;
  }
  return SYS_OpenFileRetry(pUsed, Flags, 0, 0);
}

int64_t SYS_FileRead(uint32_t hFile, void* pBuffer, uint32_t NumBytes) {
  return read(static_cast<int>(hFile), pBuffer, NumBytes);
}

int64_t SYS_FileWrite(uint32_t hFile, const void* pBuffer, uint32_t NumBytes) {
  return write(static_cast<int>(hFile), pBuffer, NumBytes);
}

bool SYS_IsStandardOutput(const char* pPath) {
  PathBuffer acExpanded;
  const char* pUsed = ExpandHome(pPath, &acExpanded);
  SysFileStatus File{};
  SysFileStatus Output{};
  return pUsed != nullptr && SYS_GetStatus(pUsed, &File) && SYS_GetStandardOutputStatus(&Output) &&
         File.State != SysFileState{} && File.State.Device == Output.State.Device &&
         File.State.Node == Output.State.Node;
}

int SYS_FileClose(uint32_t hFile) {
  return close(static_cast<int>(hFile));
}

SysFileState SYS_GetFileState(const char* pPath) {
  SysFileStatus Status{};
  return SYS_GetStatus(pPath, &Status) ? Status.State : SysFileState{};
}

bool SYS_IsPipe(const char* pPath) {
  SysFileStatus Status{};
  return SYS_GetStatus(pPath, &Status) && Status.IsPipe;
}

int SYS_GetFileAttributes(const char* pPath) {
  if (pPath == nullptr) {
    return 0;
  }
  SysFileStatus Status{};
  if (!SYS_GetStatus(pPath, &Status) || (!Status.IsDirectory && Status.State == SysFileState{})) {
    return -1;
  }
  return (Status.IsReadOnly ? SYS_ATTR_READ_ONLY : 0) | (Status.IsDirectory ? SYS_ATTR_DIRECTORY : 0);
}

// NOLINTNEXTLINE(misc-no-recursion): one level per parent directory, at most MaxDepth
int SYS_CreateDirectory(const char* pPath, int32_t MaxDepth) {
  if (pPath == nullptr || MaxDepth <= 0) {
    return -1;
  }
  SysFileStatus Status{};
  if (SYS_GetStatus(pPath, &Status)) {
    return Status.IsDirectory ? 0 : -1;
  }
  if (errno != ENOENT || CreateParent(pPath, MaxDepth - 1) != 0) {
    return -1;
  }
  return SYS_MakeDirectory(pPath) == 0 ? 0 : -1;
}

void SYS_Sleep(uint32_t Milliseconds) {
  const uint32_t Total = Milliseconds * 1000;
  const uint64_t Start = MonotonicMicroseconds();
  uint32_t Rest = Total;
  while (usleep(Rest) != 0 && errno == EINTR) {
    const uint64_t Elapsed = MonotonicMicroseconds() - Start;
    if (Elapsed >= Total) {
      return;
    }
    Rest = Total - static_cast<uint32_t>(Elapsed);
  }
}
