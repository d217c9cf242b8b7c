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

/// Data bytes of the longest record.
constexpr uint32_t MAX_DATA = 255;

/// A read of a file.
struct Reading {
  CheckedFile File;
  const DataFile* pFile;
  const Format* pFormat;
  MemImage* pImage;
  RecordWatch Watch{};
  ReadObserver Observer{};
  NotedRecord Last{};  ///< The latest record whose text is right, with its data in aLastData.
  std::array<uint8_t, MAX_DATA> aLastData{};
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
  pRead->Last.pData = pRead->aLastData.data();
  std::copy_n(Record.pData, std::max(Record.NumBytes, 0), pRead->aLastData.data());
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

/// Says that addresses of the last record are taken, First the lowest of them, and where its first other byte is.
std::string DescribeOverlap(const Reading& Read, uint64_t First) {
  const NotedRecord& Record = Read.Last;
  const uint64_t End = Record.Addr + static_cast<uint32_t>(Record.NumBytes);
  const std::string Text = CHECK_Format("0x%08" PRIX64 " is defined twice, with ", First);
  for (uint64_t Addr = First; Addr < End; ++Addr) {
    const uint8_t Here = Record.pData[Addr - Record.Addr];
    uint8_t There = Here;
    MEMIMG_ReadData(Read.pImage, Addr, Addr, 0, 0, &There, nullptr, nullptr, 1, 0, 0);
    if (There != Here) {
      return Text + CHECK_Format("different bytes: first 0x%02X, here 0x%02X at 0x%08" PRIX64
                                 ". Do two sections or joined files overlap?",
                                 There, Here, Addr);
    }
  }
  return Text + "the same bytes: is a line doubled?";
}

/// Says how far a record is from what its count asks for; or asks, if it is not.
std::string DescribeLine(const Reading& Read) {
  CheckDigits Digits = CHECK_CountDigits(CHECK_ReadAgain(Read.File.pPath, Read.Observer.Notes.LastRecord));
  if (Digits.NumWanted == 0 && Read.Last.pData != nullptr) {  // digits that go on are taken as the next S-record
    Digits = CHECK_CountDigits(CHECK_ReadAgain(Read.File.pPath, Read.Last.Offset));
  }
  const bool EndsEarly = Digits.NumDigits < Digits.NumWanted && Digits.IsLineEnd;
  const bool GoesOn = Digits.NumWanted != 0 && Digits.NumDigits > Digits.NumWanted;
  if (!EndsEarly && !GoesOn) {
    return ": the line is damaged. Make or fetch the file again";
  }
  return CHECK_Format(": its count asks for %u digits, the line has %u. Make or fetch the file again", Digits.NumWanted,
                      Digits.NumDigits);
}

/// Says what the file is instead.
std::string DescribeForeign(const Reading& Read) {
  const CheckForeign Foreign = CHECK_CanReadAgain(Read.File.pPath)
                                   ? CHECK_NameForeign(CHECK_ReadAgain(Read.File.pPath, 0), false)
                                   : CheckForeign{};
  const char* pText = Foreign.pText != nullptr ? Foreign.pText : Read.pFormat->pMarkText;
  return CHECK_Format("not %s: %s", Read.pFormat->pName, pText);
}

/// Says what is wrong with the file's text.
std::string DescribeError(const Reading& Read) {
  switch (Read.Observer.Notes.Error) {
    case READ_ERROR_NOT_FORMAT:
      return DescribeForeign(Read);
    case READ_ERROR_MARK:
      return Read.pFormat->pMarkText + DescribeLine(Read);
    case READ_ERROR_DIGIT:
      return "hexadecimal digit expected" + DescribeLine(Read);
    case READ_ERROR_CHECKSUM:
      return CHECK_Format("wrong checksum, 0x%02X expected", Read.Observer.Notes.RightChecksum) + DescribeLine(Read);
    case READ_ERROR_TOO_SHORT:
      return "the record is too short for its type" + DescribeLine(Read);
    default:
      return "line end expected after the checksum" + DescribeLine(Read);
  }
}

/// Reports why a read has failed.
void ReportError(const Reading& Read) {
  const ReadNotes& Notes = Read.Observer.Notes;
  CheckFinding Finding{CHECK_ERROR, {}, CHECK_FindPlace(Read.File.pPath, Notes.ErrorOffset)};
  if (Notes.Error == READ_ERROR_SYSTEM) {
    Finding.Text = std::strerror(Notes.SystemError);
  } else if (Notes.Error == READ_ERROR_MEMORY) {
    Finding.Text = "out of memory, or more than 2147483647 bytes in one run";
  } else if (Notes.Error == READ_ERROR_OVERLAP) {
    const uint64_t First = CHECK_RunFrom(Read.pImage, Read.Last.Addr).Addr;
    Finding.Text = DescribeOverlap(Read, First);
    Finding.Place = CHECK_FindPlace(Read.File.pPath, Read.Last.DataOffset + 2 * (First - Read.Last.Addr));
    Finding.FirstPlace = Finding.Place.Line != 0 ? CHECK_FindDefinition(*Read.pFile, First) : CheckPlace{};
  } else {
    Finding.Text = DescribeError(Read);
  }
  if (Notes.ErrorOffset != READ_NOWHERE && Finding.Place.Line == 0) {  // a pipe
    Finding.Text = CHECK_Format("offset %" PRIu64 ": ", Notes.ErrorOffset) + Finding.Text;
  }
  Read.File.Sink.pfFound(Read.File.Sink.pContext, Finding);
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
void JudgeAccepted(const Reading& Read) {
  const ReadNotes& Notes = Read.Observer.Notes;
  if (Read.pFormat->pfReadText == nullptr) {
    const CheckForeign Foreign = CHECK_NameForeign(CHECK_ReadAgain(Read.File.pPath, 0), true);
    if (Foreign.pText != nullptr) {
      CHECK_Report(Read.File, Foreign.BinaryLevel, READ_NOWHERE, Foreign.pText);
    }
    if (CHECK_RunFrom(Read.pImage, uint64_t{UINT32_MAX} + 1).NumBytes != 0) {
      CHECK_Report(Read.File, CHECK_WARNING, READ_NOWHERE, CHECK_BEYOND_32_BITS);
    }
  } else if (Notes.EndMark != READ_NOWHERE && !IsPadded(Read.File.pPath, Notes.EndMark)) {
    CHECK_Report(Read.File, CHECK_WARNING, Notes.EndMark,
                 "a byte 0x00 or 0x1A ends the data here: what follows is not read");
  } else {
    CHECK_WatchEnd(Read.Watch, Read.File, Notes.LastRecord);
  }
  if (Read.pImage->NumAreas == 0) {
    CHECK_Report(Read.File, CHECK_WARNING, READ_NOWHERE, "the file has no data");
  }
}

[[nodiscard]] CheckStatus Fail(const CheckedFile& File, const std::string& Text) {
  CHECK_Report(File, CHECK_ERROR, READ_NOWHERE, Text);
  return CHECK_UNREADABLE;
}

[[nodiscard]] CheckStatus FailExtension(const CheckedFile& File) {
  std::string Text = "unknown file extension: Blockfit reads";
  for (const FormatHandler& Row : DATAFILE_EXTENSIONS) {
    Text += std::string(" ") + Row.pExt;
  }
  return Fail(File, Text);
}

/// Reads the file into an image. pObserver: for a text file.
[[nodiscard]] int ReadFile(const DataFile& File, const Format& How, MemImage* pImage, ReadObserver* pObserver) {
  return How.pfReadText != nullptr ? How.pfReadText(pImage, File.pPath, nullptr, nullptr, pObserver)
                                   : BIN_ReadEx(pImage, File.pPath, File.BaseAddr, nullptr, nullptr, &pObserver->Notes);
}

}  // namespace

CheckStatus CHECK_OpenInput(CheckInput* pInput, const char* pPath, uint32_t BaseAddr, const CheckSink& Sink) {
  const CheckedFile File{pPath, Sink};
  int Status = 0;
  *pInput = {};
  pInput->pFile.reset(DATAFILE_CreateFromPath(pPath, BaseAddr, &Status));
  const Format* pFormat = pInput->pFile != nullptr ? FormatOf(*pInput->pFile) : nullptr;
  if (Status == DATAFILE_ERR_UNSUPPORTED || *pPath == '\0' || (Status == 0 && pFormat == nullptr)) {
    return FailExtension(File);
  }
  CheckImage pImage(MEMIMG_Create());
  if (pFormat == nullptr || pImage == nullptr) {
    return Fail(File, "out of memory");
  }
  if (pFormat->pfReadText == nullptr && SYS_GetFileState(pPath).NumBytes > MEMIMG_MAX_AREA_BYTES) {
    CHECK_Report(File, CHECK_ERROR, READ_NOWHERE, "the file is larger than 2147483647 bytes, the limit for a .bin");
    return CHECK_BAD;
  }
  Reading Read{File, pInput->pFile.get(), pFormat, pImage.get(), {pFormat->pfReadText == HEX_ReadEx}};
  Read.Observer.pfRecord = NoteRecord;
  Read.Observer.pContext = &Read;
  if (ReadFile(*pInput->pFile, *pFormat, pImage.get(), &Read.Observer) < 0) {
    ReportError(Read);
    return Read.Observer.Notes.Error < READ_ERROR_NOT_FORMAT ? CHECK_UNREADABLE : CHECK_BAD;
  }
  JudgeAccepted(Read);
  pInput->pImage = std::move(pImage);
  pInput->pFormat = pFormat->pName;
  return CHECK_GOOD;
}

CheckPlace CHECK_FindDefinition(const DataFile& File, uint64_t Addr) {
  const Format* pFormat = FormatOf(File);
  DefinitionSearch Search{Addr};
  ReadObserver Observer{NoteDefinition, &Search};
  const CheckImage pImage(MEMIMG_Create());
  if (pFormat->pfReadText != nullptr && pImage != nullptr && CHECK_CanReadAgain(File.pPath)) {
    (void)ReadFile(File, *pFormat, pImage.get(), &Observer);
  }
  return CHECK_FindPlace(File.pPath, Search.Offset);
}

CheckRun CHECK_RunFrom(MemImage* pImage, uint64_t Addr) {
  CheckRun Run{UINT64_MAX, 0};
  Run.NumBytes = static_cast<uint64_t>(MEMIMG_FindRun(pImage, Addr, UINT64_MAX, &Run.Addr));
  return Run;
}

CheckRun CHECK_RunAfter(MemImage* pImage, const CheckRun& Run) {
  return CHECK_RunFrom(pImage, Run.Addr + Run.NumBytes);
}
