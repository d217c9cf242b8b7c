#include "outstream/out_stream.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>

#include "sys/file.h"
#include "sys/heap.h"
#include "util/format.h"
#include "util/text.h"

namespace {

constexpr uint32_t OPEN_FLAGS = SYS_OPEN_WRITE | SYS_OPEN_SHARE | SYS_OPEN_CREATE | SYS_OPEN_TRUNCATE;

/// Keeps only the first message of a stream.
void StoreMessage(char* pErrText, uint32_t ErrTextSize, const char* pMessage) {
  if (pErrText != nullptr && ErrTextSize != 0 && pErrText[0] == '\0') {
    UTIL_CopyString(pErrText, pMessage, ErrTextSize);
  }
}

void StoreOpenFailure(const OutStream& Stream, const char* pPath, int Error) {
  const char* pReason = "";
  if (Error == EACCES) {
    const int Attributes = SYS_GetFileAttributes(pPath);
    const bool IsReadOnly = Attributes != -1 && (Attributes & SYS_ATTR_READ_ONLY) != 0;
    pReason = IsReadOnly ? " File has read only attribute." : " Access denied.";
  }
  std::array<char, 512> acMessage;
  UTIL_snprintf(acMessage.data(), acMessage.size(), "Could not write file.%s\n%s", pReason, pPath);
  StoreMessage(Stream.pErrText, Stream.ErrTextSize, acMessage.data());
}

/// Opens the file of the stream. Returns false, with the reason stored, if that fails.
[[nodiscard]] bool OpenFile(OutStream* pStream, const char* pPath) {
  if (pPath == nullptr || pPath[0] == '\0') {
    StoreMessage(pStream->pErrText, pStream->ErrTextSize, "Could not write file. Invalid filename.");
    return false;
  }
  if (SYS_IsStandardOutput(pPath)) {
    StoreOpenFailure(*pStream, pPath, 0);  // the program's messages would land among the records
    return false;
  }
  pStream->hFile = SYS_OpenFileEx(pPath, OPEN_FLAGS);
  if (pStream->hFile == SYS_NO_FILE) {
    StoreOpenFailure(*pStream, pPath, SYS_GetLastError());
    return false;
  }
  return true;
}

void FreeStream(OutStream* pStream) {
  SYS_Free(pStream->pBuffer);
  SYS_Free(pStream);
}

/// Returns a stream with its buffer but no file yet; null if memory is exhausted.
[[nodiscard]] OutStream* AllocStream(char* pErrText, uint32_t ErrTextSize) {
  OutStream* pStream = static_cast<OutStream*>(SYS_Alloc(sizeof(OutStream)));
  uint8_t* pBuffer = static_cast<uint8_t*>(SYS_Alloc(OUTSTREAM_BUFFER_SIZE));
  if (pStream == nullptr || pBuffer == nullptr) {
    SYS_Free(pBuffer);
    SYS_Free(pStream);
    return nullptr;
  }
  *pStream = {SYS_NO_FILE, pBuffer, pErrText, 0, ErrTextSize};
  return pStream;
}

void NoteWriteError(const OutStream& Stream) {
  StoreMessage(Stream.pErrText, Stream.ErrTextSize, "Error writing file.");
}

/// Writes the buffer with one call, even if it is empty. Bytes that cannot be written are lost: the stream goes on.
void WriteBuffer(OutStream* pStream) {
  const uint32_t NumBytes = pStream->NumBytesInBuffer;
  if (SYS_FileWrite(static_cast<uint32_t>(pStream->hFile), pStream->pBuffer, NumBytes) != NumBytes) {
    NoteWriteError(*pStream);
  }
  pStream->NumBytesInBuffer = 0;
}

}  // namespace

OutStream* OUTSTREAM_Create(const char* pPath, char* pErrText, uint32_t ErrTextSize) {
  OutStream* pStream = AllocStream(pErrText, ErrTextSize);
  if (pErrText != nullptr) {
    std::memset(pErrText, 0, ErrTextSize);
  }
  if (pStream == nullptr) {
    StoreMessage(pErrText, ErrTextSize, "Could not write file. Out of memory.");
    return nullptr;
  }
  if (!OpenFile(pStream, pPath)) {
    FreeStream(pStream);
    return nullptr;
  }
  return pStream;
}

void OUTSTREAM_Write(OutStream* pStream, const void* pData, uint32_t NumBytes) {
  if (pStream == nullptr) {
    return;
  }
  const uint8_t* pSrc = static_cast<const uint8_t*>(pData);
  while (NumBytes != 0) {
    const uint32_t NumChunk = std::min(NumBytes, OUTSTREAM_BUFFER_SIZE - pStream->NumBytesInBuffer);
    uint8_t* pDest = pStream->pBuffer + pStream->NumBytesInBuffer;
    if (pSrc != nullptr) {
      std::memcpy(pDest, pSrc, NumChunk);
      pSrc += NumChunk;
    } else {
      std::memset(pDest, 0xFF, NumChunk);
    }
    pStream->NumBytesInBuffer += NumChunk;
    NumBytes -= NumChunk;
    if (pStream->NumBytesInBuffer == OUTSTREAM_BUFFER_SIZE) {
      WriteBuffer(pStream);
    }
  }
}

void OUTSTREAM_Close(OutStream* pStream) {
  if (pStream == nullptr) {
    return;
  }
  WriteBuffer(pStream);
  // Some file systems, such as those with quotas or on a network, report a lost write only here.
  if (SYS_FileClose(static_cast<uint32_t>(pStream->hFile)) != 0) {
    NoteWriteError(*pStream);
  }
  FreeStream(pStream);
}
