/// Makes system calls of the code under test fail. The tests are linked so that calls of malloc, realloc, open, read,
/// write, close and gettimeofday come here first.
#pragma once

#include <cerrno>
#include <climits>

/// What can be made to fail.
enum FaultKind { FAULT_NONE, FAULT_ALLOC, FAULT_OPEN, FAULT_READ, FAULT_WRITE, FAULT_CLOSE, FAULT_CLOCK };

/// Which calls fail, counted from 1 when the fault is armed, and how.
struct Fault {
  int First = 1;
  int Last = INT_MAX;
  int Error =
      EIO;  ///< The errno of a failing call; 0: reads and writes come short instead, half of what was asked for.
};

/// Arms one kind of fault for this thread until FAULT_Disarm; calls of all other kinds pass.
void FAULT_Arm(FaultKind Kind, const Fault& Which);

/// Returns whether any call was made to fail since arming.
bool FAULT_Disarm();
