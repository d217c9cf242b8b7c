/// The sparse memory image: what a reader pours a file into and the writer reads back in ascending order.
///
/// An image is an address-ordered chain of contiguous runs (areas) that never overlap and never touch: what is written
/// next to stored data is joined to it, and stored bytes are never replaced. Addresses have 64 bits.
#pragma once

#include <cstdint>

#include "memimage/area_index.h"
#include "memimage/data_area.h"
#include "sys/mutex_table.h"

/// A single-byte write that reads see already and MEMIMG_FlushByteCache commits.
struct PendingByte {
  uint64_t Addr;
  uint8_t Value;
};

/// The image. Its fields are for its own operations. Others may read NumAreas, NumChanges and HasLostBytes; a reader
/// sets NumChanges to 0 at its end, and a writer that fails puts back the value it had.
struct MemImage {
  DataArea* pFirstArea;      ///< Null when the image is empty.
  DataArea* pLastArea;       ///< Shortcut for appending; null when it has to be looked for.
  uint32_t NumAreas;         ///< Length of the chain.
  uint32_t NumChanges;       ///< Write and queue calls since the last load or flush; a new image counts as changed.
  uint64_t NumPending;       ///< Entries of paPending.
  uint64_t NumPendingAlloc;  ///< Entries paPending has room for.
  PendingByte* paPending;    ///< Pending bytes, oldest first; null when there are none.
  MutexSlot* hLock;          ///< Null when no mutex could be had; it is then asked for again on first use.
  int64_t CursorIndex;       ///< Position in the chain of pCursorArea, -1: the cursor is invalid.
  DataArea* pCursorArea;     ///< Where the last run search stopped.

  AreaIndex Index;        ///< All areas or, until a write needs it, none.
  uint32_t HasLostBytes;  ///< 1 once a successful write has lost contents because its area had no storage; stays 1.
};

/// Results of MEMIMG_WriteData.
constexpr int MEMIMG_ERR_OVERLAP = -1;
constexpr int MEMIMG_ERR_NO_MEMORY = -2;

/// Results of MEMIMG_Lock.
constexpr int MEMIMG_ERR_TIMEOUT = -1;
constexpr int MEMIMG_ERR_NO_LOCK = -2;

/// Returns a new empty image, owned by the caller until MEMIMG_Free; null when memory is exhausted.
[[nodiscard]] MemImage* MEMIMG_Create();

/// Releases the image with its areas, pending bytes and lock. Null is ignored.
void MEMIMG_Free(MemImage* pImage);

/// Takes the image's recursive lock, which its users hold around MEMIMG_WriteData and MEMIMG_ReadData.
/// Returns 0; MEMIMG_ERR_TIMEOUT when another thread held it for 10000 ms; MEMIMG_ERR_NO_LOCK without an image or
/// when no lock can be created.
int MEMIMG_Lock(MemImage* pImage);

/// Releases the lock once. Returns 0, or 1 when this thread does not hold it.
int MEMIMG_Unlock(MemImage* pImage);

/// Stores NumBytes bytes at Addr and joins them to the areas they touch. Stored bytes are never replaced.
/// pData: NumBytes bytes, or null: FillByte 0 to 255 is stored instead; a negative one only marks the range as
/// occupied. A write of 0 bytes stores nothing and succeeds.
/// Returns 0; MEMIMG_ERR_OVERLAP when the range meets stored bytes or runs past the top of the address space;
/// MEMIMG_ERR_NO_MEMORY when memory gives out (also for an overlapping write that needs the index first) or an area
/// would exceed MEMIMG_MAX_AREA_BYTES. After a failure areas and bytes are as before.
/// If there is no memory for the buffer of a new area of more than MEMIMG_MIN_BUFFER_BYTES bytes, the write succeeds,
/// but the area has no storage and HasLostBytes is set. The area and what is later added to it read as the fill value.
/// Where a range without contents or an area without storage is joined to an area with storage, its bytes are 0xFF from
/// then on.
/// Cost: extending the last area at its end is O(1) a byte, amortised. A new area after all others is O(1) as long as
/// there is no index, then O(log areas). Any other write is O(log areas), and joins copy O(log areas) times a byte in
/// all; the first of them in a long chain also builds the index, O(areas).
[[nodiscard]] int MEMIMG_WriteData(MemImage* pImage, uint64_t Addr, uint64_t NumBytes, const uint8_t* pData,
                                   int32_t FillByte);

/// Finds the stored run that a scan upward from Addr meets first.
/// Returns its length as far as EndAddr (inclusive) and its first address in *pFoundAddr; 0 when there is none, with
/// *pFoundAddr the start of the next run above EndAddr, or untouched. Scans with rising addresses visit every area
/// once in all.
int64_t MEMIMG_FindRun(MemImage* pImage, uint64_t Addr, uint64_t EndAddr, uint64_t* pFoundAddr);

/// Reads the first span of stored bytes in StartAddr to EndAddr (inclusive).
/// MaxGap: holes of up to this many addresses are bridged; 0: the span is a single run.
/// FillByte: its low 8 bits take the place of every byte of the span that holds no data.
/// pData: receives the span's bytes; pValid: receives 1 for each address that holds data, else 0; each has room for
/// MaxNumBytes or is null.
/// MaxNumBytes: the longest span; at least 2 to the power AlignEndBits.
/// AlignStartBits, AlignEndBits: not 0: the start moves down to a multiple of 2 to this power, the end up to just
/// before one; only the low five bits count. Returns the number of bytes and the first address in *pFoundAddr (may be
/// null); 0 with nothing touched when no stored byte lies in the range. Pending bytes are seen. Reading front to back
/// with MaxGap 0 costs one walk of the chain in all.
int64_t MEMIMG_ReadData(MemImage* pImage, uint64_t StartAddr, uint64_t EndAddr, uint64_t MaxGap, uint32_t FillByte,
                        uint8_t* pData, uint8_t* pValid, uint64_t* pFoundAddr, int64_t MaxNumBytes,
                        uint32_t AlignStartBits, uint32_t AlignEndBits);

/// Commits the pending bytes, oldest first, over stored bytes or as new ones, and clears NumChanges. Takes the lock.
/// Returns 0, or 1 when at least one byte could not be written.
int MEMIMG_FlushByteCache(MemImage* pImage);

/// Queues a single-byte write. Takes the lock. Without memory the byte is dropped.
/// Returns the number of pending bytes before the call; 0 for a null image.
uint64_t MEMIMG_QueueByte(MemImage* pImage, uint64_t Addr, uint8_t Value);
