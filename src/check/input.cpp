#include "check/input.h"

#include <algorithm>
#include <array>
#include <cinttypes>
#include <cstring>
#include <string_view>

#include "check/hints.h"
#include "check/record_watch.h"
#include "readers/bin_reader.h"
#include "readers/hex_reader.h"
#include "readers/mot_reader.h"
#include "sys/file.h"

namespace {

/// How a format is read by those who explain a file.
struct Format {
  decltype(FormatHandler::pfRead) pfRead;  ///< What the extension table has for it.
  const char* pName;
  decltype(&HEX_ReadEx) pfReadText;  ///< Null: raw binary.
  const char* pMarkText;             ///< How its records begin.
};

constexpr std::array<Format, 3> FORMATS = {{
    {DATAFILE_ReadHex, "Intel HEX", HEX_ReadEx, "a record begins with a colon"},
    {DATAFILE_ReadMot, "Motorola S-record", MOT_ReadEx, "a record begins with S and a digit"},
    {DATAFILE_ReadBin, "raw binary", nullptr, nullptr},
}};

/// A read of a file.
struct Reading {
  CheckedFile File;
  RecordWatch Watch{};
  NotedRecord Last{};  ///< The latest record whose text is right; its data is gone.
};

/// Returns null for a format that the table above does not have.
const Format* FormatOf(const DataFile& File) {
  const auto* pRow = std::find_if(FORMATS.begin(), FORMATS.end(),
                                  [&](const Format& Row) { return Row.pfRead == File.pHandler->pfRead; });
  return pRow != FORMATS.end() ? pRow : nullptr;
}

void NoteRecord(void* pContext, const NotedRecord& Record) {
  Reading* pRead = static_cast<Reading*>(pContext);
  pRead->Last = Record;
  CHECK_WatchRecord(&pRead->Watch, pRead->File, Record);
}

/// Looks for the record that defines an address.
struct DefinitionSearch {
  uint64_t Addr;
  uint64_t Offset = READ_NOWHERE;  ///< Of the byte's digits, once it is found.
};

void NoteDefinition(void* pContext, const NotedRecord& Record) {
  DefinitionSearch* pSearch = static_cast<DefinitionSearch*>(pContext);
  const uint64_t Index = pSearch->Addr - Record.Addr;
  if (pSearch->Offset == READ_NOWHERE && Record.Kind == NOTED_DATA && Index < static_cast<uint32_t>(Record.NumBytes)) {
    pSearch->Offset = Record.DataOffset + 2 * Index;
  }
}

/// Words the error of a read.
std::string DescribeError(const char* pPath, const Format& How, const ReadNotes& Notes) {
  const std::string Damage = CHECK_DescribeDamage(CHECK_ReadAgain(pPath, Notes.LastRecord));
  switch (Notes.Error) {
    case READ_ERROR_SYSTEM:
      return std::strerror(Notes.SystemError);
    case READ_ERROR_MEMORY:
      return "out of memory, or more than 2147483647 bytes in one run";
    case READ_ERROR_NOT_FORMAT: {
      const char* pForeign =
          CHECK_CanReadAgain(pPath) ? CHECK_NameForeign(CHECK_ReadAgain(pPath, 0), false).pText : nullptr;
      return CHECK_Format("not %s: %s", How.pName, pForeign != nullptr ? pForeign : How.pMarkText);
    }
    case READ_ERROR_MARK:
      return How.pMarkText + Damage;
    case READ_ERROR_DIGIT:
      return "hexadecimal digit expected" + Damage;
    case READ_ERROR_CHECKSUM:
      return CHECK_Format("wrong checksum, 0x%02X expected", Notes.RightChecksum) + Damage;
    case READ_ERROR_TOO_SHORT:
      return "the record is too short for its type" + Damage;
    case READ_ERROR_OVERLAP:
      return " is defined twice: is a line doubled, or do two sections or joined files overlap?";
    default:
      return "line end expected after the checksum" + Damage;
  }
}

/// Reports the error of a read, in the case of an overlap at the lowest address that is taken.
void ReportError(const Reading& Read, const DataFile& File, MemImage* pImage, const ReadNotes& Notes) {
  const char* pPath = Read.File.pPath;
  CheckFinding Finding{CHECK_ERROR, DescribeError(pPath, *FormatOf(File), Notes), {}};
  uint64_t Offset = Notes.ErrorOffset;
  if (Notes.Error == READ_ERROR_OVERLAP) {
    const uint64_t Addr = CHECK_RunFrom(pImage, Read.Last.Addr).Addr;
    Offset = Read.Last.DataOffset + 2 * (Addr - Read.Last.Addr);
    Finding.Text = CHECK_Format("0x%08" PRIX64, Addr) + Finding.Text;
    Finding.FirstPlace = CHECK_FindDefinition(File, Addr);
  }
  Finding.Place = CHECK_FindPlace(pPath, Offset);
  if (Offset != READ_NOWHERE && Finding.Place.Line == 0) {  // a pipe
    Finding.Text = CHECK_Format("offset %" PRIu64 ": ", Offset) + Finding.Text;
    Finding.FirstPlace = {};
  }
  Read.File.Sink(Finding);
}

/// Whether nothing but padding follows the mark that ends the data. Of a pipe, that is not known.
[[nodiscard]] bool IsPadded(const char* pPath, uint64_t EndMark) {
  constexpr std::string_view PADDING{"\0\x1A\r\n\t ", 6};
  std::string Bytes;
  do {
    EndMark += Bytes.size();
    Bytes = CHECK_ReadAgain(pPath, EndMark);
  } while (!Bytes.empty() && Bytes.find_first_not_of(PADDING) == std::string::npos);
  return Bytes.empty() && CHECK_CanReadAgain(pPath);
}

/// Reports what is suspicious about a file that was read completely.
void JudgeAccepted(const Reading& Read, MemImage* pImage, bool IsBinary, const ReadNotes& Notes) {
  if (IsBinary) {
    const CheckForeign Foreign = CHECK_NameForeign(CHECK_ReadAgain(Read.File.pPath, 0), true);
    if (Foreign.pText != nullptr) {
      CHECK_Report(Read.File, Foreign.BinaryLevel, READ_NOWHERE, Foreign.pText);
    }
    if (CHECK_RunFrom(pImage, CHECK_END_OF_32_BITS).NumBytes != 0) {
      CHECK_Report(Read.File, CHECK_WARNING, READ_NOWHERE, CHECK_BEYOND_32_BITS);
    }
  } else if (Notes.EndMark != READ_NOWHERE && !IsPadded(Read.File.pPath, Notes.EndMark)) {
    CHECK_Report(Read.File, CHECK_WARNING, Notes.EndMark,
                 "a byte 0x00 or 0x1A ends the data here: what follows is not read");
  } else {
    CHECK_WatchEnd(Read.Watch, Read.File, Notes.LastRecord);
  }
  if (pImage->NumAreas == 0) {
    CHECK_Report(Read.File, CHECK_WARNING, READ_NOWHERE, "the file has no data");
  }
}

/// Reports an error about the complete file. Returns Status.
[[nodiscard]] CheckStatus Fail(const CheckedFile& File, CheckStatus Status, const std::string& Text) {
  CHECK_Report(File, CHECK_ERROR, READ_NOWHERE, Text);
  return Status;
}

/// Reads the file into its image. pObserver: records are observed in text files only.
[[nodiscard]] int ReadFile(const DataFile& File, MemImage* pImage, ReadObserver* pObserver) {
  const auto pfReadText = FormatOf(File)->pfReadText;
  return pfReadText != nullptr ? pfReadText(pImage, File.pPath, nullptr, nullptr, pObserver)
                               : BIN_ReadEx(pImage, File.pPath, File.BaseAddr, nullptr, nullptr, &pObserver->Notes);
}

}  // namespace

CheckStatus CHECK_OpenInput(CheckInput* pInput, const CheckedFile& File, uint32_t BaseAddr) {
  int Status = 0;
  *pInput = {};
  pInput->pFile.reset(DATAFILE_CreateFromPath(File.pPath, BaseAddr, &Status));
  CheckImage pImage(MEMIMG_Create());
  const Format* pFormat = pInput->pFile != nullptr ? FormatOf(*pInput->pFile) : nullptr;
  if (Status == DATAFILE_ERR_UNSUPPORTED || *File.pPath == '\0' || (Status == 0 && pFormat == nullptr)) {
    std::string Text = "unknown file extension: Blockfit reads";
    for (const FormatHandler& Row : DATAFILE_EXTENSIONS) {
      Text += std::string(" ") + Row.pExt;
    }
    return Fail(File, CHECK_UNREADABLE, Text);
  }
  if (pFormat == nullptr || pImage == nullptr) {
    return Fail(File, CHECK_UNREADABLE, "out of memory");
  }
  const bool IsBinary = pFormat->pfReadText == nullptr;
  if (IsBinary && SYS_GetFileState(File.pPath).NumBytes > MEMIMG_MAX_AREA_BYTES) {
    return Fail(File, CHECK_BAD, "the file is larger than 2147483647 bytes, the limit for a .bin");
  }
  Reading Read{File};
  ReadObserver Observer{NoteRecord, &Read};
  if (ReadFile(*pInput->pFile, pImage.get(), &Observer) < 0) {
    ReportError(Read, *pInput->pFile, pImage.get(), Observer.Notes);
    return Observer.Notes.Error < READ_ERROR_NOT_FORMAT ? CHECK_UNREADABLE : CHECK_BAD;
  }
  JudgeAccepted(Read, pImage.get(), IsBinary, Observer.Notes);
  pInput->pImage = std::move(pImage);
  pInput->pFormat = pFormat->pName;
  return CHECK_GOOD;
}

CheckPlace CHECK_FindDefinition(const DataFile& File, uint64_t Addr) {
  DefinitionSearch Search{Addr};
  ReadObserver Observer{NoteDefinition, &Search};
  const CheckImage pImage(MEMIMG_Create());
  if (pImage != nullptr && CHECK_CanReadAgain(File.pPath)) {
    (void)ReadFile(File, pImage.get(), &Observer);
  }
  return CHECK_FindPlace(File.pPath, Search.Offset);
}

CheckRun CHECK_RunFrom(MemImage* pImage, uint64_t Addr) {
  CheckRun Run{UINT64_MAX, 0};
  Run.NumBytes = static_cast<uint64_t>(MEMIMG_FindRun(pImage, Addr, UINT64_MAX, &Run.Addr));
  return Run;
}

std::vector<CheckRun> CHECK_ListRuns(MemImage* pImage) {
  std::vector<CheckRun> Runs;
  for (CheckRun Run = CHECK_RunFrom(pImage, 0); Run.NumBytes != 0;
       Run = CHECK_RunFrom(pImage, Run.Addr + Run.NumBytes)) {
    Runs.push_back(Run);
  }
  return Runs;
}
