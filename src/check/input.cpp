#include "check/input.h"

#include <array>
#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstring>

#include "check/source_line.h"
#include "sys/file.h"
#include "util/text.h"

namespace {

constexpr size_t TEXT_SIZE = 640;

constexpr const char* BEYOND_TEXT =
    "data beyond address 0xFFFFFFFF: the output has its address modulo 2 to the power 32";

/// The error of a read, and the system's number for what led to it.
struct ReadError {
  std::array<char, TEXT_SIZE> acText;
  int SystemError;
};

void KeepError(void* pContext, uint32_t, const char* pText) {
  ReadError* pError = static_cast<ReadError*>(pContext);
  pError->SystemError = errno;
  UTIL_CopyString(pError->acText.data(), pText, static_cast<uint32_t>(TEXT_SIZE));
  for (char* pEnd = std::strchr(pError->acText.data(), '\n'); pEnd != nullptr; pEnd = std::strchr(pEnd, '\n')) {
    *pEnd = ' ';
  }
}

/// Steps over "Error in line N: ". The reader counts CR LF, CR CR and LF LF after a record as one line end, so that its
/// number falls behind an editor's at blank lines; and in S-records it does not count a CR.
const char* WithoutLineNumber(const char* pText) {
  const char* pColon = std::strncmp(pText, "Error in line ", 14) == 0 ? std::strchr(pText, ':') : nullptr;
  return pColon != nullptr ? pColon + 2 : pText;
}

/// Reports an error that has its place in the file.
void ReportTextError(const CheckSink& Sink, const char* pPath, const ReadError& Error, uint64_t Offset) {
  std::array<char, 4 * TEXT_SIZE> acVisible;
  char* pEnd = acVisible.data();
  const char* pText = SYS_IsRegularFile(pPath) ? WithoutLineNumber(Error.acText.data()) : Error.acText.data();
  for (; *pText != '\0'; ++pText) {
    pEnd = CHECK_PutVisible(pEnd, static_cast<uint8_t>(*pText));
  }
  *pEnd = '\0';
  CHECK_Report(Sink, CHECK_ERROR, acVisible.data(), pPath, Offset);
}

/// Reports an error that says nothing about the text, with the system's own words: those of the reader are few.
void ReportReadError(const CheckSink& Sink, const char* pPath, const ReadError& Error) {
  std::array<char, 2 * TEXT_SIZE> acText;
  const bool HasReason = Error.SystemError != 0;
  std::snprintf(acText.data(), acText.size(), HasReason ? "%s (%s)" : "%s", WithoutLineNumber(Error.acText.data()),
                std::strerror(Error.SystemError));
  CHECK_Report(Sink, CHECK_ERROR, acText.data(), pPath, READ_NOWHERE);
}

/// Reports a text about a place, if the file has that.
void WarnAt(const CheckSink& Sink, const char* pPath, uint64_t Place, const char* pText) {
  if (Place != READ_NOWHERE) {
    CHECK_Report(Sink, CHECK_WARNING, pText, pPath, Place);
  }
}

void Warn(const CheckSink& Sink, const char* pPath, const ReadNotes& Notes) {
  std::array<char, 80> acStart;
  std::snprintf(acStart.data(), acStart.size(), "the output will not have the start address 0x%08" PRIX32,
                Notes.StartAddr);
  if (Notes.EndRecord == READ_NOWHERE) {
    WarnAt(Sink, pPath, Notes.LastRecord, "no end record follows this last record: the file may have been cut off");
  }
  WarnAt(Sink, pPath, Notes.DataAfterEnd, "data after the end record");
  WarnAt(Sink, pPath, Notes.EndMark, "a byte 0x00 or 0x1A ends the data here: what follows is not read");
  WarnAt(Sink, pPath, Notes.StartRecord, acStart.data());
  WarnAt(Sink, pPath, Notes.DataBeyond32Bit, BEYOND_TEXT);
}

/// Counts bytes and runs. Returns the last address.
uint64_t CountRuns(CheckInput* pInput) {
  uint64_t LastAddr = 0;
  for (CheckRun Run = CHECK_RunFrom(pInput->pImage, 0); Run.NumBytes != 0; Run = CHECK_RunAfter(pInput->pImage, Run)) {
    LastAddr = Run.Addr + (Run.NumBytes - 1);
    pInput->NumBytes += Run.NumBytes;
    ++pInput->NumRuns;
  }
  return LastAddr;
}

[[nodiscard]] CheckStatus Read(CheckInput* pInput, const CheckSink& Sink) {
  ReadNotes Notes;
  ReadError Error{};
  const char* pPath = pInput->pFile->pPath;
  errno = 0;
  pInput->pImage = DATAFILE_ReadImage(pInput->pFile, {KeepError, &Error}, &Notes);
  if (pInput->pImage != nullptr) {
    Warn(Sink, pPath, Notes);
    if (CountRuns(pInput) > UINT32_MAX && Notes.DataBeyond32Bit == READ_NOWHERE) {
      CHECK_Report(Sink, CHECK_WARNING, BEYOND_TEXT, pPath, READ_NOWHERE);  // raw binary
    }
    return CHECK_GOOD;
  }
  if (Notes.Error == READ_NOWHERE) {
    ReportReadError(Sink, pPath, Error);
    return CHECK_UNREADABLE;
  }
  ReportTextError(Sink, pPath, Error, Notes.Error);
  return CHECK_BAD;
}

}  // namespace

CheckStatus CHECK_OpenInput(CheckInput* pInput, const char* pPath, uint32_t BaseAddr, const CheckSink& Sink) {
  *pInput = {};
  int Status = 0;
  pInput->pFile = DATAFILE_CreateFromPath(pPath, BaseAddr, &Status);
  if (pInput->pFile != nullptr) {
    return Read(pInput, Sink);
  }
  CHECK_Report(Sink, CHECK_ERROR,
               Status == DATAFILE_ERR_UNSUPPORTED ? "Unsupported file extension."
               : *pPath == '\0'                   ? "The file name is empty."
                                                  : "Out of memory",
               pPath, READ_NOWHERE);
  return CHECK_UNREADABLE;
}

void CHECK_CloseInput(CheckInput* pInput) {
  DATAFILE_Free(pInput->pFile);
  *pInput = {};
}

CheckRun CHECK_RunFrom(MemImage* pImage, uint64_t Addr) {
  CheckRun Run{UINT64_MAX, 0};
  Run.NumBytes = static_cast<uint64_t>(MEMIMG_FindRun(pImage, Addr, UINT64_MAX, &Run.Addr));
  return Run;
}

CheckRun CHECK_RunAfter(MemImage* pImage, const CheckRun& Run) {
  const uint64_t Next = Run.Addr + Run.NumBytes;
  return Next != 0 ? CHECK_RunFrom(pImage, Next)
                   : CheckRun{UINT64_MAX, 0};  // nothing follows the top of the address space
}
