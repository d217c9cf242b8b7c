/// Reads a data file as the conditioner does, and explains what is wrong with it or suspicious about it.
#pragma once

#include <memory>
#include <vector>

#include "check/finding.h"
#include "datafile/data_file.h"

/// Bytes at ascending addresses without a gap.
struct CheckRun {
  uint64_t Addr;      ///< UINT64_MAX if there is no such run.
  uint64_t NumBytes;  ///< 0 if there is none.
};

/// What a unique_ptr releases its object with.
template <auto FREE>
struct CheckFree {
  void operator()(auto* pObject) const {
    FREE(pObject);
  }
};

using CheckImage = std::unique_ptr<MemImage, CheckFree<MEMIMG_Free>>;

/// A data file that has been read.
struct CheckInput {
  std::unique_ptr<DataFile, CheckFree<DATAFILE_Free>> pFile;  ///< Null if the file's extension is unknown.
  CheckImage pImage;                                          ///< Null if the file was not accepted.
  const char* pFormat = nullptr;                              ///< The name of its format.
};

/// Reads a data file. Reports why the conditioner refuses it, and what is suspicious about it. BaseAddr: load address
/// of a raw binary file.
[[nodiscard]] CheckStatus CHECK_OpenInput(CheckInput* pInput, const CheckedFile& File, uint32_t BaseAddr);

/// Finds where a text file defines the byte at an address. Reads the file again. Of another file, there is only the
/// path.
CheckPlace CHECK_FindDefinition(const DataFile& File, uint64_t Addr);

/// Returns the first run at Addr or above, cut to begin at Addr. Calls with rising addresses visit each run once in
/// all.
CheckRun CHECK_RunFrom(MemImage* pImage, uint64_t Addr);

/// Returns all runs, by address.
std::vector<CheckRun> CHECK_ListRuns(MemImage* pImage);
