#include "readers/record_batch.h"

#include <algorithm>
#include <cstring>

#include "readers/read_frame.h"
#include "sys/heap.h"

namespace {

/// A batch takes 10 MiB at most, however large the file.
constexpr uint32_t MAX_RECORDS = 1 << 18;
constexpr uint32_t MAX_BYTES = 4 << 20;
constexpr uint32_t MIN_RECORDS = 64;
constexpr uint32_t MIN_BYTES = 4096;

/// Fewer records are not worth the sorting.
constexpr uint32_t MIN_SORTED_RECORDS = 16;

/// So many records that follow one another are no chance: the file has begun a part that is in order.
constexpr uint32_t MIN_SEQUENCE = 8;

/// So many records are stored in the time that memory takes to answer.
constexpr uint32_t PREFETCH_DISTANCE = 16;

/// Doubles an array up to MaxNum elements. Returns false, with nothing changed, when it has that many or memory gives
/// out.
template <typename Element>
[[nodiscard]] bool Grow(Element** ppArray, uint32_t* pNumAlloc, uint32_t MinNum, uint32_t MaxNum) {
  if (*pNumAlloc == MaxNum) {
    return false;
  }
  const uint32_t NewNum = std::clamp(*pNumAlloc * 2, MinNum, MaxNum);
  void* pArray = SYS_Realloc(*ppArray, NewNum * static_cast<uint32_t>(sizeof(Element)));
  if (pArray == nullptr) {
    return false;
  }
  *ppArray = static_cast<Element*>(pArray);
  *pNumAlloc = NewNum;
  return true;
}

[[nodiscard]] bool Reserve(RecordBatch* pBatch, uint32_t NumBytes) {
  const bool HasRecord = pBatch->NumRecords < pBatch->NumRecordsAlloc ||
                         Grow(&pBatch->paRecord, &pBatch->NumRecordsAlloc, MIN_RECORDS, MAX_RECORDS);
  return HasRecord && (pBatch->NumBytesAlloc - pBatch->NumBytes >= NumBytes ||
                       Grow(&pBatch->pData, &pBatch->NumBytesAlloc, MIN_BYTES, MAX_BYTES));
}

uint64_t LastOf(const BatchRecord& Record) {
  return Record.Addr + (Record.NumBytes - 1);
}

void SortByAddress(RecordBatch* pBatch) {
  std::ranges::sort(pBatch->paRecord, pBatch->paRecord + pBatch->NumRecords, {}, &BatchRecord::Addr);
}

void SortAsInFile(RecordBatch* pBatch) {
  std::ranges::sort(pBatch->paRecord, pBatch->paRecord + pBatch->NumRecords, {}, &BatchRecord::Pos);
}

/// Has the data of a record to come fetched: in the order of addresses they lie anywhere.
void PrefetchData(const RecordBatch& Batch, uint32_t Index) {
  if (Index < Batch.NumRecords) {
    __builtin_prefetch(Batch.pData + Batch.paRecord[Index].Pos);
  }
}

/// Returns whether no two of the records, sorted by address, overlap, nor one with a stored byte.
bool IsFreeOfOverlaps(const RecordBatch& Batch, MemImage* pImage) {
  uint64_t NextStored = 0;  // no stored byte lies between the record before and here
  for (uint32_t i = 0; i < Batch.NumRecords; ++i) {
    const BatchRecord& Record = Batch.paRecord[i];
    if (i + 1 < Batch.NumRecords && LastOf(Record) >= Batch.paRecord[i + 1].Addr) {
      return false;
    }
    if (LastOf(Record) >= NextStored) {
      NextStored = MEMIMG_NextStored(pImage, Record.Addr);
    }
    if (LastOf(Record) >= NextStored) {
      return false;
    }
  }
  return true;
}

}  // namespace

bool BATCH_IsInOrder(RecordBatch* pBatch, MemImage* pImage, uint64_t Addr, uint32_t NumBytes) {
  pBatch->NumInSequence = Addr == pBatch->NextAddr ? pBatch->NumInSequence + 1 : 0;
  pBatch->NextAddr = Addr + NumBytes;
  return pBatch->NumInSequence >= MIN_SEQUENCE || (pBatch->NumRecords == 0 && MEMIMG_IsBehindAll(pImage, Addr));
}

bool BATCH_Add(RecordBatch* pBatch, uint64_t Addr, uint32_t NumBytes, const uint8_t* pData, int32_t NumLineEnds) {
  if (!Reserve(pBatch, NumBytes)) {
    return false;
  }
  pBatch->paRecord[pBatch->NumRecords] = {Addr, pBatch->NumBytes, NumBytes, NumLineEnds};
  std::memcpy(pBatch->pData + pBatch->NumBytes, pData, NumBytes);
  ++pBatch->NumRecords;
  pBatch->NumBytes += NumBytes;
  return true;
}

int BATCH_Store(RecordBatch* pBatch, MemImage* pImage, int32_t* pNumLineEnds) {
  if (pBatch->NumRecords >= MIN_SORTED_RECORDS) {
    SortByAddress(pBatch);
    if (!IsFreeOfOverlaps(*pBatch, pImage)) {
      SortAsInFile(pBatch);  // which record is the first to overlap depends on it
    }
  }
  int Status = 0;
  for (uint32_t i = 0; i < pBatch->NumRecords && Status == 0; ++i) {
    const BatchRecord& Record = pBatch->paRecord[i];
    PrefetchData(*pBatch, i + PREFETCH_DISTANCE);
    Status = READER_Store(pImage, Record.Addr, Record.NumBytes, pBatch->pData + Record.Pos);
    *pNumLineEnds = Record.NumLineEnds;
  }
  pBatch->NumRecords = 0;
  pBatch->NumBytes = 0;
  return Status;
}

void BATCH_Free(RecordBatch* pBatch) {
  SYS_Free(pBatch->paRecord);
  SYS_Free(pBatch->pData);
  *pBatch = {};
}
