#include "sys/replace.h"

#include <fcntl.h>
#include <io.h>
#include <windows.h>

#include <cerrno>

#include "sys/heap.h"
#include "sys/system.h"
#include "util/text.h"

namespace {

/// Locks a byte behind any data until the file is closed. Returns whether somebody else has locked it.
bool IsLockedByOthers(HANDLE hFile) {
  OVERLAPPED Place{};
  Place.OffsetHigh = INT32_MAX;
  return LockFileEx(hFile, LOCKFILE_EXCLUSIVE_LOCK | LOCKFILE_FAIL_IMMEDIATELY, 0, 1, 0, &Place) == 0 &&
         GetLastError() == ERROR_LOCK_VIOLATION;
}

}  // namespace

char* SYS_FindTarget(const char* pPath) {
  SysFileStatus Target;
  errno = EACCES;
  const bool IsThere = SYS_GetStatus(pPath, &Target);
  if (!IsThere && errno != ENOENT) {
    return nullptr;
  }
  const bool IsLink = IsThere && (GetFileAttributesA(pPath) & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
  if (IsThere && (IsLink || Target.State == SysFileState{} || Target.IsReadOnly)) {
    errno = IsLink ? ENOTSUP : Target.IsDirectory ? EISDIR : EACCES;
    return nullptr;
  }
  return SYS_CopyText(pPath, UTIL_StrLen(pPath));
}

int64_t SYS_OpenReplacement(const char* pPath, const char*) {
  const HANDLE hFile = CreateFileA(pPath, GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                   nullptr, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (hFile == INVALID_HANDLE_VALUE) {
    const DWORD Error = GetLastError();
    errno = Error == ERROR_PATH_NOT_FOUND || Error == ERROR_FILE_NOT_FOUND ? ENOENT : EACCES;
    return SYS_NO_FILE;
  }
  BY_HANDLE_FILE_INFORMATION Opened{};
  SysFileStatus Named;
  // Another run may have locked the file, or moved it away since it was opened.
  const bool IsBusy = IsLockedByOthers(hFile) || GetFileInformationByHandle(hFile, &Opened) == 0 ||
                      !SYS_GetStatus(pPath, &Named) ||
                      Named.State.Node != (uint64_t{Opened.nFileIndexHigh} << 32 | Opened.nFileIndexLow);
  if (IsBusy || Opened.nNumberOfLinks > 1) {
    CloseHandle(hFile);
    errno = IsBusy ? EBUSY : EEXIST;
    return SYS_NO_FILE;
  }
  return _open_osfhandle(reinterpret_cast<intptr_t>(hFile), _O_BINARY);
}

int SYS_FileFlush(uint32_t hFile) {
  return _commit(static_cast<int>(hFile));
}

int SYS_ReplaceFile(const char* pPath, const char* pTarget) {
  if (MoveFileExA(pPath, pTarget, MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH) == 0) {
    errno = EACCES;
    return -1;
  }
  return 0;
}
