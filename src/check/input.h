/// Reads a data file as the conditioner does, and explains what is wrong with it or suspicious about it.
#pragma once

#include <memory>
#include <vector>

#include "check/contents.h"
#include "check/finding.h"
#include "datafile/data_file.h"

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

/// Where data is and may be.
struct CheckMemory {
  uint32_t BaseAddr = 0;           ///< Load address of a raw binary file.
  std::vector<CheckRange> Within;  ///< Every byte must lie in one of these ranges; without any, it may lie anywhere.
};

/// Reads a data file. Reports why the conditioner refuses it, what is suspicious about it, and the first run outside
/// the memory. A file with data outside is CHECK_BAD, but has its image.
[[nodiscard]] CheckStatus CHECK_OpenInput(CheckInput* pInput, const CheckedFile& File, const CheckMemory& Memory);

/// Finds where a text file defines the byte at an address. Reads the file again. Of another file, there is only the
/// path.
CheckPlace CHECK_FindDefinition(const DataFile& File, uint64_t Addr);
