#include "sys/system.h"

#include <direct.h>
#include <fcntl.h>
#include <io.h>
#include <sys/stat.h>
#include <windows.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace {

/// Returns whether pPath is a file's name: not that of a device, such as nul, com1.srec or \\.\com1, and not that of a
/// hidden stream of a file, such as app:text. Only Windows itself knows what it takes for a device.
[[nodiscard]] bool IsFileName(const char* pPath) {
  std::array<char, 4096> acFull;
  const DWORD Len = GetFullPathNameA(pPath, acFull.size(), acFull.data(), nullptr);
  return Len > 2 && Len < acFull.size() && std::strncmp(acFull.data(), R"(\\.\)", 4) != 0 &&
         std::strchr(acFull.data() + 2, ':') == nullptr;
}

[[nodiscard]] uint64_t Join(DWORD High, DWORD Low) {
  return uint64_t{High} << 32 | Low;
}

[[nodiscard]] bool GetStatusOf(HANDLE hFile, SysFileStatus* pStatus) {
  BY_HANDLE_FILE_INFORMATION File{};
  *pStatus = {};
  if (GetFileInformationByHandle(hFile, &File) == 0) {
    return false;
  }
  pStatus->IsDirectory = (File.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
  pStatus->IsReadOnly = (File.dwFileAttributes & FILE_ATTRIBUTE_READONLY) != 0;
  if (!pStatus->IsDirectory) {
    pStatus->State = {File.dwVolumeSerialNumber, Join(File.nFileIndexHigh, File.nFileIndexLow),
                      Join(File.nFileSizeHigh, File.nFileSizeLow)};
  }
  return true;
}

}  // namespace

bool SYS_IsSeparator(char Character) {
  return Character == '/' || Character == '\\' || Character == ':';
}

const char* SYS_GetHomeDirectory() {
  return std::getenv("USERPROFILE");
}

int SYS_OpenPath(const char* pPath, int SystemFlags) {
  if (!IsFileName(pPath)) {
    errno = EINVAL;
    return -1;
  }
  return _open(pPath, SystemFlags | _O_BINARY | _O_NOINHERIT, _S_IREAD | _S_IWRITE);
}

int SYS_MakeDirectory(const char* pPath) {
  return _mkdir(pPath);
}

bool SYS_GetStatus(const char* pPath, SysFileStatus* pStatus) {
  *pStatus = {};
  if (!IsFileName(pPath)) {
    errno = EINVAL;
    return false;
  }
  if (_access(pPath, 0) != 0) {  // sets errno
    return false;
  }
  const HANDLE hFile = CreateFileA(pPath, FILE_READ_ATTRIBUTES, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                   nullptr, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
  const bool IsKnown = GetStatusOf(hFile, pStatus);
  CloseHandle(hFile);
  return IsKnown;
}

bool SYS_GetStandardOutputStatus(SysFileStatus* pStatus) {
  return GetStatusOf(reinterpret_cast<HANDLE>(_get_osfhandle(1)), pStatus);
}
