/// The sparse memory image: a reader fills it from a file, and the writer reads it back in ascending order.
///
/// An image is an address-ordered chain of contiguous runs (areas) that never overlap or touch: data written next to
/// stored data is joined to it, and only pending bytes ever replace stored bytes. Addresses have 64 bits.
#pragma once

#include <cstdint>

#include "memimage/area_index.h"
#include "memimage/data_area.h"
#include "sys/mutex_table.h"

/// A single-byte write. Reads see it at once; MEMIMG_FlushByteCache commits it.
struct PendingByte {
  uint64_t Addr;
  uint8_t Value;
};

/// The image. Its fields are private to its operations, but others may read NumAreas, NumChanges and HasLostBytes. A
/// reader sets NumChanges to 0 at its end; a writer that fails restores it.
struct MemImage {
  DataArea* pFirstArea;      ///< Null when the image is empty.
  DataArea* pLastArea;       ///< Shortcut for appending; null if it must be looked up.
  uint32_t NumAreas;         ///< Length of the chain.
  uint32_t NumChanges;       ///< Write and queue calls since the last load or flush; a new image counts as changed.
  uint64_t NumPending;       ///< Entries of paPending.
  uint64_t NumPendingAlloc;  ///< Entries paPending has room for.
  PendingByte* paPending;    ///< Pending bytes, oldest first; null when there are none.
  MutexSlot* hLock;          ///< Null if none could be created; the next MEMIMG_Lock then tries again.
  int64_t CursorIndex;       ///< Position of pCursorArea in the chain; -1: the cursor is invalid.
  DataArea* pCursorArea;     ///< Where the last run search stopped.

  AreaIndex Index;        ///< All areas; empty until a write needs it.
  uint32_t HasLostBytes;  ///< 1 once a successful write has lost contents because its area had no storage; stays 1.
};

/// Results of MEMIMG_WriteData.
constexpr int MEMIMG_ERR_OVERLAP = -1;
constexpr int MEMIMG_ERR_NO_MEMORY = -2;

/// Results of MEMIMG_Lock.
constexpr int MEMIMG_ERR_TIMEOUT = -1;
constexpr int MEMIMG_ERR_NO_LOCK = -2;

/// Returns a new empty image, owned by the caller until MEMIMG_Free; null if memory is exhausted.
[[nodiscard]] MemImage* MEMIMG_Create();

/// Releases the image, its areas, its pending bytes and its lock. Null is ignored.
void MEMIMG_Free(MemImage* pImage);

/// Takes the recursive lock of the image. Users hold it around MEMIMG_WriteData and MEMIMG_ReadData.
/// Returns 0; MEMIMG_ERR_TIMEOUT if another thread held it for 10000 ms; MEMIMG_ERR_NO_LOCK if pImage is null or no
/// lock can be created.
int MEMIMG_Lock(MemImage* pImage);

/// Releases the lock once. Returns 0, or 1 if this thread does not hold it.
int MEMIMG_Unlock(MemImage* pImage);

/// Stores NumBytes bytes at Addr and joins them to the areas they touch. Stored bytes are never replaced.
/// pData: NumBytes bytes; or null, to store copies of FillByte (0 to 255) or, if that is negative, only to mark the
/// range as occupied. A write of 0 bytes stores nothing and succeeds.
/// Returns 0; MEMIMG_ERR_OVERLAP if the range overlaps an area or runs past the top of the address space;
/// MEMIMG_ERR_NO_MEMORY if memory is exhausted (even for an overlapping write, if it needs the index first) or an area
/// would exceed MEMIMG_MAX_AREA_BYTES. A failure leaves areas and bytes as before.
/// If there is no memory for the buffer of a new area of more than MEMIMG_MIN_BUFFER_BYTES bytes, the write succeeds,
/// but the area has no storage and HasLostBytes is set. The area, and anything added to it later, reads as the fill
/// value.
/// When a range without contents or an area without storage joins an area with storage, its bytes become 0xFF.
/// Cost: extending the last area at its end is O(1) per byte, amortised. A new area after all others is O(1), but
/// O(log areas) once there is an index. Any other write is O(log areas); the first of them in a long chain also builds
/// the index, O(areas). All joins together copy each byte O(log areas) times.
[[nodiscard]] int MEMIMG_WriteData(MemImage* pImage, uint64_t Addr, uint64_t NumBytes, const uint8_t* pData,
                                   int32_t FillByte);

/// Finds the first stored run that a scan from Addr up to EndAddr (inclusive) meets.
/// Returns the length of its part in that range, and the first address of that part in *pFoundAddr. If there is none,
/// returns 0; *pFoundAddr is then the start of the next run above EndAddr or, without one, unchanged. Scans at rising
/// addresses visit each area once in all.
int64_t MEMIMG_FindRun(MemImage* pImage, uint64_t Addr, uint64_t EndAddr, uint64_t* pFoundAddr);

/// Reads the first span of stored bytes between StartAddr and EndAddr (inclusive).
/// MaxGap: holes of up to this many addresses are bridged; 0: the span is a single run.
/// FillByte: its low 8 bits stand for every byte of the span that holds no data.
/// pData: receives the span's bytes; pValid: receives 1 for each address that holds data, else 0; each has room for
/// MaxNumBytes or is null.
/// MaxNumBytes: the longest span; at least 2 to the power AlignEndBits.
/// AlignStartBits, AlignEndBits: unless 0, the start moves down to a multiple of 2 to this power, and the end up to
/// just before one; only the low five bits count.
/// Returns the number of bytes, and the first address in *pFoundAddr (may be null); 0, with nothing written, if no
/// stored byte lies in the range. Reads see pending bytes. Reading front to back with MaxGap 0 walks the chain once in
/// all.
int64_t MEMIMG_ReadData(MemImage* pImage, uint64_t StartAddr, uint64_t EndAddr, uint64_t MaxGap, uint32_t FillByte,
                        uint8_t* pData, uint8_t* pValid, uint64_t* pFoundAddr, int64_t MaxNumBytes,
                        uint32_t AlignStartBits, uint32_t AlignEndBits);

/// Commits the pending bytes, oldest first, replacing stored bytes or adding new ones, and clears NumChanges. Takes the
/// lock. Returns 0, or 1 if any byte could not be written.
int MEMIMG_FlushByteCache(MemImage* pImage);

/// Queues a single-byte write. Takes the lock. If memory is exhausted, the byte is dropped.
/// Returns the number of pending bytes before the call; 0 for a null image.
uint64_t MEMIMG_QueueByte(MemImage* pImage, uint64_t Addr, uint8_t Value);
