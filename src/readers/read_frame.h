/// What all readers share: their results, and the frame around a read.
#pragma once

#include <cstdint>

#include "memimage/mem_image.h"
#include "util/report.h"

/// Results of a read; 0 means that the complete file was read. After a failure, the image may hold part of the data.
constexpr int READER_ERR_OPEN = -1;        ///< The file could not be opened or read. Binary: or no memory.
constexpr int READER_ERR_NO_MEMORY = -3;   ///< Text formats: no memory for the window or for the data.
constexpr int READER_ERR_NOT_FORMAT = -4;  ///< Text formats: the file begins with the wrong byte.
constexpr int READER_ERR_RECORD = -5;      ///< A record is malformed or overlaps data already stored.

/// One read, as the frame sees it.
struct ReadCall {
  MemImage* pImage;
  const char* pPath;
  ReportSink Sink;          ///< Where this read's error goes.
  ReportSink* pModuleSink;  ///< Where the reader keeps Sink, so only one read per format at a time.
  char* pErrorText;         ///< Buffer for the text of an open failure.
  uint32_t ErrorTextSize;
};

/// Reads the open file hFile into the image and reports its own errors. Returns the result of the read.
using ReadBodyFn = int (*)(void* pContext, MemImage* pImage, uint32_t hFile);

/// Locks the image, opens the file, lets the body read it, closes the file, clears NumChanges of the image and unlocks
/// it, even after a failure. Returns the result of the body, or READER_ERR_OPEN with the reason reported.
[[nodiscard]] int READER_Run(const ReadCall& Call, ReadBodyFn pfBody, void* pContext);

/// Stores bytes as MEMIMG_WriteData does, but returns MEMIMG_ERR_NO_MEMORY instead of 0 if the image has lost bytes.
[[nodiscard]] int READER_Store(MemImage* pImage, uint64_t Addr, uint32_t NumBytes, const uint8_t* pData);
