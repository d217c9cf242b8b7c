/// Reads Intel HEX files.
#pragma once

#include <cstdint>

#include "memimage/mem_image.h"
#include "readers/text_reader.h"
#include "util/report.h"

/// Stores the data records of an Intel HEX file in the image; extended segment (02) and extended linear (04, 0xFF)
/// address records move the addresses of those that follow. All other types are checked and have no effect.
/// Returns 0, or a READER_ERR_ value with one error reported.
/// pNotes, fresh or null, receives what there is to note.
[[nodiscard]] int HEX_ReadEx(MemImage* pImage, const char* pPath, ReportFn pfReport, void* pReportContext,
                             ReadNotes* pNotes = nullptr);

/// HEX_ReadEx with the report going to pErrText, a buffer of ErrTextSize characters.
[[nodiscard]] int HEX_Read(MemImage* pImage, const char* pPath, char* pErrText, uint32_t ErrTextSize);

/// Decodes the two digits at Pos, steps over those that are valid and adds the byte to Checksum. With an error pending
/// nothing is read and the result is 0. A character that is not a digit becomes the pending error.
uint8_t HEX_ReadByte(TextReadState* pState);
