/// The options of the command line.
#pragma once

#include <cstdint>

/// What a run is told; texts are borrowed from the command line.
struct RunSettings {
  const char* pOutputBase = nullptr;  ///< Output path without its ".srec"; null: the input's base name.
  const char* pInputPath = nullptr;
  uint32_t BaseAddr = 0;       ///< Load address of a raw binary file.
  uint32_t BlockAlign = 8192;  ///< Characters a block.
  uint32_t LineAlign = 8;      ///< Bytes a line group.
};

/// Applies the option pWord (compared without regard to letter case) with its value to the settings; some confirm the
/// value on standard output. Numbers are hexadecimal, whatever follows their digits is ignored.
/// Returns 0; or a negative value, with the settings unchanged, when there is no such option or its value is rejected.
[[nodiscard]] int APP_ApplyOption(RunSettings* pSettings, const char* pWord, const char* pValue);
