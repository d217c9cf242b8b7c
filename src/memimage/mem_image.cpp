#include "memimage/mem_image.h"

#include "sys/heap.h"

namespace {

constexpr uint32_t LOCK_TIMEOUT_MS = 10000;
constexpr uint64_t PENDING_STEP = 100;

/// Creates the mutex of the image if it has none. Returns whether it now has one.
[[nodiscard]] bool EnsureMutex(MemImage* pImage) {
  if (pImage->hLock == nullptr) {
    pImage->hLock = SYS_CreateMutex(nullptr);
  }
  return pImage->hLock != nullptr;
}

/// Returns the area that holds an address, or null.
DataArea* AreaHolding(const MemImage& Image, uint64_t Addr) {
  DataArea* pArea = Image.pFirstArea;
  while (pArea != nullptr && AREA_LastOf(*pArea) < Addr) {
    pArea = pArea->pNext;
  }
  return pArea != nullptr && pArea->Addr <= Addr ? pArea : nullptr;
}

/// Replaces a stored byte or adds a new one. Returns whether the image now holds it.
[[nodiscard]] bool CommitByte(MemImage* pImage, const PendingByte& Byte) {
  DataArea* pArea = AreaHolding(*pImage, Byte.Addr);
  if (pArea == nullptr) {
    const bool IsWritten = MEMIMG_WriteData(pImage, Byte.Addr, 1, &Byte.Value, 0) == 0;
    pArea = IsWritten ? AreaHolding(*pImage, Byte.Addr) : nullptr;
  }
  if (pArea == nullptr || !AREA_HasStorage(*pArea)) {
    return false;
  }
  pArea->pData[Byte.Addr - pArea->Addr] = Byte.Value;
  return true;
}

[[nodiscard]] bool ReservePending(MemImage* pImage) {
  if (pImage->NumPending < pImage->NumPendingAlloc) {
    return true;
  }
  const uint64_t NewAlloc = pImage->NumPendingAlloc + PENDING_STEP;
  const uint64_t Size = NewAlloc * sizeof(PendingByte);
  void* pBlock = Size <= UINT32_MAX ? SYS_Realloc(pImage->paPending, static_cast<uint32_t>(Size)) : nullptr;
  if (pBlock == nullptr) {
    return false;
  }
  pImage->paPending = static_cast<PendingByte*>(pBlock);
  pImage->NumPendingAlloc = NewAlloc;
  return true;
}

}  // namespace

MemImage* MEMIMG_Create() {
  MemImage* pImage = static_cast<MemImage*>(SYS_Alloc(sizeof(MemImage)));
  if (pImage == nullptr) {
    return nullptr;
  }
  *pImage = {};
  pImage->hLock = SYS_CreateMutex(nullptr);
  pImage->NumChanges = 1;
  pImage->CursorIndex = -1;
  return pImage;
}

void MEMIMG_Free(MemImage* pImage) {
  if (pImage == nullptr) {
    return;
  }
  SYS_DestroyMutex(&pImage->hLock);
  for (DataArea* pArea = pImage->pFirstArea; pArea != nullptr;) {
    DataArea* pNext = pArea->pNext;
    AREA_Free(pArea);
    pArea = pNext;
  }
  INDEX_Clear(&pImage->Index);
  SYS_Free(pImage->paPending);
  SYS_Free(pImage);
}

int MEMIMG_Lock(MemImage* pImage) {
  if (pImage == nullptr || !EnsureMutex(pImage)) {
    return MEMIMG_ERR_NO_LOCK;
  }
  return SYS_LockMutex(pImage->hLock, LOCK_TIMEOUT_MS) == SYS_LOCK_TIMEOUT ? MEMIMG_ERR_TIMEOUT : 0;
}

int MEMIMG_Unlock(MemImage* pImage) {
  return SYS_UnlockMutex(pImage->hLock);
}

int MEMIMG_FlushByteCache(MemImage* pImage) {
  MEMIMG_Lock(pImage);
  int Result = 0;
  for (uint64_t i = 0; i < pImage->NumPending; ++i) {
    if (!CommitByte(pImage, pImage->paPending[i])) {
      Result = 1;
    }
  }
  SYS_Free(pImage->paPending);
  pImage->paPending = nullptr;
  pImage->NumPending = 0;
  pImage->NumPendingAlloc = 0;
  pImage->NumChanges = 0;
  MEMIMG_Unlock(pImage);
  return Result;
}

uint64_t MEMIMG_QueueByte(MemImage* pImage, uint64_t Addr, uint8_t Value) {
  if (pImage == nullptr) {
    return 0;
  }
  MEMIMG_Lock(pImage);
  const uint64_t Index = pImage->NumPending;
  if (ReservePending(pImage)) {
    pImage->paPending[Index] = {Addr, Value};
    ++pImage->NumPending;
  }
  ++pImage->NumChanges;
  MEMIMG_Unlock(pImage);
  return Index;
}
