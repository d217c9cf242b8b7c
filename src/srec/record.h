/// Single Motorola S-records as text.
#pragma once

#include <cstdint>

#include "outstream/out_stream.h"

/// Record types this program writes: data with an address of 2, 3 and 4 bytes, and the end record.
constexpr uint32_t SREC_TYPE_DATA16 = 1;
constexpr uint32_t SREC_TYPE_DATA24 = 2;
constexpr uint32_t SREC_TYPE_DATA32 = 3;
constexpr uint32_t SREC_TYPE_END16 = 9;

/// Appends one record to the stream as a line of upper-case digits that ends in CR LF.
/// Type: one of the above; it decides whether the low 2, 3 or 4 bytes of Address enter the record.
/// NumBytes: data bytes at pData; 0 or less means none. The count byte limits them to 252, 251 or 250, by type.
/// Returns the length of the line in characters; or 0, with nothing written, if there is no such record. A failed write
/// shows only in the message of the stream.
int32_t SREC_EncodeRecord(OutStream* pStream, uint32_t Type, uint32_t Address, int32_t NumBytes, const uint8_t* pData);
