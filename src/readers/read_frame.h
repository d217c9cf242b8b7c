/// What the readers of all formats have in common: their results, and the frame around a read.
#pragma once

#include <cstdint>

#include "memimage/mem_image.h"
#include "util/report.h"

/// Results of a read; 0 means that the complete file was read. After a failure the image may hold part of the data.
constexpr int READER_ERR_OPEN = -1;        ///< The file could not be opened or read; binary: or no memory.
constexpr int READER_ERR_NO_MEMORY = -3;   ///< Text formats: no memory for the window or for the data.
constexpr int READER_ERR_NOT_FORMAT = -4;  ///< Text formats: the file's first byte is not that of the format.
constexpr int READER_ERR_RECORD = -5;      ///< A record is malformed or overlaps data already stored.

/// One read, as the frame sees it.
struct ReadCall {
  MemImage* pImage;
  const char* pPath;
  ReportSink Sink;          ///< Where this read's error goes.
  ReportSink* pModuleSink;  ///< The reader's own place for that: one read a format at a time.
  char* pErrorText;         ///< Where an open failure's text is made.
  uint32_t ErrorTextSize;
};

/// Reads the open file hFile into the image. Returns a result of a read and reports its own errors.
using ReadBodyFn = int (*)(void* pContext, MemImage* pImage, uint32_t hFile);

/// Locks the image, opens the file, has the body read it, closes the file, clears the image's NumChanges and unlocks,
/// whatever happens in between. Returns the body's result, or READER_ERR_OPEN with the reason reported.
[[nodiscard]] int READER_Run(const ReadCall& Call, ReadBodyFn pfBody, void* pContext);

/// Stores bytes as MEMIMG_WriteData does. A write whose bytes the image could not keep is a failure here:
/// MEMIMG_ERR_NO_MEMORY.
[[nodiscard]] int READER_Store(MemImage* pImage, uint64_t Addr, uint32_t NumBytes, const uint8_t* pData);
