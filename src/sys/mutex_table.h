/// Recursive mutexes from a process-wide table of 64 slots. The table itself is not guarded: only one thread at a time
/// may create and destroy mutexes.
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

/// Creates a mutex in the lowest free slot. pName: null for none; at most 31 characters are kept.
/// Returns the handle, or null if no slot is free or the mutex cannot be initialised.
[[nodiscard]] MutexSlot* SYS_CreateMutex(const char* pName);

/// Destroys the mutex at *ppMutex, which nobody may hold, and sets *ppMutex to null. Does nothing if there is none.
void SYS_DestroyMutex(MutexSlot** ppMutex);

/// Takes the mutex, even if this thread already holds it; each take needs its own release. A wait with a timeout polls
/// every millisecond against the wall clock.
/// Returns 0 if taken, SYS_LOCK_TIMEOUT, or SYS_LOCK_ERROR for an invalid handle or an error of the mutex.
[[nodiscard]] int SYS_LockMutex(MutexSlot* pMutex, uint32_t TimeoutMs);

/// Releases the mutex once. Returns 0; or 1 if the handle is invalid or this thread does not hold the mutex.
int SYS_UnlockMutex(MutexSlot* pMutex);
