/// Reads raw binary files: every byte of the file is data.
#pragma once

#include <cstdint>

#include "memimage/mem_image.h"
#include "readers/read_notes.h"
#include "util/report.h"

/// Stores the bytes of the file in an empty image, from BaseAddr on.
/// Returns 0; or READER_ERR_OPEN, with one error reported, if the file cannot be opened or read or memory is exhausted.
/// pNotes: newly made, or null; receives the error.
[[nodiscard]] int BIN_ReadEx(MemImage* pImage, const char* pPath, uint64_t BaseAddr, ReportFn pfReport,
                             void* pReportContext, ReadNotes* pNotes = nullptr);

/// As BIN_ReadEx, but reports to pErrText, a buffer of ErrTextSize characters.
[[nodiscard]] int BIN_Read(MemImage* pImage, const char* pPath, char* pErrText, uint32_t ErrTextSize,
                           uint64_t BaseAddr);
