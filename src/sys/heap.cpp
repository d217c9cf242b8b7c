#include "sys/heap.h"

#include <cstdlib>

void* SYS_Alloc(uint32_t NumBytes) {
  return std::malloc(NumBytes);
}

void SYS_Free(void* pBlock) {
  std::free(pBlock);
}

void* SYS_Realloc(void* pBlock, uint32_t NumBytes) {
  return std::realloc(pBlock, NumBytes);
}
