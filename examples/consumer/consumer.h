/// The reference consumer of conditioned files: reads one block of such a file and hands out the data in it.
/// Every block is understood by itself. Nothing is remembered between calls, so blocks may come in any order, and the
/// only memory used is a few hundred bytes of stack.
#pragma once

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/// The most data bytes that one record holds.
enum { CONSUMER_MAX_DATA_BYTES = 32 };

/// What CONSUMER_ReadBlock found. A negative value says which rule the block breaks.
typedef enum {
  CONSUMER_MORE = 0,             ///< every line is right, and none of them is the end record
  CONSUMER_END = 1,              ///< every line is right, and the last one is the end record
  CONSUMER_ERR_LINE_START = -1,  ///< a line begins with neither the S of a record nor the CR LF of the fill
  CONSUMER_ERR_TYPE = -2,        ///< the record type is not 1, 2, 3 or 9
  CONSUMER_ERR_DIGIT = -3,       ///< not an upper-case hexadecimal digit; also if a line is too short for its count
  CONSUMER_ERR_COUNT = -4,       ///< the count means less than 1 data byte or more than CONSUMER_MAX_DATA_BYTES
  CONSUMER_ERR_CHECKSUM = -5,    ///< the checksum is wrong
  CONSUMER_ERR_LINE_END = -6,    ///< no CR LF at the end of a line; also if a line is too long for its count
  CONSUMER_ERR_CUT_OFF = -7,     ///< the block ends within a line
  CONSUMER_ERR_ADDRESS = -8,     ///< the data runs past the last address of its record type
  CONSUMER_ERR_END_RECORD = -9,  ///< a record of type 9 is not exactly S9030000FC
  CONSUMER_ERR_AFTER_END = -10,  ///< all is well up to and including the end record, but text follows it
  CONSUMER_ERR_REFUSED = -11,    ///< the sink refused a record
} ConsumerStatus;

/// Where and why reading of a block stopped.
typedef struct {
  size_t Offset;      ///< offset of the first offending character, or of the block's end if that comes too early
  const char* pText;  ///< constant text that says what is wrong; null if nothing is
} ConsumerError;

/// Receives the data of one record: NumBytes bytes, 1 to CONSUMER_MAX_DATA_BYTES, for Address and the addresses after
/// it, none of them beyond 0xFFFFFFFF. pData is valid only during the call.
/// pContext is the one given to CONSUMER_ReadBlock.
/// Returns 0 to continue. Any other value stops reading the block, with CONSUMER_ERR_REFUSED.
typedef int (*ConsumerSink)(void* pContext, uint32_t Address, const uint8_t* pData, size_t NumBytes);

/// Reads one block and hands the data of its S1, S2 and S3 records to the sink, in the order of the text.
/// A record reaches the sink after its complete line has been checked, but before the lines after it are. To program
/// nothing from a damaged block, read it twice, the first time without a sink.
/// pBlock:   the block's text, NumChars characters, not zero-terminated. Any bytes are safe to pass. The last block
///           ends where the file ends: a caller that only gets full blocks, with leftovers after the end of the file,
///           may treat CONSUMER_ERR_AFTER_END as CONSUMER_END.
/// pfSink:   receives the data, with pContext; null only checks the block.
/// pError:   receives the offset and text of the violation; may be null.
/// Returns CONSUMER_MORE or CONSUMER_END, or a negative status: reading stopped at the offending character.
ConsumerStatus CONSUMER_ReadBlock(const char* pBlock, size_t NumChars, ConsumerSink pfSink, void* pContext,
                                  ConsumerError* pError);

#ifdef __cplusplus
}
#endif
