#include "check/input.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstring>

#include "sys/file.h"

namespace {

constexpr size_t TEXT_SIZE = 1024;

/// A read of a file.
struct Reading {
  const CheckSink* pSink;
  const char* pPath;
  ReadNotes Notes;
};

/// Steps over "Error in line N: ". The reader counts CR LF, CR CR and LF LF after a record as one line end, so that its
/// number falls behind an editor's at blank lines; and in S-records it does not count a CR.
const char* WithoutLineNumber(const char* pText) {
  const char* pColon = std::strncmp(pText, "Error in line ", 14) == 0 ? std::strchr(pText, ':') : nullptr;
  return pColon != nullptr ? pColon + 2 : pText;
}

/// Reports the error of a reader: one in the text of the file at its place, another with the system's own words.
void ReportError(void* pContext, uint32_t, const char* pText) {
  const Reading& Read = *static_cast<const Reading*>(pContext);
  std::array<char, TEXT_SIZE> acText{};
  if (Read.Notes.Error == READ_NOWHERE) {
    std::snprintf(acText.data(), acText.size(), errno != 0 ? "%s (%s)" : "%s", WithoutLineNumber(pText),
                  std::strerror(errno));
    std::replace(acText.begin(), acText.end(), '\n', ' ');
  } else {
    char* pEnd = acText.data();
    for (const char* p = SYS_IsRegularFile(Read.pPath) ? WithoutLineNumber(pText) : pText; *p != '\0'; ++p) {
      pEnd = CHECK_PutVisible(pEnd, *p != '\n' ? static_cast<uint8_t>(*p) : ' ');
    }
  }
  CHECK_Report(*Read.pSink, CHECK_ERROR, acText.data(), Read.pPath, Read.Notes.Error);
}

/// Reports a text about a place, if the file has that.
void WarnAt(const Reading& Read, uint64_t Place, const char* pText) {
  if (Place != READ_NOWHERE) {
    CHECK_Report(*Read.pSink, CHECK_WARNING, pText, Read.pPath, Place);
  }
}

void Warn(const Reading& Read, MemImage* pImage) {
  const ReadNotes& Notes = Read.Notes;
  std::array<char, 80> acStart;
  std::snprintf(acStart.data(), acStart.size(), "the output will not have the start address 0x%08" PRIX32,
                Notes.StartAddr);
  if (Notes.EndRecord == READ_NOWHERE) {
    WarnAt(Read, Notes.LastRecord, "no end record follows this last record: the file may have been cut off");
  }
  WarnAt(Read, Notes.DataAfterEnd, "data after the end record");
  WarnAt(Read, Notes.EndMark, "a byte 0x00 or 0x1A ends the data here: what follows is not read");
  WarnAt(Read, Notes.StartRecord, acStart.data());
  if (CHECK_RunFrom(pImage, uint64_t{UINT32_MAX} + 1).NumBytes != 0) {  // in raw binary, that is nowhere
    CHECK_Report(*Read.pSink, CHECK_WARNING,
                 "data beyond address 0xFFFFFFFF: the output has its address modulo 2 to the power 32", Read.pPath,
                 Notes.DataBeyond32Bit);
  }
}

}  // namespace

CheckStatus CHECK_OpenInput(CheckInput* pInput, const char* pPath, uint32_t BaseAddr, const CheckSink& Sink) {
  *pInput = {};
  int Status = 0;
  pInput->pFile = DATAFILE_CreateFromPath(pPath, BaseAddr, &Status);
  if (pInput->pFile == nullptr) {
    const bool HasNoFormat = Status == DATAFILE_ERR_UNSUPPORTED || *pPath == '\0';
    const char* pText = HasNoFormat ? "Unsupported file extension." : "Out of memory";
    CHECK_Report(Sink, CHECK_ERROR, pText, pPath, READ_NOWHERE);
    return CHECK_UNREADABLE;
  }
  Reading Read{&Sink, pPath, {}};
  errno = 0;
  pInput->pImage = DATAFILE_ReadImage(pInput->pFile, {ReportError, &Read}, &Read.Notes);
  if (pInput->pImage == nullptr) {
    return Read.Notes.Error == READ_NOWHERE ? CHECK_UNREADABLE : CHECK_BAD;
  }
  Warn(Read, pInput->pImage);
  return CHECK_GOOD;
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
  return CHECK_RunFrom(pImage, Run.Addr + Run.NumBytes);
}
