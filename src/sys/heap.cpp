#include "sys/heap.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>

// The first touch of each page costs more than all that is done with its bytes. So large blocks ask the system for its
// large pages, where it has them: a five-hundredth of the page faults (bench/run.sh, "32 MiB raw binary"). A system
// that does not know the wish, or does not grant it, gives pages of the usual size.

namespace {

constexpr size_t LARGE_PAGE_BYTES = size_t{2} << 20;
constexpr size_t ALLOCATOR_HEAD_BYTES = 64;  ///< More than any allocator takes of a block for itself.

/// Returns the size to ask for: large blocks fill large pages, together with what the allocator adds. Bytes that are
/// never touched cost nothing.
size_t SizeToAsk(uint32_t NumBytes) {
  if (NumBytes < LARGE_PAGE_BYTES) {
    return NumBytes;
  }
  const size_t NumPages = (size_t{NumBytes} + ALLOCATOR_HEAD_BYTES + LARGE_PAGE_BYTES - 1) / LARGE_PAGE_BYTES;
  return std::max<size_t>(NumBytes, NumPages * LARGE_PAGE_BYTES - ALLOCATOR_HEAD_BYTES);  // the sums wrap on 32 bits
}

/// Asks for large pages in a large block. All pages that the block has bytes in are named: a block of which a part were
/// treated otherwise could not be resized in place.
void* WithLargePages([[maybe_unused]] void* pBlock, [[maybe_unused]] size_t NumBytes) {
#ifdef MADV_HUGEPAGE
  if (pBlock != nullptr && NumBytes >= LARGE_PAGE_BYTES) {
    const uintptr_t PageBytes = static_cast<uintptr_t>(sysconf(_SC_PAGESIZE));
    const uintptr_t Block = reinterpret_cast<uintptr_t>(pBlock);
    const uintptr_t Offset = Block % PageBytes;
    madvise(static_cast<uint8_t*>(pBlock) - Offset, Offset + NumBytes, MADV_HUGEPAGE);
  }
#endif
  return pBlock;
}

}  // namespace

void* SYS_Alloc(uint32_t NumBytes) {
  const size_t Size = SizeToAsk(NumBytes);
  void* pBlock = WithLargePages(std::malloc(Size), Size);
  return pBlock == nullptr && Size != NumBytes ? std::malloc(NumBytes) : pBlock;
}

void SYS_Free(void* pBlock) {
  std::free(pBlock);
}

void* SYS_Realloc(void* pBlock, uint32_t NumBytes) {
  const size_t Size = SizeToAsk(NumBytes);
  void* pNew = WithLargePages(std::realloc(pBlock, Size), Size);
  return pNew == nullptr && Size != NumBytes ? std::realloc(pBlock, NumBytes) : pNew;
}
