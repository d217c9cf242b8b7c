#include "sys/path.h"

#include <cstring>

#include "sys/heap.h"
#include "sys/system.h"
#include "util/text.h"

namespace {

void SetPart(const PathPart& Part, const char* pText) {
  UTIL_CopyString(Part.pText, pText, Part.Size);
}

/// Returns the file's name in a path: what follows the last separator.
char* FindFileName(char* pPath) {
  char* pName = pPath + UTIL_StrLen(pPath);
  while (pName != pPath && !SYS_IsSeparator(pName[-1])) {
    --pName;
  }
  return pName;
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
  char* pCopy = SYS_CopyText(pPath, UTIL_StrLen(pPath));
  if (pCopy == nullptr) {
    return;
  }

  // From end to start: each cut leaves the parts before it complete.
  char* pFileName = FindFileName(pCopy);
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
