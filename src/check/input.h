/// Reads a data file as the conditioner does, and explains what is wrong with it or suspicious about it.
#pragma once

#include <cstdint>

#include "check/finding.h"
#include "datafile/data_file.h"

/// Bytes at ascending addresses without a gap.
struct CheckRun {
  uint64_t Addr;      ///< UINT64_MAX if there is no such run.
  uint64_t NumBytes;  ///< 0 if there is none.
};

/// A data file that has been read.
struct CheckInput {
  DataFile* pFile;      ///< Owned; null if the file's extension is unknown.
  MemImage* pImage;     ///< Owned; null if the file was not accepted.
  const char* pFormat;  ///< The name of its format.
};

/// Reads a data file. Reports why the conditioner refuses it, and what is suspicious about it, in the order of its
/// lines. BaseAddr: load address of a raw binary file. pInput is to be closed with CHECK_CloseInput whatever the
/// result.
[[nodiscard]] CheckStatus CHECK_OpenInput(CheckInput* pInput, const char* pPath, uint32_t BaseAddr,
                                          const CheckSink& Sink);

void CHECK_CloseInput(CheckInput* pInput);

/// Returns the first run at Addr or above, cut to begin at Addr.
CheckRun CHECK_RunFrom(MemImage* pImage, uint64_t Addr);

/// Returns the run that follows Run, or the rest of the run that Run is the first part of.
CheckRun CHECK_RunAfter(MemImage* pImage, const CheckRun& Run);
