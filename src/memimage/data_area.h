/// One run of the memory image: its record and its bytes. The image chains the runs.
#pragma once

#include <array>
#include <cstdint>

/// The smallest buffer of an area.
constexpr uint64_t MEMIMG_MIN_BUFFER_BYTES = 128;

/// A contiguous run of bytes, owned by its image: one heap record with its first buffer.
///
/// Contents that outgrow the first buffer move to a heap block, which can have room on both sides of them. So a run
/// grows cheaply in both directions:
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
  std::array<uint8_t, MEMIMG_MIN_BUFFER_BYTES> aFirstBuffer;  ///< Holds the contents until they outgrow it.
};

/// The longest area.
constexpr uint64_t MEMIMG_MAX_AREA_BYTES = 0x7FFFFFFF;

/// The bytes of one write: those at pData or, if it is null, NumBytes copies of FillByte. If pData is null and FillByte
/// negative, the range has no contents: the write only marks it as occupied.
struct WriteRange {
  uint64_t Addr;
  uint64_t NumBytes;
  const uint8_t* pData;
  int32_t FillByte;
};

/// Returns the address of the last byte. The address after it may not exist: an area may end at the top of the address
/// space.
inline uint64_t AREA_LastOf(const DataArea& Area) {
  return Area.Addr + (Area.NumBytes - 1);
}

/// Whether the area keeps its contents. Without storage it only marks its range as occupied.
inline bool AREA_HasStorage(const DataArea& Area) {
  return Area.pData != nullptr;
}

/// Whether the range has contents.
inline bool RANGE_HasContents(const WriteRange& Range) {
  return Range.pData != nullptr || Range.FillByte >= 0;
}

/// Returns a new area with the range's bytes, owned by the caller until AREA_Free; null if there is no memory for its
/// record. It has no storage if the range has no contents or there is no memory for the buffer.
[[nodiscard]] DataArea* AREA_New(const WriteRange& Range);

/// Releases the area and its buffer.
void AREA_Free(DataArea* pArea);

/// Adds the range after the contents. In an area with storage, a range without contents becomes bytes of 0xFF. The cost
/// is O(1) per byte, amortised over a growing area. Returns false, with the bytes as before, if memory is exhausted.
[[nodiscard]] bool AREA_AddAtEnd(DataArea* pArea, const WriteRange& Range);

/// As AREA_AddAtEnd, but before the contents: the area then begins at the address of the range.
[[nodiscard]] bool AREA_AddInFront(DataArea* pArea, const WriteRange& Range);

/// Joins an area, the range that fills the gap after it, and the next area into *pArea. Together they must have a legal
/// length. The caller then takes *pNext, which may have lost its contents, out of the chain and frees it.
/// The joined area has storage if either had. The shorter contents are copied next to the longer ones (if both are in
/// first buffers, those of *pNext), so all joins together copy each byte O(log areas) times, whatever the order of
/// writes. Returns false, with the bytes of both as before, if memory is exhausted.
[[nodiscard]] bool AREA_Join(DataArea* pArea, const WriteRange& Gap, DataArea* pNext);
