/// Makes system calls of the code under test fail. The tests are linked so that calls of malloc, realloc, read, write,
/// close and gettimeofday come here first.
#pragma once

#include <climits>
#include <cstdint>

/// What can be made to fail.
enum FaultKind { FAULT_ALLOC, FAULT_READ, FAULT_WRITE, FAULT_CLOSE, FAULT_CLOCK };

/// Which calls fail, counted from 1 when the fault is armed, and how.
struct Fault {
  int First = 1;
  int Last = INT_MAX;
  int Every = 1;         ///< Of those, each so-manyth.
  int Error = 0;         ///< The errno of a failing call.
  bool IsShort = false;  ///< Reads and writes do not fail but come short: half of what was asked for.
};

/// Arms one kind of fault until FAULT_Disarm; calls of all other kinds pass.
void FAULT_Arm(FaultKind Kind, const Fault& Which);

/// Returns whether any call was made to fail since arming.
bool FAULT_Disarm();
