#include "sys/mutex_table.h"

#include <sys/time.h>
#include <time.h>

#include <array>
#include <cerrno>

#include "util/text.h"

namespace {

constinit std::array<MutexSlot, 64> aMutexTable{};

/// Returns the wall clock in microseconds, or -1 if it cannot be read.
int64_t WallClock() {
  timeval Now{};
  return gettimeofday(&Now, nullptr) == 0 ? int64_t{Now.tv_sec} * 1000000 + Now.tv_usec : -1;
}

bool IsValid(const MutexSlot* pMutex) {
  return pMutex != nullptr && pMutex->IsInUse != 0;
}

/// Polls until it gets the mutex or the deadline has passed. Without a clock, the deadline has always passed.
int LockBefore(MutexSlot* pMutex, uint32_t TimeoutMs) {
  const int64_t Deadline = WallClock() + int64_t{TimeoutMs} * 1000;
  for (;;) {
    const int Error = pthread_mutex_trylock(&pMutex->Mutex);
    if (Error != EBUSY) {
      return Error == 0 ? 0 : SYS_LOCK_ERROR;
    }
    const timespec OneMillisecond{0, 1000000};
    nanosleep(&OneMillisecond, nullptr);
    const int64_t Now = WallClock();
    if (Now < 0 || Now > Deadline) {
      return SYS_LOCK_TIMEOUT;
    }
  }
}

[[nodiscard]] bool InitRecursiveMutex(MutexSlot* pSlot) {
  if (pthread_mutexattr_init(&pSlot->Attr) != 0) {
    return false;
  }
  if (pthread_mutexattr_settype(&pSlot->Attr, PTHREAD_MUTEX_RECURSIVE) != 0 ||
      pthread_mutex_init(&pSlot->Mutex, &pSlot->Attr) != 0) {
    pthread_mutexattr_destroy(&pSlot->Attr);
    return false;
  }
  return true;
}

MutexSlot* FindFreeSlot() {
  for (MutexSlot& Slot : aMutexTable) {
    if (Slot.IsInUse == 0) {
      return &Slot;
    }
  }
  return nullptr;
}

}  // namespace

MutexSlot* SYS_CreateMutex(const char* pName) {
  MutexSlot* pSlot = FindFreeSlot();
  if (pSlot == nullptr || !InitRecursiveMutex(pSlot)) {
    return nullptr;
  }
  UTIL_CopyString(pSlot->acName.data(), pName != nullptr ? pName : "", static_cast<uint32_t>(pSlot->acName.size()));
  pSlot->IsInUse = 1;
  return pSlot;
}

void SYS_DestroyMutex(MutexSlot** ppMutex) {
  if (ppMutex == nullptr || !IsValid(*ppMutex)) {
    return;
  }
  MutexSlot* pSlot = *ppMutex;
  pSlot->IsInUse = 0;
  pthread_mutex_destroy(&pSlot->Mutex);
  pthread_mutexattr_destroy(&pSlot->Attr);
  *ppMutex = nullptr;
}

int SYS_LockMutex(MutexSlot* pMutex, uint32_t TimeoutMs) {
  if (!IsValid(pMutex)) {
    return SYS_LOCK_ERROR;
  }
  if (TimeoutMs == SYS_NO_TIMEOUT) {
    return pthread_mutex_lock(&pMutex->Mutex) == 0 ? 0 : SYS_LOCK_ERROR;
  }
  return LockBefore(pMutex, TimeoutMs);
}

int SYS_UnlockMutex(MutexSlot* pMutex) {
  if (!IsValid(pMutex)) {
    return 1;
  }
  return pthread_mutex_unlock(&pMutex->Mutex) == 0 ? 0 : 1;
}
