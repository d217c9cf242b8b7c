#include "check/byte_source.h"

#include "sys/file.h"

void CHECK_OpenBytes(ByteSource* pSource, const char* pPath) {
  pSource->hFile = SYS_FileOpen(pPath, SYS_OPEN_READ);
  pSource->Pos = 0;
  pSource->NumFilled = 0;
}

int CHECK_NextByte(ByteSource* pSource) {
  if (pSource->hFile == SYS_NO_FILE) {
    return BYTE_SOURCE_FAILED;
  }
  if (pSource->Pos == pSource->NumFilled) {
    const int64_t NumRead = SYS_FileRead(static_cast<uint32_t>(pSource->hFile), pSource->aByte.data(),
                                         static_cast<uint32_t>(pSource->aByte.size()));
    if (NumRead <= 0) {
      return NumRead == 0 ? BYTE_SOURCE_END : BYTE_SOURCE_FAILED;
    }
    pSource->Pos = 0;
    pSource->NumFilled = static_cast<uint32_t>(NumRead);
  }
  return pSource->aByte[pSource->Pos++];
}

void CHECK_CloseBytes(ByteSource* pSource) {
  if (pSource->hFile != SYS_NO_FILE) {
    SYS_FileClose(static_cast<uint32_t>(pSource->hFile));
  }
}
