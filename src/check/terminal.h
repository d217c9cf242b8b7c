/// What a program of this library has in common with others at the command line: option values, printing, its end.
#pragma once

#include <string_view>

#include "check/conditioned.h"
#include "check/input.h"

/// Reads a number of 32 bits, decimal without leading zeros or hexadecimal with 0x. Returns whether the text is one; if
/// not, *pValue may have changed.
[[nodiscard]] bool CHECK_ParseNumber(std::string_view Text, uint32_t* pValue);

/// Reads FIRST-LAST, two such numbers. Returns whether the text is that, with a first that is not above the last.
[[nodiscard]] bool CHECK_ParseRange(std::string_view Text, CheckRange* pRange);

/// What the options say that several programs have.
struct CheckOptions {
  CheckMemory Memory;                  ///< --base, --within
  ConditionedRules Rules = {8192, 8};  ///< --block, --line
};

/// Takes the value of an option that getopt_long has found: 'b' for --base, 'w' for --within, 'k' for --block, 'l' for
/// --line; other keys are ignored. Returns false if the value is not what the option takes, and says so.
[[nodiscard]] bool CHECK_TakeValue(CheckOptions* pOptions, int Key, const char* pText);

/// Prints a finding on standard error as compilers do, so that editors and build logs link it, after all that was
/// printed on standard output.
void CHECK_PrintFinding(const CheckFinding& Finding);

/// Returns a file name or an argument as it is printed: with '?' for each control character, and UTF-8 as it is, so
/// that editors find the file.
std::string CHECK_ShowName(std::string Name);

/// Returns how much an image holds, such as "500 bytes in 1 run".
std::string CHECK_ShowSize(MemImage* pImage);

/// Flushes standard output. Returns whether everything printed there has been written; if not, says so.
[[nodiscard]] bool CHECK_FlushOutput();

/// Ends the program with one message and CHECK_UNREADABLE. For std::set_new_handler: strings and lists have no result
/// that says that memory is exhausted.
[[noreturn]] void CHECK_StopWithoutMemory();
