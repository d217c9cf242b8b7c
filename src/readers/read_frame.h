/// What all readers share: their results, and how a read begins and ends.
#pragma once

#include <cstdint>

#include "memimage/mem_image.h"
#include "readers/read_notes.h"
#include "util/report.h"

/// Results of a read; 0 means that the complete file was read. After a failure, the image may hold part of the data.
constexpr int READER_ERR_OPEN = -1;        ///< The file could not be opened or read. Binary: or no memory.
constexpr int READER_ERR_NO_MEMORY = -3;   ///< Text formats: no memory for the window or for the data.
constexpr int READER_ERR_NOT_FORMAT = -4;  ///< Text formats: the file begins with the wrong byte.
constexpr int READER_ERR_RECORD = -5;      ///< A record is malformed or overlaps data already stored.

/// Begins a read: locks the image, keeps Sink in *pModuleSink (so each reader serves one read at a time) and opens the
/// file. Returns its handle; or SYS_NO_FILE, and READER_FailOpen then says why. READER_End ends the read in both cases.
[[nodiscard]] int64_t READER_Begin(MemImage* pImage, const char* pPath, const ReportSink& Sink,
                                   ReportSink* pModuleSink);

/// Ends a read: closes the file if it is open, clears NumChanges of the image and unlocks it.
void READER_End(MemImage* pImage, int64_t hFile);

/// Notes and reports why READER_Begin could not open the file. Buffer: for the text, which is cut to fit.
/// Returns READER_ERR_OPEN.
[[nodiscard]] int READER_FailOpen(const char* pPath, const ReportSink& Sink, const ErrorTextBuffer& Buffer,
                                  ReadNotes* pNotes);

/// Notes an error. For READ_ERROR_SYSTEM, it also notes the number of the system's last error.
void READER_NoteError(ReadNotes* pNotes, ReadErrorKind Error);

/// Stores bytes as MEMIMG_WriteData does, but returns MEMIMG_ERR_NO_MEMORY instead of 0 if the image has lost bytes.
[[nodiscard]] int READER_Store(MemImage* pImage, uint64_t Addr, uint32_t NumBytes, const uint8_t* pData);
