/// What a program of this library has in common with others at the command line: option values, printing, its end.
#pragma once

#include "check/conditioned.h"
#include "check/within.h"

/// What the options say that several programs have.
struct CheckOptions {
  uint32_t BaseAddr = 0;               ///< --base
  std::vector<CheckRange> Within;      ///< --within
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

/// Flushes standard output. Returns whether everything printed there has been written; if not, says so.
[[nodiscard]] bool CHECK_FlushOutput();

/// Ends the program with one message and CHECK_UNREADABLE. For std::set_new_handler: strings and lists have no result
/// that says that memory is exhausted.
[[noreturn]] void CHECK_StopWithoutMemory();
