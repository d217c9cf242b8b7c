#include "check/record_watch.h"

#include <algorithm>
#include <array>
#include <cinttypes>
#include <cstdio>

namespace {

/// A finding, and whether a record gives reason for it.
struct Rule {
  bool Applies;
  CheckLevel Level;
  const char* pText;
};

/// A header names the program. A data record whose type digit has become a 0 looks like one with another address, or
/// with bytes that no name has.
bool IsHeaderText(const NotedRecord& Record) {
  const auto IsPrintable = [](uint8_t Byte) { return Byte >= ' ' && Byte <= '~'; };
  return Record.Addr == 0 && std::all_of(Record.pData, Record.pData + std::max(Record.NumBytes, 0), IsPrintable);
}

/// Whether the reader does not use all of a record. The checksum of an S-record does not protect its type.
bool IsNotAllUsed(const RecordWatch& Watch, const NotedRecord& Record) {
  switch (Record.Kind) {
    case NOTED_HEADER:
      return Watch.NumRecords != 0 ? !IsHeaderText(Record) : Record.Addr != 0;
    case NOTED_UPPER_ADDR:
      return Record.NumBytes > 2;
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

/// Reports for each rule the first record that it applies to.
void ApplyRules(RecordWatch* pWatch, const NotedRecord& Record) {
  const bool IsLateHeader = Record.Kind == NOTED_HEADER && pWatch->NumRecords != 0;
  const bool HasStart = Record.Kind == NOTED_START || (Record.Kind == NOTED_END && Record.Addr != 0);
  std::array<char, 100> acCount;
  std::array<char, 100> acStart;
  std::snprintf(acCount.data(), acCount.size(),
                "the count record says %" PRIu64 " data records, %" PRIu64 " were read: are some missing?", Record.Addr,
                pWatch->NumDataInPart);
  std::snprintf(acStart.data(), acStart.size(), "the start address 0x%08" PRIX64 " is not written to the output",
                Record.Addr);
  const std::array<Rule, 6> Rules = {{
      {pWatch->HasEnded, CHECK_WARNING,
       pWatch->IsHex ? "a record after the end record: were two files joined? The second must set its own upper address"
                     : "a record after the end record: were two files joined?"},
      {IsBeyond32Bits(Record), CHECK_WARNING, CHECK_BEYOND_32_BITS},
      {IsNotAllUsed(*pWatch, Record), CHECK_WARNING,
       Record.Kind == NOTED_UPPER_ADDR
           ? "an upper address record has 2 bytes, this one more: what follows may be at wrong addresses"
           : "no data is taken from this record: is its type or length damaged?"},
      {IsLateHeader && IsHeaderText(Record), CHECK_NOTE, "another header: the file is made of several"},
      {IsWrongCount(*pWatch, Record), CHECK_WARNING, acCount.data()},
      {HasStart, CHECK_NOTE, acStart.data()},
  }};
  for (uint32_t i = 0; i < Rules.size(); ++i) {
    if (Rules[i].Applies && (pWatch->Reported >> i & 1) == 0) {
      pWatch->Reported |= 1U << i;
      CHECK_Report(pWatch->Sink, Rules[i].Level, Rules[i].pText, pWatch->Source, Record.Offset);
    }
  }
}

}  // namespace

void CHECK_WatchRecord(RecordWatch* pWatch, const NotedRecord& Record) {
  const bool IsData = Record.Kind == NOTED_DATA;
  if (!IsData || pWatch->HasEnded || IsBeyond32Bits(Record)) {  // most records are data that nothing is wrong with
    ApplyRules(pWatch, Record);
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
