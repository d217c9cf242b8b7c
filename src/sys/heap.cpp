#include "sys/heap.h"

#include <cstdlib>
#include <cstring>

void* SYS_Alloc(uint32_t NumBytes) {
  return std::malloc(NumBytes);
}

void SYS_Free(void* pBlock) {
  std::free(pBlock);
}

void* SYS_Realloc(void* pBlock, uint32_t NumBytes) {
  return std::realloc(pBlock, NumBytes);
}

char* SYS_CopyText(const char* pText, uint64_t Len) {
  char* pCopy = Len < UINT32_MAX ? static_cast<char*>(SYS_Alloc(static_cast<uint32_t>(Len) + 1)) : nullptr;
  if (pCopy != nullptr) {
    std::memcpy(pCopy, pText, static_cast<size_t>(Len));
    pCopy[Len] = '\0';
  }
  return pCopy;
}
