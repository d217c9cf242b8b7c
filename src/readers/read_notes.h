/// What a reader tells about a file in addition to its result, for code that explains the file to a user.
#pragma once

#include <cstdint>

/// No place in the file.
constexpr uint64_t READ_NOWHERE = UINT64_MAX;

/// What a record is for, whatever its format.
enum NotedKind {
  NOTED_HEADER,      ///< S0.
  NOTED_DATA,        ///< Type 00; S1 to S3.
  NOTED_COUNT,       ///< S5, S6.
  NOTED_SEGMENT,     ///< Type 02.
  NOTED_UPPER_ADDR,  ///< Type 04 or FF.
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

/// Why a read fails, whatever the format.
enum ReadErrorKind {
  READ_NO_ERROR,
  READ_ERROR_SYSTEM,  ///< The file cannot be opened or read.
  READ_ERROR_MEMORY,  ///< Memory is exhausted, or there is more data than an image can hold.
  // All that follow are in the file's text.
  READ_ERROR_NOT_FORMAT,  ///< The file begins with the wrong character.
  READ_ERROR_MARK,        ///< A record does not begin with ':', or with 'S' and a digit.
  READ_ERROR_DIGIT,       ///< A record has a character that is not a hexadecimal digit.
  READ_ERROR_CHECKSUM,
  READ_ERROR_TOO_SHORT,  ///< The byte count leaves no room for what the record's type needs.
  READ_ERROR_OVERLAP,    ///< An earlier record has data for an address of this one.
  READ_ERROR_LINE_END,   ///< Something other than a line end follows a record of Intel HEX.
};

/// What a read leaves behind. Places are offsets from the file's start.
struct ReadNotes {
  ReadErrorKind Error = READ_NO_ERROR;
  int SystemError = 0;                  ///< READ_ERROR_SYSTEM: the system error number.
  uint8_t RightChecksum = 0;            ///< READ_ERROR_CHECKSUM: what the checksum should have been.
  uint64_t ErrorOffset = READ_NOWHERE;  ///< Of the error, if it is in the file's text.
  uint64_t LastRecord = READ_NOWHERE;   ///< Of the last record begun.
  uint64_t EndMark = READ_NOWHERE;      ///< Of the NUL or 0x1A that ends the data, if bytes follow it.
};

/// Watches the read of a text file: a callback for each record, and the notes that the read leaves behind.
struct ReadObserver {
  void (*pfRecord)(void* pContext, const NotedRecord& Record) = nullptr;  ///< Null: no record is passed.
  void* pContext = nullptr;
  ReadNotes Notes{};
};
