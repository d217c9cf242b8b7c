/// Shared by the tests: every test runs in its own, initially empty folder, and can make system calls fail.
#pragma once

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <climits>
#include <filesystem>
#include <fstream>
#include <numeric>
#include <random>
#include <thread>

#include "support/byte_map.h"

/// Creates or replaces a file.
inline void WriteFile(const std::string& Path, const std::string& Bytes) {
  std::ofstream(Path, std::ios::binary) << Bytes;
}

/// Returns the bytes of a file, or "(no file)".
inline std::string ReadFile(const std::string& Path) {
  std::ifstream File(Path, std::ios::binary);
  return File ? std::string(std::istreambuf_iterator<char>(File), {}) : "(no file)";
}

/// Runs a shell script. Returns its exit status, negative if a signal ended it, and what it printed on standard output.
std::string RunShell(const std::string& Script);

/// Reads the rest of the output of a shell that popen started. Returns it as RunShell does, after what is in Printed.
std::string Finish(FILE* pOutput, std::string Printed = "");

/// What can be made to fail. The tests are linked so that they intercept calls to malloc, realloc, open, read, write,
/// fsync and rename, close and gettimeofday by the code under test.
enum FaultKind { FAULT_NONE, FAULT_ALLOC, FAULT_OPEN, FAULT_READ, FAULT_WRITE, FAULT_MOVE, FAULT_CLOSE, FAULT_CLOCK };

/// In place of an errno: the call kills the program; a write of records succeeds, but two bytes of data change places,
/// which leaves the checksum right, or a line ends in LF alone; or an open succeeds, and then another file has the
/// name.
constexpr int FAULT_KILL = -1;
constexpr int FAULT_DAMAGE = -2;
constexpr int FAULT_LINE_END = -3;
constexpr int FAULT_AWAY = -4;

/// Which calls fail, counted from 1 after the fault is armed, and how.
struct Fault {
  int First = 1;
  int Last = INT_MAX;
  int Error = EIO;  ///< The errno of a failing call; 0: a read or write succeeds, but handles only half of the bytes.
};

/// Arms one kind of fault for this thread until FAULT_Disarm; other kinds of calls are not affected.
void FAULT_Arm(FaultKind Kind, const Fault& Which);

/// Disarms the fault. Returns whether any call has failed since it was armed.
bool FAULT_Disarm();

/// Runs a program with a fault, in a process of its own, because it may end where memory is exhausted, or be killed.
/// Args: at most 8. Returns its exit status and what it prints.
std::string RunWithFault(int (*pfRun)(int, char**), std::vector<std::string> Args, FaultKind Kind, const Fault& Which,
                         bool* pHasFired);
