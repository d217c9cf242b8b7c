#include "readers/read_frame.h"

#include <cerrno>

#include "sys/file.h"
#include "util/format.h"

namespace {

// More numbers in the table of messages. On this system they stand for other errors.
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

void ReportOpenFailure(const ReadCall& Call) {
  const char* pReason = OpenFailureReason(SYS_GetLastError());
  UTIL_snprintf(Call.pErrorText, Call.ErrorTextSize, "Could not open file [%s]\n%s", Call.pPath, pReason);
  UTIL_ReportError(*Call.pModuleSink, Call.pErrorText);
}

int ReadFile(const ReadCall& Call, ReadBodyFn pfBody, void* pContext) {
  const int64_t hFile = SYS_FileOpen(Call.pPath, SYS_OPEN_READ | SYS_OPEN_SHARE);
  if (hFile == SYS_NO_FILE) {
    ReportOpenFailure(Call);
    return READER_ERR_OPEN;
  }
  const int Status = pfBody(pContext, Call.pImage, static_cast<uint32_t>(hFile));
  SYS_FileClose(static_cast<uint32_t>(hFile));
  return Status;
}

}  // namespace

int READER_Run(const ReadCall& Call, ReadBodyFn pfBody, void* pContext) {
  MEMIMG_Lock(Call.pImage);
  *Call.pModuleSink = Call.Sink;
  const int Status = ReadFile(Call, pfBody, pContext);
  Call.pImage->NumChanges = 0;
  MEMIMG_Unlock(Call.pImage);
  return Status;
}

int READER_Store(MemImage* pImage, uint64_t Addr, uint32_t NumBytes, const uint8_t* pData) {
  const int Status = MEMIMG_WriteData(pImage, Addr, NumBytes, pData, -1);
  return Status == 0 && pImage->HasLostBytes != 0 ? MEMIMG_ERR_NO_MEMORY : Status;
}
