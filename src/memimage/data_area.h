/// One run of the memory image and its buffer. Nothing here knows of the chain the run stands in, or where its record
/// comes from; but every record stands in a slot with room for a first buffer, so that a short run needs no other.
#pragma once

#include <cstdint>

/// A contiguous run of bytes, owned by its image.
///
/// The buffer has room on both sides of the contents, so that a run grows upwards and downwards at the same small cost:
///
///     [ NumBytesFront | NumBytes | room at the end ]
///                     ^ pData
///                     |<----- NumBytesAlloc ------>|
struct DataArea {
  DataArea* pNext;         ///< Next area (higher addresses), null for the last.
  uint8_t* pData;          ///< The contents, NumBytes bytes; null for an area without storage.
  uint64_t Addr;           ///< Address of the first byte.
  uint64_t NumBytes;       ///< Length, 1 to MEMIMG_MAX_AREA_BYTES.
  uint64_t NumBytesAlloc;  ///< Bytes allocated from pData on, at least NumBytes; 0 without storage.
  uint64_t NumBytesFront;  ///< Bytes allocated in front of pData.
};

/// The smallest buffer of an area.
constexpr uint64_t MEMIMG_MIN_BUFFER_BYTES = 128;

/// The slot of an area: its record and, right behind it, its first buffer.
constexpr uint32_t AREA_SLOT_BYTES = sizeof(DataArea) + MEMIMG_MIN_BUFFER_BYTES;

/// The longest area.
constexpr uint64_t MEMIMG_MAX_AREA_BYTES = 0x7FFFFFFF;

/// What stands for bytes that nobody gave contents for, where they need storage: erased flash.
constexpr uint8_t MEMIMG_ERASED_BYTE = 0xFF;

/// The bytes of one write: NumBytes copies of FillByte if pData is null. Without contents (pData null, FillByte
/// negative) the write only says that the range is occupied.
struct WriteRange {
  uint64_t Addr;
  uint64_t NumBytes;
  const uint8_t* pData;
  int32_t FillByte;
};

/// Address of the last byte. An area may end at the top of the address space, so the address behind it may not exist.
inline uint64_t AREA_LastOf(const DataArea& Area) {
  return Area.Addr + (Area.NumBytes - 1);
}

/// Whether the contents are kept. An area without storage only says that its range is occupied.
inline bool AREA_HasStorage(const DataArea& Area) {
  return Area.pData != nullptr;
}

/// Whether the write gives contents.
inline bool AREA_HasContents(const WriteRange& Range) {
  return Range.pData != nullptr || Range.FillByte >= 0;
}

/// Makes a record the area of the range, in no chain, with a buffer that holds the range's contents; without storage if
/// the range has no contents or the buffer cannot be had.
void AREA_Init(DataArea* pArea, const WriteRange& Range);

/// Releases the area's buffer, if it has one; it has no storage then.
void AREA_FreeBuffer(DataArea* pArea);

/// Makes room for NumBytes more bytes behind the contents of an area with storage; O(1) amortised over a growing area.
/// Returns false, with nothing changed, when that cannot be had.
[[nodiscard]] bool AREA_ReserveAtEnd(DataArea* pArea, uint64_t NumBytes);

/// The same in front of the contents.
[[nodiscard]] bool AREA_ReserveInFront(DataArea* pArea, uint64_t NumBytes);

/// Puts the range's bytes, or MEMIMG_ERASED_BYTE for a range without contents, at pDest.
void AREA_PutBytes(uint8_t* pDest, const WriteRange& Range);

/// Adds the range behind the contents; room for it has been reserved if the area has storage.
void AREA_PutAtEnd(DataArea* pArea, const WriteRange& Range);

/// Adds the range in front of the contents; room for it has been reserved if the area has storage.
void AREA_PutInFront(DataArea* pArea, const WriteRange& Range);

/// Joins an area, the range that fills the gap behind it (0 bytes: they touch) and the area behind that into *pArea and
/// leaves *pNext without a buffer. The shorter of two buffers is copied into the longer one, so that joining costs
/// O(log areas) a byte in all, whatever the order of writes. If one of the two has storage, the joined area has.
/// Returns false, with nothing changed, when memory gives out. The caller has checked that the sum is a legal length.
[[nodiscard]] bool AREA_Join(DataArea* pArea, const WriteRange& Gap, DataArea* pNext);
