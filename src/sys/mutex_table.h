/// Recursive mutexes from a process-wide table of 64 slots. The table itself is not guarded: mutexes are created and
/// destroyed by one thread at a time.
#pragma once

#include <pthread.h>

#include <array>
#include <cstdint>

/// One slot of the table. A handle is the address of a slot; null means no mutex.
struct MutexSlot {
  uint32_t IsInUse;             ///< 1 while the slot holds a live mutex.
  std::array<char, 32> acName;  ///< Its name, empty for none.
  pthread_mutex_t Mutex;
  pthread_mutexattr_t Attr;  ///< Lives as long as Mutex.
};

/// A timeout that never runs out.
constexpr uint32_t SYS_NO_TIMEOUT = 0xFFFFFFFF;

/// Results of SYS_LockMutex.
constexpr int SYS_LOCK_ERROR = -1;
constexpr int SYS_LOCK_TIMEOUT = 258;

/// Takes the lowest free slot. pName: at most 31 characters of it are kept; null for none.
/// Returns the handle, or null when no slot is free or the mutex cannot be initialised.
[[nodiscard]] MutexSlot* SYS_CreateMutex(const char* pName);

/// Destroys the mutex at *ppMutex, which nobody may hold, and sets *ppMutex to null. Nothing happens when there is
/// none.
void SYS_DestroyMutex(MutexSlot** ppMutex);

/// Takes the mutex, also if this thread holds it already: every take needs a release. A wait with a timeout polls every
/// millisecond against the wall clock.
/// Returns 0 when taken, SYS_LOCK_TIMEOUT, or SYS_LOCK_ERROR for an invalid handle or an error of the mutex.
[[nodiscard]] int SYS_LockMutex(MutexSlot* pMutex, uint32_t TimeoutMs);

/// Releases the mutex once. Returns 0; or 1 for an invalid handle or when this thread does not hold it.
int SYS_UnlockMutex(MutexSlot* pMutex);
