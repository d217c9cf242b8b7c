/// Watches the records of a text file while it is read, and reports what is suspicious about them.
#pragma once

#include <cstdint>

#include "check/finding.h"

/// What has been seen of a file so far.
struct RecordWatch {
  CheckedFile File;
  NotedRecord Last = {};  ///< The latest record; its data is gone.
  uint64_t NumRecords = 0;
  uint64_t NumData = 0;              ///< Data records, also empty ones.
  uint64_t NumDataInPart = 0;        ///< Those since the last header or count.
  uint64_t SegmentEnd = UINT64_MAX;  ///< Of the 64 KiB that a record of type 02 has chosen.
  bool HasEnded = false;             ///< There was an end record.
  bool IsCounted = false;            ///< The last count was right, and no data has followed.
  uint32_t Reported = 0;             ///< A bit for each kind of finding that has been reported.
};

/// Judges the next record: the pfRecord of a ReadObserver. pContext: the RecordWatch.
void CHECK_WatchRecord(void* pContext, const NotedRecord& Record);

/// Judges the end of a file that was read completely.
void CHECK_WatchEnd(const RecordWatch& Watch);
