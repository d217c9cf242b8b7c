#include "check/input.h"

#include <algorithm>
#include <array>
#include <cinttypes>
#include <cstdio>
#include <cstring>

#include "check/hints.h"
#include "check/record_watch.h"
#include "readers/bin_reader.h"
#include "readers/hex_reader.h"
#include "readers/mot_reader.h"
#include "util/text.h"

namespace {

/// How a format is read by those who explain a file.
struct Format {
  decltype(FormatHandler::pfRead) pfRead;  ///< What the extension table has for it.
  const char* pName;
  decltype(&HEX_ReadEx) pfReadText;  ///< Null: raw binary.
};

constexpr std::array<Format, 3> FORMATS = {{
    {DATAFILE_ReadHex, "Intel HEX", HEX_ReadEx},
    {DATAFILE_ReadMot, "Motorola S-record", MOT_ReadEx},
    {DATAFILE_ReadBin, "raw binary", nullptr},
}};

/// The text of a finding.
constexpr uint32_t TEXT_SIZE = 1024;
using FindingText = std::array<char, TEXT_SIZE>;

/// Data bytes of the longest record.
constexpr uint32_t MAX_DATA = 255;

/// A read of a file.
struct Reading {
  CheckSink Sink;
  CheckSource Source;
  const Format* pFormat;
  uint32_t BaseAddr;
  MemImage* pImage;
  ReadObserver Observer{};
  RecordWatch Watch{};
  NotedRecord Last{};  ///< The latest record whose text is right, with its data in aLastData.
  std::array<uint8_t, MAX_DATA> aLastData{};
  FindingText acError{};  ///< What the reader says.
};

const Format* FormatOf(const DataFile& File) {
  return std::find_if(FORMATS.begin(), FORMATS.end(),
                      [&](const Format& Row) { return Row.pfRead == File.pHandler->pfRead; });
}

void NoteRecord(void* pContext, const NotedRecord& Record) {
  Reading* pRead = static_cast<Reading*>(pContext);
  pRead->Last = Record;
  pRead->Last.pData = pRead->aLastData.data();
  std::copy_n(Record.pData, std::max(Record.NumBytes, 0), pRead->aLastData.data());
  CHECK_WatchRecord(&pRead->Watch, Record);
}

/// Reads the file into an image. Returns the reader's result.
[[nodiscard]] int ReadFile(const Reading& Read, MemImage* pImage, const ReportSink& Sink, ReadObserver* pObserver) {
  const char* pPath = Read.Source.pPath;
  return Read.pFormat->pfReadText != nullptr
             ? Read.pFormat->pfReadText(pImage, pPath, Sink.pfReport, Sink.pContext, pObserver)
             : BIN_ReadEx(pImage, pPath, Read.BaseAddr, Sink.pfReport, Sink.pContext, &pObserver->Notes);
}

/// Looks for the record that defined an address.
struct DefinitionSearch {
  uint64_t Addr;
  uint64_t Offset;  ///< Of the byte's digits; READ_NOWHERE until it is found.
  uint8_t Value;
};

void NoteDefinition(void* pContext, const NotedRecord& Record) {
  DefinitionSearch* pSearch = static_cast<DefinitionSearch*>(pContext);
  const uint64_t Index = pSearch->Addr - Record.Addr;
  if (pSearch->Offset == READ_NOWHERE && Record.Kind == NOTED_DATA && Index < static_cast<uint32_t>(Record.NumBytes)) {
    pSearch->Offset = Record.DataOffset + 2 * Index;
    pSearch->Value = Record.pData[Index];
  }
}

/// Reads the file once more to find where the byte at an address was defined.
[[nodiscard]] CheckPlace FindDefinition(const Reading& Read, uint64_t Addr, uint8_t Value) {
  DefinitionSearch Search{Addr, READ_NOWHERE, 0};
  ReadObserver Observer{NoteDefinition, &Search};
  MemImage* pImage = MEMIMG_Create();
  if (pImage != nullptr) {
    (void)ReadFile(Read, pImage, {nullptr, nullptr}, &Observer);
  }
  MEMIMG_Free(pImage);
  return CHECK_FindPlace(Read.Source, Search.Value == Value ? Search.Offset : READ_NOWHERE);
}

/// Reports that addresses of the last record are taken: the first, its line, and the first byte that differs. Returns
/// false if the line is not found again.
[[nodiscard]] bool ReportOverlap(const Reading& Read) {
  const NotedRecord& Record = Read.Last;
  const uint64_t LastAddr = Record.Addr + static_cast<uint32_t>(Record.NumBytes) - 1;
  std::array<uint8_t, MAX_DATA> aThere;
  std::array<uint8_t, MAX_DATA> aIsThere;
  uint64_t Addr = 0;
  const int64_t NumBytes = MEMIMG_ReadData(Read.pImage, Record.Addr, LastAddr, MAX_DATA, 0, aThere.data(),
                                           aIsThere.data(), &Addr, MAX_DATA, 0, 0);
  const uint64_t First = Addr - Record.Addr;
  const uint8_t* pHere = Record.pData + First;
  uint32_t i = 0;
  while (i < NumBytes && (aIsThere[i] == 0 || aThere[i] == pHere[i])) {
    ++i;
  }
  const CheckPlace Place = CHECK_FindPlace(Read.Source, Record.DataOffset + 2 * First);
  const CheckPlace FirstPlace = FindDefinition(Read, Addr, aThere[0]);
  std::array<char, 60> acBytes{"the same bytes"};
  if (i < NumBytes) {
    const int Len = i != 0 ? std::snprintf(acBytes.data(), acBytes.size(), "at 0x%08" PRIX64 " ", Addr + i) : 0;
    std::snprintf(acBytes.data() + Len, 30, "there 0x%02X, here 0x%02X", aThere[i], pHere[i]);
  }
  FindingText acText;
  std::snprintf(acText.data(), TEXT_SIZE, "Areas overlap: 0x%08" PRIX64 ", first defined on line %" PRIu64 ", %s", Addr,
                FirstPlace.Line, acBytes.data());
  if (FirstPlace.Line != 0) {
    Read.Sink.pfFound(Read.Sink.pContext, {CHECK_ERROR, acText.data(), Place, FirstPlace});
  }
  return FirstPlace.Line != 0;
}

/// Puts a reader's text: on one line, with what cannot be printed made visible. Without "Error in line N: ", if the
/// line is shown: the reader counts CR LF, CR CR and LF LF after a record of Intel HEX as one line end, so that its
/// number falls behind an editor's at blank lines; and in S-records it does not count a CR.
void PutReaderText(FindingText* pText, const char* pReaderText, bool IsLineShown) {
  const char* pColon = std::strchr(pReaderText, ':');
  char* pEnd = pText->data();
  for (const char* p = IsLineShown && pColon != nullptr ? pColon + 2 : pReaderText; *p != '\0'; ++p) {
    pEnd = CHECK_PutVisible(pEnd, *p != '\n' ? static_cast<uint8_t>(*p) : ' ');
  }
  *pEnd = '\0';
}

/// Returns what helps with an error in the file's text, in *pHint: what the file is, what a record needs, or how far
/// the record is from what its count asks for.
void PutHint(const Reading& Read, FindingText* pHint) {
  if (Read.Observer.Notes.Error == READ_ERROR_NOT_FORMAT) {
    const bool IsEmpty = CHECK_IsRegular(Read.Source) && CHECK_ReadAgain(Read.Source, 0).NumBytes == 0;
    const char* pForeign = IsEmpty ? "it is empty" : CHECK_NameForeign(Read.Source).pText;
    std::snprintf(pHint->data(), TEXT_SIZE, pForeign != nullptr ? ": %s" : "%s", pForeign != nullptr ? pForeign : "");
    return;
  }
  CheckDigits Digits = CHECK_CountDigits(Read.Source, Read.Observer.Notes.LastRecord);
  if (Digits.NumWanted == 0 && Read.Last.pData != nullptr) {  // digits that go on are taken as the next S-record
    Digits = CHECK_CountDigits(Read.Source, Read.Last.Offset);
  }
  const bool EndsEarly = Digits.NumDigits < Digits.NumWanted && Digits.IsLineEnd;
  if (EndsEarly || (Digits.NumWanted != 0 && Digits.NumDigits > Digits.NumWanted)) {
    std::snprintf(pHint->data(), TEXT_SIZE, ": the count asks for %u digits, the line has %u", Digits.NumWanted,
                  Digits.NumDigits);
  } else if (Read.Observer.Notes.Error == READ_ERROR_TOO_SHORT) {
    UTIL_CopyString(pHint->data(), ": its count leaves no room for what its type needs", TEXT_SIZE);
  } else if (Read.pFormat->pfReadText == MOT_ReadEx && Read.Observer.Notes.Error == READ_ERROR_MARK) {
    UTIL_CopyString(pHint->data(), ": a record begins with S and a digit", TEXT_SIZE);
  }
}

/// Reports the error of a read that has failed. A pipe cannot be read again: there is only the error.
void ReportError(const Reading& Read) {
  const ReadNotes& Notes = Read.Observer.Notes;
  const CheckPlace Place = CHECK_FindPlace(Read.Source, Notes.ErrorOffset);
  if (Notes.Error == READ_ERROR_OVERLAP && Place.Line != 0 && ReportOverlap(Read)) {
    return;
  }
  FindingText acText{};
  FindingText acHint{};
  if (Notes.ErrorOffset != READ_NOWHERE) {
    PutReaderText(&acText, Read.acError.data(), Place.Line != 0);
    if (Place.Line != 0) {
      PutHint(Read, &acHint);
    }
    UTIL_AppendString(acText.data(), acHint.data(), TEXT_SIZE);
  } else if (Notes.Error == READ_ERROR_MEMORY) {
    UTIL_CopyString(acText.data(), "Out of memory, or more data than an image can hold", TEXT_SIZE);
  } else {
    UTIL_CopyString(acText.data(), std::strerror(Notes.SystemError), TEXT_SIZE);
  }
  Read.Sink.pfFound(Read.Sink.pContext, {CHECK_ERROR, acText.data(), Place, {}});
}

/// Whether nothing but padding follows the mark that ends the data. Of a pipe, that is not known.
[[nodiscard]] bool IsPadded(const CheckSource& Source, uint64_t EndMark) {
  constexpr std::array<uint8_t, 6> PADDING = {0, 0x1A, '\r', '\n', '\t', ' '};
  const auto IsPadding = [&](uint8_t Byte) { return std::find(PADDING.begin(), PADDING.end(), Byte) != PADDING.end(); };
  CheckBytes Bytes = CHECK_ReadAgain(Source, EndMark);
  bool Result = Bytes.NumBytes != 0;
  while (Result && Bytes.NumBytes != 0) {
    Result = std::all_of(Bytes.aByte.begin(), Bytes.aByte.begin() + Bytes.NumBytes, IsPadding);
    EndMark += Bytes.NumBytes;
    Bytes = CHECK_ReadAgain(Source, EndMark);
  }
  return Result;
}

/// Reports what is suspicious about a file that was read completely.
void JudgeAccepted(const Reading& Read) {
  if (Read.pFormat->pfReadText == nullptr) {
    const CheckForeign Foreign = CHECK_NameForeign(Read.Source);
    if (Foreign.pText != nullptr && Foreign.BinaryLevel != CHECK_ERROR) {
      CHECK_Report(Read.Sink, Foreign.BinaryLevel, Foreign.pText, Read.Source, READ_NOWHERE);
    }
    if (CHECK_RunFrom(Read.pImage, uint64_t{UINT32_MAX} + 1).NumBytes != 0) {
      CHECK_Report(Read.Sink, CHECK_WARNING, CHECK_BEYOND_32_BITS, Read.Source, READ_NOWHERE);
    }
  } else {
    CHECK_WatchEnd(Read.Watch, Read.Observer.Notes.LastRecord);
    const uint64_t EndMark = Read.Observer.Notes.EndMark;
    if (EndMark != READ_NOWHERE && !IsPadded(Read.Source, EndMark)) {
      CHECK_Report(Read.Sink, CHECK_WARNING, "a byte 0x00 or 0x1A ends the data here: what follows is not read",
                   Read.Source, EndMark);
    }
  }
  if (Read.pImage->NumAreas == 0) {
    CHECK_Report(Read.Sink, CHECK_WARNING, "the file has no data", Read.Source, READ_NOWHERE);
  }
}

[[nodiscard]] CheckStatus FailOpen(const CheckSink& Sink, const char* pText) {
  CHECK_Report(Sink, CHECK_ERROR, pText, {}, READ_NOWHERE);
  return CHECK_UNREADABLE;
}

[[nodiscard]] CheckStatus FailExtension(const CheckSink& Sink) {
  FindingText acText{"Unsupported file extension. Blockfit reads"};
  for (const FormatHandler& Row : DATAFILE_EXTENSIONS) {
    UTIL_AppendString(acText.data(), " ", TEXT_SIZE);
    UTIL_AppendString(acText.data(), Row.pExt, TEXT_SIZE);
  }
  return FailOpen(Sink, acText.data());
}

}  // namespace

CheckStatus CHECK_OpenInput(CheckInput* pInput, const char* pPath, uint32_t BaseAddr, const CheckSink& Sink) {
  *pInput = {};
  int Status = 0;
  pInput->pFile = DATAFILE_CreateFromPath(pPath, BaseAddr, &Status);
  if (Status == DATAFILE_ERR_UNSUPPORTED || *pPath == '\0') {
    return FailExtension(Sink);
  }
  if (pInput->pFile == nullptr) {
    return FailOpen(Sink, "Out of memory");
  }
  const Format* pFormat = FormatOf(*pInput->pFile);
  const CheckSource Source = CHECK_SourceOf(pInput->pFile->pPath);
  if (pFormat->pfReadText == nullptr && Source.State.NumBytes > MEMIMG_MAX_AREA_BYTES) {
    CHECK_Report(Sink, CHECK_ERROR, "the file is larger than 2147483647 bytes, the limit for a .bin", {}, READ_NOWHERE);
    return CHECK_BAD;
  }
  MemImage* pImage = MEMIMG_Create();
  if (pImage == nullptr) {
    return FailOpen(Sink, "Out of memory");
  }
  Reading Read{Sink, Source, pFormat, BaseAddr, pImage};
  Read.Watch = {Sink, Source, pFormat->pfReadText == HEX_ReadEx};
  Read.Observer.pfRecord = NoteRecord;
  Read.Observer.pContext = &Read;
  ErrorTextBuffer ErrorText{Read.acError.data(), TEXT_SIZE};
  Status = ReadFile(Read, pImage, {UTIL_CollectErrorText, &ErrorText}, &Read.Observer);
  if (Status < 0) {
    ReportError(Read);
    MEMIMG_Free(pImage);
    return Read.Observer.Notes.ErrorOffset == READ_NOWHERE ? CHECK_UNREADABLE : CHECK_BAD;
  }
  JudgeAccepted(Read);
  pInput->pImage = pImage;
  pInput->pFormat = pFormat->pName;
  return CHECK_GOOD;
}

void CHECK_CloseInput(CheckInput* pInput) {
  MEMIMG_Free(pInput->pImage);
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
