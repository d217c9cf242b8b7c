/// Watches the records of a text file while it is read, and reports what is suspicious about them.
#pragma once

#include <cstdint>

#include "check/finding.h"

/// The warning of data whose addresses do not fit into an S-record.
constexpr const char* CHECK_BEYOND_32_BITS = "data beyond 0xFFFFFFFF: in the output, its addresses start again at 0";

/// What has been seen of a file so far.
struct RecordWatch {
  bool IsHex = false;  ///< Intel HEX, not S-records.

  uint64_t NumRecords = 0;
  uint64_t NumData = 0;        ///< Data records, also empty ones.
  uint64_t NumDataInPart = 0;  ///< Those since the last header or count.
  uint64_t Segment = 0;        ///< Address of the 64 KiB segment that type 02 has set, while IsSegmented.
  bool IsSegmented = false;
  bool HasEnded = false;   ///< There was an end record.
  bool IsCounted = false;  ///< The last count was right, and no data has followed.
  uint32_t Reported = 0;   ///< A bit for each kind of finding that has been reported.
};

/// Judges the next record.
void CHECK_WatchRecord(RecordWatch* pWatch, const CheckedFile& File, const NotedRecord& Record);

/// Judges the end of a file that was read completely. LastRecord: offset of its last record.
void CHECK_WatchEnd(const RecordWatch& Watch, const CheckedFile& File, uint64_t LastRecord);
