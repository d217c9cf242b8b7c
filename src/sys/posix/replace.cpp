#include "sys/replace.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include "sys/heap.h"
#include "sys/path.h"
#include "sys/system.h"
#include "util/text.h"

namespace {

/// Locks a file until it is closed. Returns whether somebody else has locked it, with errno set for that.
bool IsLockedByOthers(int hFile) {
  struct flock Lock {};
  Lock.l_type = F_WRLCK;
  const bool IsLocked = fcntl(hFile, F_OFD_SETLK, &Lock) != 0 && (errno == EAGAIN || errno == EACCES);
  errno = EBUSY;
  return IsLocked;
}

/// Whether a file has the name pPath and no other. If not, sets errno: EBUSY if another run has moved it away since it
/// was opened.
bool IsStillAt(int hFile, const char* pPath) {
  struct stat Opened {};
  struct stat Named {};
  if (fstat(hFile, &Opened) != 0 || lstat(pPath, &Named) != 0 || Opened.st_ino != Named.st_ino ||
      Opened.st_dev != Named.st_dev) {
    errno = EBUSY;
    return false;
  }
  errno = EEXIST;
  return S_ISREG(Opened.st_mode) && Opened.st_nlink == 1;
}

/// Gives a file the permissions of the one at pTarget, if there is one.
bool CopyMode(int hFile, const char* pTarget) {
  struct stat Old {};
  return stat(pTarget, &Old) != 0 || fchmod(hFile, Old.st_mode & 07777) == 0;
}

/// Lets a move of the file outlast a power cut. If that fails, the path names the old file afterwards.
void FlushFolderOf(const char* pPath) {
  std::array<char, SYS_PATH_SIZE> acFolder;
  SYS_SplitPath(pPath, {}, {acFolder.data(), SYS_PATH_SIZE}, {}, {});
  const int hFolder = SYS_OpenPath(acFolder[0] != '\0' ? acFolder.data() : ".", O_RDONLY | O_DIRECTORY);
  if (hFolder >= 0) {
    fsync(hFolder);
    close(hFolder);
  }
}

}  // namespace

char* SYS_FindTarget(const char* pPath) {
  struct stat Named {};
  SysFileStatus Target;
  if (lstat(pPath, &Named) != 0 && errno == ENOENT) {
    return SYS_CopyText(pPath, UTIL_StrLen(pPath));
  }
  if (!SYS_GetStatus(pPath, &Target)) {
    return nullptr;
  }
  if (Target.State == SysFileState{} || Target.IsReadOnly || access(pPath, W_OK) != 0) {
    errno = Target.IsDirectory ? EISDIR : Target.State == SysFileState{} ? ENOTSUP : EACCES;
    return nullptr;
  }
  return S_ISLNK(Named.st_mode) ? realpath(pPath, nullptr) : SYS_CopyText(pPath, UTIL_StrLen(pPath));
}

int64_t SYS_OpenReplacement(const char* pPath, const char* pTarget) {
  // Neither follows a link nor waits for the reader of a pipe.
  const int hFile = SYS_OpenPath(pPath, O_WRONLY | O_CREAT | O_NOFOLLOW | O_NONBLOCK);
  if (hFile < 0) {
    return SYS_NO_FILE;
  }
  const bool IsOurs = !IsLockedByOthers(hFile) && IsStillAt(hFile, pPath);
  if (IsOurs && CopyMode(hFile, pTarget)) {
    return hFile;
  }
  const int Error = errno;
  if (IsOurs) {
    std::remove(pPath);
  }
  close(hFile);
  errno = Error;
  return SYS_NO_FILE;
}

int SYS_FileFlush(uint32_t hFile) {
  return fsync(static_cast<int>(hFile));
}

int SYS_ReplaceFile(const char* pPath, const char* pTarget) {
  if (std::rename(pPath, pTarget) != 0) {
    return -1;
  }
  FlushFolderOf(pTarget);
  return 0;
}
