#include "readers/read_frame.h"

#include <cerrno>

#include "sys/file.h"
#include "util/format.h"

namespace {

// Error numbers of other systems that the table also covers; here they mean something else.
constexpr int ERROR_PATH_NOT_FOUND = 3;
constexpr int ERROR_INVALID_DRIVE = 15;
constexpr int ERROR_INVALID_NAME = 123;

/// Returns the reason for a failed open, by the system error number.
const char* OpenFailureReason(int Error) {
  switch (Error) {
    case ENOENT:
      return "File not found!";
    case ERROR_PATH_NOT_FOUND:
      return "Path not found!";
    case EACCES:
      return "Access is denied!";
    case ERROR_INVALID_DRIVE:
      return "Invalid drive!";
    case ERROR_INVALID_NAME:
      return "The filename syntax is incorrect!";
    default:
      return "Invalid file handle!";
  }
}

}  // namespace

int64_t READER_Begin(MemImage* pImage, const char* pPath, const ReportSink& Sink, ReportSink* pModuleSink) {
  MEMIMG_Lock(pImage);
  *pModuleSink = Sink;
  return SYS_FileOpen(pPath, SYS_OPEN_READ | SYS_OPEN_SHARE);
}

void READER_End(MemImage* pImage, int64_t hFile) {
  if (hFile != SYS_NO_FILE) {
    SYS_FileClose(static_cast<uint32_t>(hFile));
  }
  pImage->NumChanges = 0;
  MEMIMG_Unlock(pImage);
}

int READER_FailOpen(const char* pPath, const ReportSink& Sink, const ErrorTextBuffer& Buffer, ReadNotes* pNotes) {
  READER_NoteError(pNotes, READ_ERROR_SYSTEM);
  const char* pReason = OpenFailureReason(pNotes->SystemError);
  UTIL_snprintf(Buffer.pText, Buffer.TextSize, "Could not open file [%s]\n%s", pPath, pReason);
  UTIL_ReportError(Sink, Buffer.pText);
  return READER_ERR_OPEN;
}

void READER_NoteError(ReadNotes* pNotes, ReadErrorKind Error) {
  pNotes->Error = Error;
  pNotes->SystemError = Error == READ_ERROR_SYSTEM ? SYS_GetLastError() : 0;
}

int READER_Store(MemImage* pImage, uint64_t Addr, uint32_t NumBytes, const uint8_t* pData) {
  const int Status = MEMIMG_WriteData(pImage, Addr, NumBytes, pData, -1);
  return Status == 0 && pImage->HasLostBytes != 0 ? MEMIMG_ERR_NO_MEMORY : Status;
}
