/// What a text reader notes about a file while it reads it, for those who explain the file to a user.
#pragma once

#include <cstdint>

/// The offset of what a file does not have.
constexpr uint64_t READ_NOWHERE = UINT64_MAX;

/// Places in the file, as offsets from its start; those of records are the places of their first characters.
struct ReadNotes {
  uint64_t Error = READ_NOWHERE;            ///< What is wrong, where the error is one of the text.
  uint64_t LastRecord = READ_NOWHERE;       ///< The latest record that was begun.
  uint64_t EndRecord = READ_NOWHERE;        ///< The first end record: type 01; S7, S8 or S9.
  uint64_t DataAfterEnd = READ_NOWHERE;     ///< The first record with data after that.
  uint64_t EndMark = READ_NOWHERE;          ///< The NUL or 0x1A that ends the data although bytes follow it.
  uint64_t StartRecord = READ_NOWHERE;      ///< The first start address: type 03 or 05; S7, S8 or S9 other than 0.
  uint64_t DataBeyond32Bit = READ_NOWHERE;  ///< The first record with data beyond 0xFFFFFFFF.
  uint32_t StartAddr = 0;                   ///< What StartRecord says, as a linear address.
};
