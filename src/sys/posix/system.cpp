#include "sys/system.h"

#include <fcntl.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>

namespace {

constexpr mode_t FILE_MODE = 0644;
constexpr mode_t DIRECTORY_MODE = 0777;
constexpr mode_t ANY_WRITE_BIT = 0222;

SysFileStatus StatusOf(const struct stat& File) {
  SysFileStatus Status{};
  if (S_ISREG(File.st_mode)) {
    Status.State = {File.st_dev, File.st_ino, static_cast<uint64_t>(File.st_size)};
  }
  Status.IsDirectory = S_ISDIR(File.st_mode);
  Status.IsPipe = S_ISFIFO(File.st_mode);
  Status.IsReadOnly = (File.st_mode & ANY_WRITE_BIT) == 0;
  return Status;
}

}  // namespace

bool SYS_IsSeparator(char Character) {
  return Character == '/';
}

const char* SYS_GetHomeDirectory() {
  const char* pHome = std::getenv("HOME");
  if (pHome != nullptr) {
    return pHome;
  }
  const passwd* pUser = getpwuid(getuid());
  return pUser != nullptr ? pUser->pw_dir : nullptr;
}

int SYS_OpenPath(const char* pPath, int SystemFlags) {
  return open(pPath, SystemFlags | O_CLOEXEC, FILE_MODE);
}

int SYS_MakeDirectory(const char* pPath) {
  return mkdir(pPath, DIRECTORY_MODE);
}

bool SYS_GetStatus(const char* pPath, SysFileStatus* pStatus) {
  struct stat File {};
  const bool IsKnown = stat(pPath, &File) == 0;
  *pStatus = StatusOf(File);
  return IsKnown;
}

bool SYS_GetStandardOutputStatus(SysFileStatus* pStatus) {
  struct stat File {};
  const bool IsKnown = fstat(STDOUT_FILENO, &File) == 0;
  *pStatus = StatusOf(File);
  return IsKnown;
}
