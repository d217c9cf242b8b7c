/// Writes a memory image as a conditioned S-record file: one whose consumer can take it in blocks of a fixed size and
/// understand each block by itself.
#pragma once

#include <cstdint>

#include "memimage/mem_image.h"
#include "util/report.h"

/// Writes all stored bytes of the image to the file at pPath, which is created or replaced, in ascending order, at most
/// 32 bytes a record, and ends it with the S9 end record.
/// BlockAlign: block size in characters, even and at least 34. For 80 and more no line crosses a block boundary: the
/// record that would is cut if a useful part fits, the block is filled with CR LF pairs, and the rest starts the next.
/// LineAlign: cuts are made at multiples of this many bytes, even; 0: a record is never cut.
/// pImage may be null, which fails. Its lock is held throughout; pending bytes are committed first.
/// Addresses are written modulo 2 to the power 32: an S-record has no room for more.
/// Returns 0 with NumChanges cleared, or -1 with NumChanges as before when the alignments are not legal (the file is
/// then empty), the file cannot be created or written (a text is reported), or a byte is stored at the last address of
/// 64 bits (the file then has no end record).
[[nodiscard]] int SREC_WriteConditionedEx(MemImage* pImage, const char* pPath, ReportFn pfReport, void* pReportContext,
                                          uint32_t LineAlign, uint32_t BlockAlign);

/// The same with the report going to pErrText, a buffer of ErrTextSize characters.
[[nodiscard]] int SREC_WriteConditioned(MemImage* pImage, const char* pPath, char* pErrText, uint32_t ErrTextSize,
                                        uint32_t LineAlign, uint32_t BlockAlign);
