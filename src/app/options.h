/// The options of the command line.
#pragma once

#include <cstdint>

/// The settings of a run. Texts are borrowed from the command line.
struct RunSettings {
  const char* pOutputBase = nullptr;  ///< Output path without its ".srec"; null: the input's base name.
  const char* pInputPath = nullptr;
  uint32_t BaseAddr = 0;       ///< Load address of a raw binary file.
  uint32_t BlockAlign = 8192;  ///< Characters per block.
  uint32_t LineAlign = 8;      ///< Bytes per line group.
};

/// Applies the option pWord, in any letter case, with its value pValue to the settings. Some options confirm their
/// value on standard output. Numbers are hexadecimal; anything after their digits is ignored.
/// Returns 0; or a negative value, with the settings unchanged, if there is no such option or its value is invalid.
[[nodiscard]] int APP_ApplyOption(RunSettings* pSettings, const char* pWord, const char* pValue);
