#include "check/record_watch.h"

#include <algorithm>
#include <array>
#include <cinttypes>
#include <cstdarg>
#include <cstdio>

namespace {

/// The kinds of findings, of each of which only the first is reported.
enum Kind { KIND_AFTER_END, KIND_BEYOND, KIND_UNUSED, KIND_UPPER_ADDR, KIND_HEADER, KIND_COUNT, KIND_START };

/// Reports a finding about a record if there is reason for it.
__attribute__((format(printf, 6, 7))) void ReportIf(bool Applies, RecordWatch* pWatch, Kind What, CheckLevel Level,
                                                    uint64_t Offset, const char* pFormat, ...) {
  if (!Applies || (pWatch->Reported >> What & 1) != 0) {
    return;
  }
  pWatch->Reported |= 1U << What;
  std::array<char, 200> acText;
  va_list Args;
  va_start(Args, pFormat);
  std::vsnprintf(acText.data(), acText.size(), pFormat, Args);
  va_end(Args);
  CHECK_Report(pWatch->Sink, Level, acText.data(), pWatch->Source, Offset);
}

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
    case NOTED_COUNT:
      return Record.NumBytes != 0;
    case NOTED_END:
      return Record.NumBytes > 0;
    default:
      return Record.Kind == NOTED_UNKNOWN;
  }
}

/// Whether a count is neither that of all data records nor of those since the last header or count.
bool IsWrongCount(const RecordWatch& Watch, const NotedRecord& Record) {
  return Record.Kind == NOTED_COUNT && Record.NumBytes == 0 && Record.Addr != Watch.NumData &&
         Record.Addr != Watch.NumDataInPart;
}

bool IsBeyond32Bits(const NotedRecord& Record) {
  return Record.Kind == NOTED_DATA && Record.Addr + static_cast<uint32_t>(Record.NumBytes) > uint64_t{UINT32_MAX} + 1;
}

void Judge(RecordWatch* pWatch, const NotedRecord& Record) {
  const uint64_t At = Record.Offset;
  const bool IsLateHeader = Record.Kind == NOTED_HEADER && pWatch->NumRecords != 0;
  const bool HasStart = Record.Kind == NOTED_START || (Record.Kind == NOTED_END && Record.Addr != 0);
  ReportIf(pWatch->HasEnded, pWatch, KIND_AFTER_END, CHECK_WARNING, At,
           "a record after the end record: were two files joined?%s",
           pWatch->IsHex ? " The second must set its own upper address" : "");
  ReportIf(IsBeyond32Bits(Record), pWatch, KIND_BEYOND, CHECK_WARNING, At, "%s", CHECK_BEYOND_32_BITS);
  ReportIf(IsIgnored(*pWatch, Record), pWatch, KIND_UNUSED, CHECK_WARNING, At,
           "no data is taken from this record: is its type or length damaged?");
  ReportIf(Record.Kind == NOTED_UPPER_ADDR && Record.NumBytes > 2, pWatch, KIND_UPPER_ADDR, CHECK_WARNING, At,
           "an upper address record has 2 bytes, this one more: what follows may be at wrong addresses");
  ReportIf(IsLateHeader && IsHeaderText(Record), pWatch, KIND_HEADER, CHECK_NOTE, At,
           "another header: the file is made of several");
  ReportIf(IsWrongCount(*pWatch, Record), pWatch, KIND_COUNT, CHECK_WARNING, At,
           "the count record says %" PRIu64 " data records, %" PRIu64 " were read: are some missing?", Record.Addr,
           pWatch->NumDataInPart);
  ReportIf(HasStart, pWatch, KIND_START, CHECK_NOTE, At,
           "the start address 0x%08" PRIX64 " is not written to the output", Record.Addr);
}

}  // namespace

void CHECK_WatchRecord(RecordWatch* pWatch, const NotedRecord& Record) {
  const bool IsData = Record.Kind == NOTED_DATA;
  if (!IsData || pWatch->HasEnded || IsBeyond32Bits(Record)) {  // most records are data that nothing is wrong with
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
  pWatch->HasEnded = pWatch->HasEnded || (Record.Kind == NOTED_END && Record.NumBytes <= 0);
  ++pWatch->NumRecords;
}

void CHECK_WatchEnd(const RecordWatch& Watch, uint64_t LastRecord) {
  if (!Watch.HasEnded && !Watch.IsCounted) {
    CHECK_Report(Watch.Sink, CHECK_WARNING, "no end record follows this last record: the file may have been cut off",
                 Watch.Source, LastRecord);
  }
}
