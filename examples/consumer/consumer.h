/// The reference consumer of conditioned files: reads one block or delivery of such a file and hands out the data in
/// it. Every block is understood by itself. Nothing is remembered between calls, so blocks may come in any order, and
/// the only memory used is about two hundred bytes of stack. A drive calls CONSUMER_ReadUnit with whatever it is
/// handed; a program that has the file itself calls CONSUMER_ReadBlock with each block, and learns of anything that
/// does not belong.
///
/// Needs no library. With CONSUMER_NO_TEXTS defined when consumer.c is compiled, the texts of errors are left out.
#pragma once

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/// The most data bytes that one record holds.
enum { CONSUMER_MAX_DATA_BYTES = 32 };

/// What was found. A negative value says which rule the text breaks.
typedef enum {
  CONSUMER_MORE = 0,             ///< every line is right, and none of them is the end record
  CONSUMER_END = 1,              ///< every line is right, and the last one is the end record
  CONSUMER_ERR_LINE_START = -1,  ///< a line begins with neither the S of a record nor the CR LF of the fill
  CONSUMER_ERR_TYPE = -2,        ///< the record type is not 1, 2, 3 or 9
  CONSUMER_ERR_DIGIT = -3,       ///< not an upper-case hexadecimal digit; also if a line is too short for its count
  CONSUMER_ERR_COUNT = -4,       ///< the count means less than 1 data byte or more than CONSUMER_MAX_DATA_BYTES
  CONSUMER_ERR_CHECKSUM = -5,    ///< the checksum is wrong
  CONSUMER_ERR_LINE_END = -6,    ///< no CR LF at the end of a line; also if a line is too long for its count
  CONSUMER_ERR_CUT_OFF = -7,     ///< the block or unit ends within a line
  CONSUMER_ERR_ADDRESS = -8,     ///< the data runs past the last address of its record type
  CONSUMER_ERR_END_RECORD = -9,  ///< a record of type 9 is not S9030000FC
  CONSUMER_ERR_AFTER_END = -10,  ///< all is well up to and including the end record, but text follows it
  CONSUMER_ERR_REFUSED = -11,    ///< the sink refused a record
} ConsumerStatus;

/// Where and why reading of a block stopped.
typedef struct {
  size_t Offset;      ///< offset of the first offending character, or of the block's end if that comes too early
  const char* pText;  ///< constant text that says what is wrong; null if nothing is, or with CONSUMER_NO_TEXTS
} ConsumerError;

/// Receives the data of one record: NumBytes bytes, 1 to CONSUMER_MAX_DATA_BYTES, for Address and the addresses after
/// it, none of them beyond 0xFFFFFFFF. pData is valid only during the call. pContext is the one given with the sink.
/// Returns 0 to continue. Any other value stops reading, with CONSUMER_ERR_REFUSED.
///
/// The same record can come again: hosts write blocks twice. So a sink that programs flash first compares, writes
/// nothing where the flash holds the bytes already, and erases the flash once, before the first record. If the flash
/// then holds other bytes, refuse: records of two files are being mixed.
typedef int (*ConsumerSink)(void* pContext, uint32_t Address, const uint8_t* pData, size_t NumBytes);

/// Reads one block and hands the data of its S1, S2 and S3 records to the sink, in the order of the text.
/// A record reaches the sink after its complete line has been checked, but before the lines after it are.
/// pBlock:   the block's text, NumChars characters, not zero-terminated. Any bytes are safe to pass. The last block
///           ends where the file ends.
/// pfSink:   receives the data, with pContext; null only checks the block.
/// pError:   receives the offset and text of the violation; may be null.
/// Returns CONSUMER_MORE or CONSUMER_END, or a negative status: reading stopped at the offending character.
ConsumerStatus CONSUMER_ReadBlock(const char* pBlock, size_t NumChars, ConsumerSink pfSink, void* pContext,
                                  ConsumerError* pError);

/// Reads what a drive is handed at a time: one complete block or several, and after the end record whatever the last
/// sector or cluster held before. All lines up to the end record are checked before the first record reaches the sink,
/// so nothing of a damaged unit is used, nor of one that holds part of a line, a directory or another kind of file. The
/// arguments are the same as those of CONSUMER_ReadBlock. Returns CONSUMER_END if the end record was found, whatever
/// follows it; CONSUMER_MORE if all lines are right and there is none; or a negative status. Of these, only
/// CONSUMER_ERR_REFUSED can come after records that the sink has received.
ConsumerStatus CONSUMER_ReadUnit(const char* pUnit, size_t NumChars, ConsumerSink pfSink, void* pContext,
                                 ConsumerError* pError);

#ifdef __cplusplus
}
#endif
