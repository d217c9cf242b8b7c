#include "sys/path.h"

#include <cstring>

#include "sys/heap.h"
#include "util/text.h"

namespace {

void SetPart(const PathPart& Part, const char* pText) {
  UTIL_CopyString(Part.pText, pText, Part.Size);
}

/// Returns the '.' that begins the extension of a file name, or null.
char* FindExtension(char* pFileName) {
  char* pDot = std::strrchr(pFileName, '.');
  return pDot != pFileName ? pDot : nullptr;
}

}  // namespace

void SYS_SplitPath(const char* pPath, PathPart Drive, PathPart Dir, PathPart BaseName, PathPart Ext) {
  if (pPath == nullptr) {
    return;
  }
  SetPart(Drive, "");
  SetPart(Dir, "");
  SetPart(BaseName, "");
  SetPart(Ext, "");
  const uint64_t Size = UTIL_StrLen(pPath) + 1;
  char* pCopy = Size <= UINT32_MAX ? static_cast<char*>(SYS_Alloc(static_cast<uint32_t>(Size))) : nullptr;
  if (pCopy == nullptr) {
    return;
  }
  UTIL_CopyString(pCopy, pPath, static_cast<uint32_t>(Size));

  // From end to start: each cut leaves the parts before it complete.
  char* pSlash = std::strrchr(pCopy, '/');
  char* pFileName = pSlash != nullptr ? pSlash + 1 : pCopy;
  char* pExt = FindExtension(pFileName);
  if (pExt != nullptr) {
    SetPart(Ext, pExt);
    *pExt = '\0';
  }
  SetPart(BaseName, pFileName);
  *pFileName = '\0';
  SetPart(Dir, pCopy);
  SYS_Free(pCopy);
}
