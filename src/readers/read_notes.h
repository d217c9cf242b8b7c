/// What a text reader notes about a file as it reads it, for code that explains the file to a user.
#pragma once

#include <cstdint>

/// No place in the file.
constexpr uint64_t READ_NOWHERE = UINT64_MAX;

/// What a record is for, whatever its format.
enum NotedKind {
  NOTED_HEADER,      ///< S0.
  NOTED_DATA,        ///< Type 00; S1 to S3.
  NOTED_COUNT,       ///< S5, S6.
  NOTED_UPPER_ADDR,  ///< Type 02, 04 or FF.
  NOTED_START,       ///< Type 03, 05.
  NOTED_END,         ///< Type 01; S7 to S9, which give the start address, too.
  NOTED_UNKNOWN,
};

/// A record whose text and checksum are right, before it takes effect. Places are offsets from the file's start.
struct NotedRecord {
  NotedKind Kind;
  uint64_t Addr;            ///< Load address of data, start address, or what else the address says, such as a count.
  int32_t NumBytes;         ///< Bytes after the address. Below 0: the address itself lacks this many bytes.
  const uint8_t* pData;     ///< Those bytes, borrowed for the call.
  uint64_t Offset = 0;      ///< Of its first character.
  uint64_t DataOffset = 0;  ///< Of the first digit after the address.
};

/// What a read passes on as it goes, and the notes it leaves.
struct ReadNotes {
  void (*pfRecord)(void* pContext, const NotedRecord& Record) = nullptr;  ///< Receives every record, unless null.
  void* pContext = nullptr;

  uint64_t Error = READ_NOWHERE;       ///< The error, if it is in the file's text.
  uint64_t LastRecord = READ_NOWHERE;  ///< The last record begun.
  uint64_t EndMark = READ_NOWHERE;     ///< The NUL or 0x1A that ends the data, if bytes follow it.
};
