/// Reads Intel HEX files.
#pragma once

#include <cstdint>

#include "memimage/mem_image.h"
#include "readers/text_reader.h"
#include "util/report.h"

/// Stores the data records of an Intel HEX file in the image. Extended segment (02) and extended linear (04, 0xFF)
/// address records shift the addresses that follow them. Records of other types are only checked.
/// Returns 0, or a READER_ERR_ value with one error reported.
/// pObserver: with new notes, or null; watches the read.
[[nodiscard]] int HEX_ReadEx(MemImage* pImage, const char* pPath, ReportFn pfReport, void* pReportContext,
                             ReadObserver* pObserver = nullptr);

/// As HEX_ReadEx, but reports to pErrText, a buffer of ErrTextSize characters.
[[nodiscard]] int HEX_Read(MemImage* pImage, const char* pPath, char* pErrText, uint32_t ErrTextSize);

/// Decodes the two digits at Pos, steps over the valid ones and adds the byte to Checksum. While an error is pending,
/// reads nothing and returns 0. A character that is not a digit becomes the pending error.
uint8_t HEX_ReadByte(TextReadState* pState);
