/// One run of the memory image: its record and its bytes. How runs are chained is the image's business.
#pragma once

#include <array>
#include <cstdint>

/// The smallest buffer of an area.
constexpr uint64_t MEMIMG_MIN_BUFFER_BYTES = 128;

/// A contiguous run of bytes, owned by its image: one heap record with its first buffer.
///
/// Contents that outgrow the first buffer move to one of their own, which can have room on both sides of them, so that
/// a run grows upwards and downwards at a small cost:
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
  uint64_t NumBytesFront;  ///< Bytes allocated before pData; 0 in the first buffer.
  std::array<uint8_t, MEMIMG_MIN_BUFFER_BYTES> aFirstBuffer;  ///< The buffer until the contents outgrow it.
};

/// The longest area.
constexpr uint64_t MEMIMG_MAX_AREA_BYTES = 0x7FFFFFFF;

/// The bytes of one write: NumBytes copies of FillByte if pData is null. Without contents (pData null, FillByte
/// negative) the write only marks the range as occupied.
struct WriteRange {
  uint64_t Addr;
  uint64_t NumBytes;
  const uint8_t* pData;
  int32_t FillByte;
};

/// Address of the last byte. An area may end at the top of the address space, so the address after it may not exist.
inline uint64_t AREA_LastOf(const DataArea& Area) {
  return Area.Addr + (Area.NumBytes - 1);
}

/// Whether the contents are kept. An area without storage only marks its range as occupied.
inline bool AREA_HasStorage(const DataArea& Area) {
  return Area.pData != nullptr;
}

/// Whether the range has contents.
inline bool RANGE_HasContents(const WriteRange& Range) {
  return Range.pData != nullptr || Range.FillByte >= 0;
}

/// Returns a new area with the range's bytes, owned by the caller until AREA_Free; null when there is no memory for its
/// record. It has no storage if the range has no contents or there is no memory for the buffer.
[[nodiscard]] DataArea* AREA_New(const WriteRange& Range);

/// Releases the area with its buffer.
void AREA_Free(DataArea* pArea);

/// Adds the range after the contents. In an area with storage, the bytes of a range without contents become 0xFF.
/// Amortised over a growing area, this costs O(1) a byte. Returns false, with the bytes as before, when memory is
/// exhausted.
[[nodiscard]] bool AREA_AddAtEnd(DataArea* pArea, const WriteRange& Range);

/// The same before the contents: the area begins at the range's address afterwards.
[[nodiscard]] bool AREA_AddInFront(DataArea* pArea, const WriteRange& Range);

/// Joins an area, the range that fills the gap after it and the next area into *pArea. *pNext may lose its contents;
/// the caller takes it out of the chain and frees it. The joined area has storage if one of the two has. The caller has
/// checked that the sum is a legal length. The shorter contents are copied to the longer ones, which move only when
/// their buffer grows: amortised over all joins, that is O(log areas) a byte, whatever the order of writes. Returns
/// false, with the bytes of both as before, when memory is exhausted.
[[nodiscard]] bool AREA_Join(DataArea* pArea, const WriteRange& Gap, DataArea* pNext);
