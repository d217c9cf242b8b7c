/// What differs between systems, for the other files of this folder. posix/ and windows/ implement this and process.h;
/// CMake chooses the folder. A function that fails sets errno.
#pragma once

#include "sys/file.h"

/// What the system knows about a file.
struct SysFileStatus {
  SysFileState State;  ///< All 0: not a regular file.
  bool IsDirectory;
  bool IsPipe;
  bool IsReadOnly;
};

/// Returns whether a file's name can begin after this character of a path.
[[nodiscard]] bool SYS_IsSeparator(char Character);

/// Returns the user's home directory, borrowed from the system; or null.
[[nodiscard]] const char* SYS_GetHomeDirectory();

/// Opens pPath as open does, with its flags, close-on-exec; reads and writes bytes as they are. Returns the handle, or
/// -1.
[[nodiscard]] int SYS_OpenPath(const char* pPath, int SystemFlags);

/// Makes the directory at pPath, whose parent exists. Returns 0, or -1.
[[nodiscard]] int SYS_MakeDirectory(const char* pPath);

/// Finds out about the file at pPath, following links; or about the one that standard output goes to. Returns false if
/// there is none.
[[nodiscard]] bool SYS_GetStatus(const char* pPath, SysFileStatus* pStatus);
[[nodiscard]] bool SYS_GetStandardOutputStatus(SysFileStatus* pStatus);
