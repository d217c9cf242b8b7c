/// Prints findings as compilers do, so that editors and build logs link them.
#pragma once

#include <string>

#include "check/finding.h"

/// The context of CHECK_PrintFinding.
struct PrintState {
  bool HasWarned = false;  ///< A warning was printed.
};

/// Prints a finding on standard error, after all that was printed on standard output: the pfFound of a CheckSink.
/// pContext: a PrintState.
void CHECK_PrintFinding(void* pContext, const CheckFinding& Finding);

/// Returns a file name or an argument as it is printed: with '?' for each control character, and UTF-8 as it is, so
/// that editors find the file.
std::string CHECK_ShowName(std::string Name);

/// Flushes standard output. Returns whether everything printed there has been written; if not, says so.
[[nodiscard]] bool CHECK_FlushOutput();

/// Ends the program with one message and CHECK_UNREADABLE: what std::set_new_handler gets, because texts and lists
/// cannot report that memory is exhausted.
[[noreturn]] void CHECK_StopWithoutMemory();
