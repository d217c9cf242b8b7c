/// Reads Motorola S-record files.
#pragma once

#include <cstdint>

#include "memimage/mem_image.h"
#include "readers/read_notes.h"
#include "util/report.h"

/// Stores the S1, S2 and S3 records of the file in the image. Records of other types are only checked.
/// Returns 0, or a READER_ERR_ value with one error reported.
/// pObserver: with new notes, or null; watches the read.
[[nodiscard]] int MOT_ReadEx(MemImage* pImage, const char* pPath, ReportFn pfReport, void* pReportContext,
                             ReadObserver* pObserver = nullptr);

/// As MOT_ReadEx, but reports to pErrText, a buffer of ErrTextSize characters.
[[nodiscard]] int MOT_Read(MemImage* pImage, const char* pPath, char* pErrText, uint32_t ErrTextSize);
