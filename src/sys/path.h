/// Paths as text. The separator is '/'; for Windows also '\\' and the ':' after a drive letter.
#pragma once

#include <cstdint>

/// A text buffer for one part of a path. pText null: the part is not wanted.
struct PathPart {
  char* pText;
  uint32_t Size;  ///< In bytes, terminator included.
};

/// Size of a buffer for a path, or part of one, that goes to the file system.
constexpr uint32_t SYS_PATH_SIZE = 512;

/// Splits pPath into the directory up to and including the last separator, the base name, and the extension with its
/// '.', each cut to its buffer. The extension begins at the last '.' of the file's name, unless that is its first
/// character (.profile). The drive is always empty: it stays in the directory. A null path writes nothing. If memory is
/// exhausted, all parts are empty.
void SYS_SplitPath(const char* pPath, PathPart Drive, PathPart Dir, PathPart BaseName, PathPart Ext);
