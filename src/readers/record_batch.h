/// Records that come in no order wait here until many of them can be stored in the order of addresses.
///
/// Each record of a shuffled file, stored on its own, would wait for memory several times: all areas of a large image
/// do not fit in the caches. Sorted, records go to one place after the other, and nearly all that they need is there.
#pragma once

#include <cstdint>

#include "memimage/mem_image.h"

/// A record that waits.
struct BatchRecord {
  uint64_t Addr;
  uint32_t Pos;         ///< Where its data begin among the bytes of the batch; so it rises from record to record.
  uint32_t NumBytes;    ///< At least 1.
  int32_t NumLineEnds;  ///< Line ends passed before it.
};

/// The records that wait. All zero is the empty batch that owns nothing.
struct RecordBatch {
  BatchRecord* paRecord;  ///< In the order of the file.
  uint8_t* pData;         ///< The data of all records, in the same order.
  uint32_t NumRecords;
  uint32_t NumRecordsAlloc;  ///< Records that paRecord has room for.
  uint32_t NumBytes;         ///< Bytes of pData.
  uint32_t NumBytesAlloc;    ///< Bytes that pData has room for.
  uint32_t NumInSequence;    ///< Records up to the last that each began where the one before it ended.
  uint64_t NextAddr;         ///< Where the last ended.
};

/// Takes note of the next record of the file. Returns whether it is in order, so that it need not wait: it is one of a
/// long sequence, or appends to the image while no other record waits.
[[nodiscard]] bool BATCH_IsInOrder(RecordBatch* pBatch, MemImage* pImage, uint64_t Addr, uint32_t NumBytes);

/// Adds a record of NumBytes bytes, 1 to 255; pData is copied.
/// Returns false, with nothing changed, when the batch is as large as it may get or memory gives out.
[[nodiscard]] bool BATCH_Add(RecordBatch* pBatch, uint64_t Addr, uint32_t NumBytes, const uint8_t* pData,
                             int32_t NumLineEnds);

/// Stores the records in an image and empties the batch. The image holds afterwards what it would if each had been
/// stored when it was added: all of them or, after an overlap, those before the first that overlaps. When memory gives
/// out, it holds any of them.
/// Returns 0 or the result of READER_Store for the record that failed, with its NumLineEnds in *pNumLineEnds.
/// O(records × log(records + areas)).
[[nodiscard]] int BATCH_Store(RecordBatch* pBatch, MemImage* pImage, int32_t* pNumLineEnds);

/// Releases the batch with the records in it; it is empty then.
void BATCH_Free(RecordBatch* pBatch);
