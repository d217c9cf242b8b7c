#include "readers/bin_reader.h"

#include <array>

#include "readers/read_frame.h"
#include "sys/file.h"
#include "sys/heap.h"

namespace {

constexpr uint32_t BIN_CHUNK_SIZE = 32768;

constinit ReportSink BinSink{};

[[nodiscard]] int Fail(ReadNotes* pNotes, ReadErrorKind Error, const char* pText) {
  READER_NoteError(pNotes, Error);
  UTIL_ReportError(BinSink, pText);
  return READER_ERR_OPEN;
}

/// Reads pieces until a read returns nothing. A short read is not the end of the file.
[[nodiscard]] int ReadPieces(MemImage* pImage, uint32_t hFile, uint64_t Addr, uint8_t* pBuffer, ReadNotes* pNotes) {
  for (;;) {
    const int64_t NumRead = SYS_FileRead(hFile, pBuffer, BIN_CHUNK_SIZE);
    if (NumRead < 0) {
      return Fail(pNotes, READ_ERROR_SYSTEM, "Could not read file.");
    }
    if (NumRead == 0) {
      return 0;
    }
    const uint32_t NumBytes = static_cast<uint32_t>(NumRead);
    if (READER_Store(pImage, Addr, NumBytes, pBuffer) == MEMIMG_ERR_NO_MEMORY) {
      return Fail(pNotes, READ_ERROR_MEMORY, "Could not read file. Out of memory.");
    }
    Addr += NumBytes;
  }
}

[[nodiscard]] int ReadBytes(MemImage* pImage, uint32_t hFile, uint64_t BaseAddr, ReadNotes* pNotes) {
  uint8_t* pBuffer = static_cast<uint8_t*>(SYS_Alloc(BIN_CHUNK_SIZE));
  if (pBuffer == nullptr) {
    return Fail(pNotes, READ_ERROR_MEMORY, "Could not read file. Out of memory.");
  }
  const int Status = ReadPieces(pImage, hFile, BaseAddr, pBuffer, pNotes);
  SYS_Free(pBuffer);
  return Status;
}

}  // namespace

int BIN_ReadEx(MemImage* pImage, const char* pPath, uint64_t BaseAddr, ReportFn pfReport, void* pReportContext,
               ReadNotes* pNotes) {
  std::array<char, 512> acOpenError;
  ReadNotes Unused;
  ReadNotes* pUsed = pNotes != nullptr ? pNotes : &Unused;
  const int64_t hFile = READER_Begin(pImage, pPath, {pfReport, pReportContext}, &BinSink);
  const int Status = hFile != SYS_NO_FILE
                         ? ReadBytes(pImage, static_cast<uint32_t>(hFile), BaseAddr, pUsed)
                         : READER_FailOpen(pPath, BinSink, {acOpenError.data(), acOpenError.size()}, pUsed);
  READER_End(pImage, hFile);
  return Status;
}

int BIN_Read(MemImage* pImage, const char* pPath, char* pErrText, uint32_t ErrTextSize, uint64_t BaseAddr) {
  ErrorTextBuffer Buffer{pErrText, ErrTextSize};
  return BIN_ReadEx(pImage, pPath, BaseAddr, UTIL_CollectErrorText, &Buffer);
}
