#include "support/faults.h"

#include <sys/time.h>
#include <sys/types.h>

#include <atomic>
#include <cerrno>
#include <cstddef>

namespace {

struct Armed {
  bool IsOn = false;
  FaultKind Kind = FAULT_ALLOC;
  Fault Which;
  int NumCalls = 0;
  bool HasFired = false;
};

thread_local Armed State;

/// Counts a call and tells whether it is one that shall fail.
bool IsHit(FaultKind Kind) {
  if (!State.IsOn || State.Kind != Kind) {
    return false;
  }
  const int Number = ++State.NumCalls;
  const Fault& Which = State.Which;
  const bool IsOne = Number >= Which.First && Number <= Which.Last && (Number - Which.First) % Which.Every == 0;
  State.HasFired = State.HasFired || IsOne;
  return IsOne;
}

/// Fails a read or write of NumBytes bytes as armed; returns how many bytes it may handle instead, or -1.
ssize_t BytesOfHit(size_t NumBytes) {
  if (State.Which.IsShort) {
    return static_cast<ssize_t>(NumBytes / 2);
  }
  errno = State.Which.Error;
  return -1;
}

}  // namespace

void FAULT_Arm(FaultKind Kind, const Fault& Which) {
  State = {true, Kind, Which, 0, false};
}

bool FAULT_Disarm() {
  State.IsOn = false;
  return State.HasFired;
}

extern "C" {

#pragma GCC diagnostic ignored "-Wmissing-declarations"

void* __real_malloc(size_t NumBytes);
void* __real_realloc(void* pBlock, size_t NumBytes);
ssize_t __real_read(int hFile, void* pBuffer, size_t NumBytes);
ssize_t __real_write(int hFile, const void* pBuffer, size_t NumBytes);
int __real_close(int hFile);
int __real_gettimeofday(timeval* pTime, void* pZone);

void* __wrap_malloc(size_t NumBytes) {
  return IsHit(FAULT_ALLOC) ? nullptr : __real_malloc(NumBytes);
}

void* __wrap_realloc(void* pBlock, size_t NumBytes) {
  return IsHit(FAULT_ALLOC) ? nullptr : __real_realloc(pBlock, NumBytes);
}

ssize_t __wrap_read(int hFile, void* pBuffer, size_t NumBytes) {
  // Half of one byte is one byte: a read that brings nothing would be the end of the file.
  const ssize_t Num = IsHit(FAULT_READ) ? BytesOfHit(NumBytes + 1) : static_cast<ssize_t>(NumBytes);
  return Num < 0 ? -1 : __real_read(hFile, pBuffer, static_cast<size_t>(Num));
}

ssize_t __wrap_write(int hFile, const void* pBuffer, size_t NumBytes) {
  const ssize_t Num = IsHit(FAULT_WRITE) ? BytesOfHit(NumBytes) : static_cast<ssize_t>(NumBytes);
  return Num < 0 ? -1 : __real_write(hFile, pBuffer, static_cast<size_t>(Num));
}

int __wrap_close(int hFile) {
  const int Result = __real_close(hFile);
  if (IsHit(FAULT_CLOSE)) {
    errno = State.Which.Error;
    return -1;
  }
  return Result;
}

int __wrap_gettimeofday(timeval* pTime, void* pZone) {
  return IsHit(FAULT_CLOCK) ? -1 : __real_gettimeofday(pTime, pZone);
}

}  // extern "C"
