/// Writes a memory image as a conditioned S-record file: a consumer can take it in blocks of a fixed size and
/// understand each block by itself.
#pragma once

#include <cstdint>

#include "memimage/mem_image.h"
#include "util/report.h"

/// Creates or replaces the file at pPath, writes all stored bytes of the image to it in ascending order, at most 32
/// bytes per record, and ends it with the S9 end record.
/// BlockAlign: block size in characters, even and at least 34. From 80 on, no line crosses a block boundary. A record
/// that would cross is cut after the last line group that fits, if any; CR LF pairs fill the block; the remainder
/// starts the next.
/// LineAlign: bytes per line group, even; 0: a record is never cut.
/// pImage: null fails. Its lock is held throughout, and pending bytes are committed first.
/// Addresses are written modulo 2 to the power 32: an S-record has no room for more.
/// Returns 0 with NumChanges cleared; or -1 with NumChanges as before, if an alignment is not legal (the file is then
/// empty), the file cannot be created or written (a text is reported), or a byte is stored at the last 64-bit address
/// (the file then has no end record).
[[nodiscard]] int SREC_WriteConditionedEx(MemImage* pImage, const char* pPath, ReportFn pfReport, void* pReportContext,
                                          uint32_t LineAlign, uint32_t BlockAlign);

/// As SREC_WriteConditionedEx, but reports to pErrText, a buffer of ErrTextSize characters.
[[nodiscard]] int SREC_WriteConditioned(MemImage* pImage, const char* pPath, char* pErrText, uint32_t ErrTextSize,
                                        uint32_t LineAlign, uint32_t BlockAlign);
