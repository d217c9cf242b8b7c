#include "check/record_watch.h"

#include <algorithm>
#include <cinttypes>
#include <string_view>

namespace {

/// The kinds of findings, of each of which only the first is reported.
enum Kind { KIND_AFTER_END, KIND_SEGMENT, KIND_UNUSED, KIND_COUNT, KIND_START };

/// A header names the program. A data record whose type digit has become a 0 looks like one with another address, or
/// with bytes that no name has, also in UTF-8.
bool IsHeaderText(const NotedRecord& Record) {
  const auto IsPrintable = [](uint8_t Byte) { return Byte >= ' ' && Byte != 0x7F && Byte != 0xFF; };
  return Record.Addr == 0 && std::all_of(Record.pData, Record.pData + std::max(Record.NumBytes, 0), IsPrintable);
}

/// Whether a record has bytes that the reader ignores. The checksum of an S-record does not protect its type.
bool IsIgnored(const RecordWatch& Watch, const NotedRecord& Record) {
  switch (Record.Kind) {
    case NOTED_HEADER:
      return Watch.NumRecords != 0 ? !IsHeaderText(Record) : Record.Addr != 0;
    case NOTED_DATA:
      return false;
    case NOTED_COUNT:
      return Record.NumBytes != 0;
    case NOTED_SEGMENT:
    case NOTED_UPPER_ADDR:
      return Record.NumBytes > 2;
    case NOTED_START:
      return Record.NumBytes != 4;
    case NOTED_END:
      return Record.NumBytes > 0;
    default:
      return true;
  }
}

/// Whether a count is neither that of all data records nor of those since the last header or count.
bool IsWrongCount(const RecordWatch& Watch, const NotedRecord& Record) {
  return Record.Kind == NOTED_COUNT && Record.NumBytes == 0 && Record.Addr != Watch.NumData &&
         Record.Addr != Watch.NumDataInPart;
}

/// Returns the address after a record's data.
uint64_t EndOf(const NotedRecord& Record) {
  return Record.Kind == NOTED_DATA ? Record.Addr + static_cast<uint32_t>(Record.NumBytes) : 0;
}

void Judge(RecordWatch* pWatch, const NotedRecord& Record) {
  const auto ReportIf = [&](bool Applies, Kind What, CheckLevel Level, std::string_view Text) {
    if (Applies && (pWatch->Reported >> What & 1) == 0) {
      pWatch->Reported |= 1U << What;
      CHECK_Report(pWatch->File, Level, Record.Offset, std::string(Text));
    }
  };
  ReportIf(pWatch->HasEnded, KIND_AFTER_END, CHECK_WARNING,
           "a record after the end record: were two files joined? blockfit-convert joins them correctly");
  ReportIf(EndOf(Record) > pWatch->SegmentEnd, KIND_SEGMENT, CHECK_WARNING,
           "data beyond the end of its 64 KiB segment: other tools may put it at the segment's start. Records of type "
           "04 avoid that");
  ReportIf(IsIgnored(*pWatch, Record), KIND_UNUSED, CHECK_WARNING,
           "this record has bytes that are not used: its type or length is wrong. Make or fetch the file again");
  if (IsWrongCount(*pWatch, Record)) {
    ReportIf(true, KIND_COUNT, CHECK_WARNING,
             CHECK_Format("the count record says %" PRIu64 " data records, %" PRIu64
                          " were read: some are missing or doubled. Make or fetch the file again",
                          Record.Addr, pWatch->NumDataInPart));
  }
  if (Record.Kind == NOTED_START || (Record.Kind == NOTED_END && Record.Addr != 0)) {
    ReportIf(!IsIgnored(*pWatch, Record), KIND_START, CHECK_NOTE,
             CHECK_Format("the start address 0x%08" PRIX64 " is not written to the output", Record.Addr));
  }
}

}  // namespace

void CHECK_WatchRecord(void* pContext, const NotedRecord& Record) {
  RecordWatch* pWatch = static_cast<RecordWatch*>(pContext);
  const bool IsData = Record.Kind == NOTED_DATA;
  // Most records are data that nothing is wrong with.
  if (!IsData || pWatch->HasEnded || EndOf(Record) > pWatch->SegmentEnd) {
    Judge(pWatch, Record);
  }
  if (IsData) {
    ++pWatch->NumData;
    ++pWatch->NumDataInPart;
  }
  if (IsData || Record.Kind == NOTED_COUNT) {
    pWatch->IsCounted = !IsData && Record.NumBytes == 0 && !IsWrongCount(*pWatch, Record);
  }
  if (Record.Kind == NOTED_COUNT || Record.Kind == NOTED_HEADER) {
    pWatch->NumDataInPart = 0;
  }
  if (Record.Kind == NOTED_UPPER_ADDR || Record.Kind == NOTED_SEGMENT) {
    const bool IsSegment = Record.Kind == NOTED_SEGMENT && Record.NumBytes >= 2;
    pWatch->SegmentEnd = IsSegment ? uint32_t{Record.pData[0]} << 12 | uint32_t{Record.pData[1]} << 4 : UINT64_MAX;
    pWatch->SegmentEnd += IsSegment ? 0x10000 : 0;
  }
  pWatch->HasEnded = pWatch->HasEnded || (Record.Kind == NOTED_END && Record.NumBytes <= 0);
  ++pWatch->NumRecords;
  pWatch->Last = Record;
}

void CHECK_WatchEnd(const RecordWatch& Watch) {
  if (!Watch.HasEnded && !Watch.IsCounted) {
    CHECK_Report(Watch.File, CHECK_WARNING, Watch.Last.Offset,
                 "no end record follows this last record: the file may have been cut off. Make or fetch it again");
  }
}
