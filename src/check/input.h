/// Reads a data file as the conditioner does, and explains what is wrong or surprising about it.
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
  DataFile* pFile;   ///< Owned.
  MemImage* pImage;  ///< Borrowed from pFile; null when the file was not accepted.
};

/// Reads a data file and reports why the conditioner refuses it, or what it accepts and may surprise.
/// BaseAddr: load address of a raw binary file. pInput is to be closed with CHECK_CloseInput whatever the result.
[[nodiscard]] CheckStatus CHECK_OpenInput(CheckInput* pInput, const char* pPath, uint32_t BaseAddr,
                                          const CheckSink& Sink);

void CHECK_CloseInput(CheckInput* pInput);

/// Returns the first run at Addr or above, without what it has below Addr.
CheckRun CHECK_RunFrom(MemImage* pImage, uint64_t Addr);

/// Returns the run that follows Run, or what follows a run's first part.
CheckRun CHECK_RunAfter(MemImage* pImage, const CheckRun& Run);
