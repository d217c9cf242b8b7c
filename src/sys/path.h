/// Paths as text. '/' is the only separator; there are no drive letters.
#pragma once

#include <cstdint>

/// A text buffer that receives one part of a path; pText null: the part is not wanted.
struct PathPart {
  char* pText;
  uint32_t Size;  ///< In bytes, terminator included.
};

/// Size of a buffer for a path, or for a part of one, on its way to the file system.
constexpr uint32_t SYS_PATH_SIZE = 512;

/// Splits pPath: the directory up to and including the last '/', the base name, and the extension with its '.', each
/// cut to its buffer. Base name and extension make up all that follows the last '/'; a '.' that is its first character
/// starts no extension (.profile). The drive is always empty. A null path writes nothing; when memory gives out, all
/// parts are empty.
void SYS_SplitPath(const char* pPath, PathPart Drive, PathPart Dir, PathPart BaseName, PathPart Ext);
