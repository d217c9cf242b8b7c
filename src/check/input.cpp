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

/// Returns null for a format that the table above does not have.
const Format* FormatOf(const DataFile& File) {
  const auto* pRow = std::find_if(FORMATS.begin(), FORMATS.end(),
                                  [&](const Format& Row) { return Row.pfRead == File.pHandler->pfRead; });
  return pRow != FORMATS.end() ? pRow : nullptr;
}

/// Words an error at a place.
std::string DescribeError(const CheckPlace& Place, const Format& How, const ReadNotes& Notes) {
  const auto Damaged = [](const std::string& What) {
    return What + ": the line is damaged. Make or fetch the file again";
  };
  switch (Notes.Error) {
    case READ_ERROR_SYSTEM:
      return std::strerror(Notes.SystemError);
    case READ_ERROR_MEMORY:
      return "out of memory, or more than 2147483647 bytes in one run";
    case READ_ERROR_NOT_FORMAT: {
      const char* pText = Place.Line != 0 ? CHECK_NameForeign(CHECK_ReadAgain(Place.pPath, 0), false).pText : nullptr;
      return CHECK_Format("not %s: %s", How.pName, pText != nullptr ? pText : How.pMarkText);
    }
    case READ_ERROR_MARK:
      return Damaged(How.pMarkText);
    case READ_ERROR_DIGIT:
      return Place.Line != 0 && Place.MarkColumn == Place.Excerpt.size()
                 ? "the line ends too early: was the file cut off? Make or fetch it again"
                 : Damaged("hexadecimal digit expected");
    case READ_ERROR_CHECKSUM:
      return Damaged(CHECK_Format("wrong checksum, 0x%02X expected", Notes.RightChecksum));
    case READ_ERROR_TOO_SHORT:
      return Damaged("the record is too short for its type");
    case READ_ERROR_OVERLAP:
      return " is defined twice: is a line doubled, or do two sections or joined files overlap?";
    default:
      return Damaged("line end expected after the checksum");
  }
}

/// Reports the error of a read, in the case of an overlap at the lowest address that is taken.
void ReportError(const RecordWatch& Watch, const DataFile& File, MemImage* pImage, const ReadNotes& Notes) {
  const bool IsOverlap = Notes.Error == READ_ERROR_OVERLAP;
  const uint64_t Addr = IsOverlap ? CHECK_RunFrom(pImage, Watch.Last.Addr).Addr : 0;
  const uint64_t Offset = IsOverlap ? Watch.Last.DataOffset + 2 * (Addr - Watch.Last.Addr) : Notes.ErrorOffset;
  CheckFinding Finding{CHECK_ERROR, {}, CHECK_FindPlace(Watch.File.pPath, Offset)};
  Finding.Text = DescribeError(Finding.Place, *FormatOf(File), Notes);
  if (IsOverlap) {
    Finding.Text = CHECK_Format("0x%08" PRIX64, Addr) + Finding.Text;
    Finding.FirstPlace = CHECK_FindDefinition(File, Addr);
  }
  if (Offset != READ_NOWHERE && Finding.Place.Line == 0) {  // a pipe
    Finding.Text = CHECK_Format("offset %" PRIu64 ": ", Offset) + Finding.Text;
    Finding.FirstPlace = {};
  }
  Watch.File.Sink(Finding);
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
void JudgeAccepted(const RecordWatch& Watch, const DataFile& File, MemImage* pImage, const ReadNotes& Notes) {
  if (FormatOf(File)->pfReadText == nullptr) {
    const CheckForeign Foreign = CHECK_NameForeign(CHECK_ReadAgain(Watch.File.pPath, 0), true);
    if (Foreign.pText != nullptr) {
      CHECK_Report(Watch.File, Foreign.Level, READ_NOWHERE, Foreign.pText);
    }
  } else if (Notes.EndMark != READ_NOWHERE && !IsPadded(Watch.File.pPath, Notes.EndMark)) {
    CHECK_Report(Watch.File, CHECK_WARNING, Notes.EndMark,
                 "a byte 0x00 or 0x1A ends the data here: what follows is not read. Make or fetch the file again");
  } else {
    CHECK_WatchEnd(Watch);
  }
  const CheckRun Beyond = CHECK_RunFrom(pImage, uint64_t{UINT32_MAX} + 1);
  if (Beyond.NumBytes != 0) {
    Watch.File.Sink(
        {CHECK_WARNING,
         "data beyond 0xFFFFFFFF: in the output, its addresses start again at 0. Is the load address right?",
         CHECK_FindDefinition(File, Beyond.Addr)});
  }
  if (pImage->NumAreas == 0) {
    CHECK_Report(Watch.File, CHECK_WARNING, READ_NOWHERE, "the file has no data: is it the right one?");
  }
}

std::string ListExtensions() {
  std::string Text = "unknown file extension: Blockfit reads";
  for (const FormatHandler& Row : DATAFILE_EXTENSIONS) {
    Text.append(" ").append(Row.pExt);
  }
  return Text;
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

std::string ShowRange(uint64_t First, uint64_t Last) {
  return CHECK_Format("0x%08" PRIX64 "-0x%08" PRIX64, First, Last);
}

/// Reports the first run outside the ranges, if there is one.
[[nodiscard]] CheckStatus TestWithin(const CheckInput& Input, const std::vector<CheckRange>& Ranges,
                                     const CheckSink& Sink) {
  const CheckRun Outside = CHECK_FindOutside(Input.pImage.get(), Ranges);
  if (Outside.NumBytes == 0) {
    return CHECK_GOOD;
  }
  std::string Text = ShowRange(Outside.Addr, Outside.Addr + (Outside.NumBytes - 1)) + " lies outside";
  for (const CheckRange& Range : Ranges) {
    Text.append(&Range != Ranges.data() ? ", " : " ").append(ShowRange(Range.First, Range.Last));
  }
  const bool IsBinary = Input.pFile->pHandler->pfRead == DATAFILE_ReadBin;
  Text += IsBinary ? ": is its load address right?" : ": is RAM data in the file?";
  Sink({CHECK_ERROR, Text, CHECK_FindDefinition(*Input.pFile, Outside.Addr)});
  return CHECK_BAD;
}

}  // namespace

CheckStatus CHECK_OpenInput(CheckInput* pInput, const CheckedFile& File, const CheckMemory& Memory) {
  int Status = 0;
  *pInput = {};
  pInput->pFile.reset(DATAFILE_CreateFromPath(File.pPath, Memory.BaseAddr, &Status));
  CheckImage pImage(MEMIMG_Create());
  const Format* pFormat = pInput->pFile != nullptr ? FormatOf(*pInput->pFile) : nullptr;
  if (Status == DATAFILE_ERR_UNSUPPORTED || *File.pPath == '\0' || (Status == 0 && pFormat == nullptr)) {
    return Fail(File, CHECK_UNREADABLE, ListExtensions());
  }
  if (pFormat == nullptr || pImage == nullptr) {
    return Fail(File, CHECK_UNREADABLE, "out of memory");
  }
  if (pFormat->pfReadText == nullptr && SYS_GetFileState(File.pPath).NumBytes > MEMIMG_MAX_AREA_BYTES) {
    return Fail(File, CHECK_BAD, "the file is larger than 2147483647 bytes, the limit for a .bin");
  }
  RecordWatch Watch{File};
  ReadObserver Observer{CHECK_WatchRecord, &Watch};
  if (ReadFile(*pInput->pFile, pImage.get(), &Observer) < 0) {
    ReportError(Watch, *pInput->pFile, pImage.get(), Observer.Notes);
    return Observer.Notes.Error < READ_ERROR_NOT_FORMAT ? CHECK_UNREADABLE : CHECK_BAD;
  }
  JudgeAccepted(Watch, *pInput->pFile, pImage.get(), Observer.Notes);
  pInput->pImage = std::move(pImage);
  pInput->pFormat = pFormat->pName;
  return TestWithin(*pInput, Memory.Within, File.Sink);
}

CheckPlace CHECK_FindDefinition(const DataFile& File, uint64_t Addr) {
  struct Search {
    uint64_t Addr;
    uint64_t Offset;  ///< Of the byte's digits, once they are found.
  } Byte{Addr, READ_NOWHERE};
  const auto Look = [](void* pContext, const NotedRecord& Record) {
    Search* pByte = static_cast<Search*>(pContext);
    const uint64_t Index = pByte->Addr - Record.Addr;
    if (pByte->Offset == READ_NOWHERE && Record.Kind == NOTED_DATA && Index < static_cast<uint32_t>(Record.NumBytes)) {
      pByte->Offset = Record.DataOffset + 2 * Index;
    }
  };
  ReadObserver Observer{Look, &Byte};
  const CheckImage pImage(MEMIMG_Create());
  if (pImage != nullptr && CHECK_CanReadAgain(File.pPath)) {
    (void)ReadFile(File, pImage.get(), &Observer);
  }
  return CHECK_FindPlace(File.pPath, Byte.Offset);
}
