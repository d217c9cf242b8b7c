#include "sys/directory.h"

#include <sys/stat.h>

#include <array>
#include <cerrno>

#include "sys/heap.h"
#include "sys/path.h"
#include "util/text.h"

namespace {

constexpr mode_t DIRECTORY_MODE = 0777;
constexpr mode_t ANY_WRITE_BIT = 0222;

/// Returns a copy of pPath without trailing '/' characters; the caller frees it with SYS_Free. Null if memory is
/// exhausted.
char* CopyWithoutTrailingSlashes(const char* pPath) {
  uint64_t Len = UTIL_StrLen(pPath);
  while (Len > 0 && pPath[Len - 1] == '/') {
    --Len;
  }
  if (Len >= UINT32_MAX) {
    return nullptr;
  }
  const uint32_t Size = static_cast<uint32_t>(Len) + 1;
  char* pCopy = static_cast<char*>(SYS_Alloc(Size));
  if (pCopy != nullptr) {
    UTIL_CopyString(pCopy, pPath, Size);
  }
  return pCopy;
}

// NOLINTNEXTLINE(misc-no-recursion): one level per parent directory, at most MaxDepth
[[nodiscard]] int CreateParent(const char* pPath, int32_t MaxDepth) {
  char* pTrimmed = CopyWithoutTrailingSlashes(pPath);
  const int Result = pTrimmed != nullptr ? SYS_CreateDirectoryOf(pTrimmed, MaxDepth) : -1;
  SYS_Free(pTrimmed);
  return Result;
}

}  // namespace

int SYS_GetFileAttributes(const char* pPath) {
  if (pPath == nullptr) {
    return 0;
  }
  struct stat Status {};
  if (stat(pPath, &Status) != 0) {
    return -1;
  }
  const int ReadOnly = (Status.st_mode & ANY_WRITE_BIT) == 0 ? SYS_ATTR_READ_ONLY : 0;
  if (S_ISREG(Status.st_mode)) {
    return ReadOnly;
  }
  return S_ISDIR(Status.st_mode) ? ReadOnly | SYS_ATTR_DIRECTORY : -1;
}

// NOLINTNEXTLINE(misc-no-recursion): one level per parent directory, at most MaxDepth
int SYS_CreateDirectoryOf(const char* pPath, int32_t MaxDepth) {
  std::array<char, SYS_PATH_SIZE> acDir;
  std::array<char, SYS_PATH_SIZE> acName;
  SYS_SplitPath(pPath, {}, {acDir.data(), SYS_PATH_SIZE}, {acName.data(), SYS_PATH_SIZE}, {});
  if (acDir[0] == '\0') {
    return acName[0] == '\0' ? -1 : 0;
  }
  return SYS_CreateDirectory(acDir.data(), MaxDepth);
}

// NOLINTNEXTLINE(misc-no-recursion): one level per parent directory, at most MaxDepth
int SYS_CreateDirectory(const char* pPath, int32_t MaxDepth) {
  if (pPath == nullptr || MaxDepth <= 0) {
    return -1;
  }
  struct stat Status {};
  if (stat(pPath, &Status) == 0) {
    return S_ISDIR(Status.st_mode) ? 0 : -1;
  }
  if (errno != ENOENT || CreateParent(pPath, MaxDepth - 1) != 0) {
    return -1;
  }
  return mkdir(pPath, DIRECTORY_MODE) == 0 ? 0 : -1;
}
