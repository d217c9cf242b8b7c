#include "memimage/area_index.h"

#include <algorithm>
#include <cstring>

#include "sys/heap.h"

namespace {

constexpr uint32_t BLOCK_CAPACITY = 128;
constexpr uint32_t MIN_BLOCK_REFS = 16;

struct IndexEntry {
  uint64_t Addr;
  DataArea* pArea;
};

/// Where an entry stands, or would have to stand.
struct IndexPlace {
  uint32_t Block;
  uint32_t Entry;
};

}  // namespace

struct IndexBlock {
  uint32_t NumEntries;
  IndexEntry aEntry[BLOCK_CAPACITY];  ///< Sorted by address.
};

namespace {

/// Returns how many of the Num elements, sorted by their address KeyOf, are at or below Addr.
template <typename Element, typename KeyOf>
uint32_t CountAtOrBelow(const Element* paElement, uint32_t Num, uint64_t Addr, KeyOf Key) {
  const Element* pEnd = paElement + Num;
  const Element* pFound =
      std::upper_bound(paElement, pEnd, Addr, [Key](uint64_t A, const Element& E) { return A < Key(E); });
  return static_cast<uint32_t>(pFound - paElement);
}

/// Returns the block in which Addr belongs: the last that begins at or below it, else the first.
uint32_t BlockFor(const AreaIndex& Index, uint64_t Addr) {
  const uint32_t Num =
      CountAtOrBelow(Index.paBlockRef, Index.NumBlocks, Addr, [](const IndexBlockRef& Ref) { return Ref.FirstAddr; });
  return Num != 0 ? Num - 1 : 0;
}

uint32_t EntriesAtOrBelow(const IndexBlock& Block, uint64_t Addr) {
  return CountAtOrBelow(Block.aEntry, Block.NumEntries, Addr, [](const IndexEntry& Entry) { return Entry.Addr; });
}

/// Returns the place of the entry that was made with exactly this address.
IndexPlace PlaceOf(const AreaIndex& Index, uint64_t Addr) {
  const uint32_t Block = BlockFor(Index, Addr);
  return {Block, EntriesAtOrBelow(*Index.paBlockRef[Block].pBlock, Addr) - 1};
}

/// Puts Element at position At of an array of Num elements that has room for one more.
template <typename Element>
void InsertAt(Element* paElement, uint32_t Num, uint32_t At, const Element& New) {
  std::memmove(paElement + At + 1, paElement + At, (Num - At) * sizeof(Element));
  paElement[At] = New;
}

template <typename Element>
void RemoveAt(Element* paElement, uint32_t Num, uint32_t At) {
  std::memmove(paElement + At, paElement + At + 1, (Num - At - 1) * sizeof(Element));
}

[[nodiscard]] bool ReserveBlockRef(AreaIndex* pIndex) {
  if (pIndex->NumBlocks < pIndex->NumBlocksAlloc) {
    return true;
  }
  const uint64_t NewAlloc = std::max(uint64_t{pIndex->NumBlocksAlloc} * 2, uint64_t{MIN_BLOCK_REFS});
  const uint64_t Size = NewAlloc * sizeof(IndexBlockRef);
  void* pRefs = Size <= UINT32_MAX ? SYS_Realloc(pIndex->paBlockRef, static_cast<uint32_t>(Size)) : nullptr;
  if (pRefs == nullptr) {
    return false;
  }
  pIndex->paBlockRef = static_cast<IndexBlockRef*>(pRefs);
  pIndex->NumBlocksAlloc = static_cast<uint32_t>(NewAlloc);
  return true;
}

/// Adds an empty block at position At. Returns it, or null with nothing changed.
[[nodiscard]] IndexBlock* NewBlock(AreaIndex* pIndex, uint32_t At, uint64_t FirstAddr) {
  if (!ReserveBlockRef(pIndex)) {
    return nullptr;
  }
  IndexBlock* pBlock = static_cast<IndexBlock*>(SYS_Alloc(sizeof(IndexBlock)));
  if (pBlock == nullptr) {
    return nullptr;
  }
  pBlock->NumEntries = 0;
  InsertAt(pIndex->paBlockRef, pIndex->NumBlocks, At, {FirstAddr, pBlock});
  ++pIndex->NumBlocks;
  return pBlock;
}

/// Splits a full block so that an entry for Addr finds room. A block that grows at its end keeps what it has, and the
/// new entry starts the next block: appended areas then fill their blocks whole.
[[nodiscard]] bool SplitBlock(AreaIndex* pIndex, uint32_t Block, uint64_t Addr) {
  IndexBlock* pFull = pIndex->paBlockRef[Block].pBlock;
  const bool IsAppend = pFull->aEntry[BLOCK_CAPACITY - 1].Addr < Addr;
  const uint32_t NumKept = IsAppend ? BLOCK_CAPACITY - 1 : BLOCK_CAPACITY / 2;
  IndexBlock* pNew = NewBlock(pIndex, Block + 1, pFull->aEntry[NumKept].Addr);
  if (pNew == nullptr) {
    return false;
  }
  pNew->NumEntries = BLOCK_CAPACITY - NumKept;
  std::memcpy(pNew->aEntry, pFull->aEntry + NumKept, pNew->NumEntries * sizeof(IndexEntry));
  pFull->NumEntries = NumKept;
  return true;
}

/// The reference to a block repeats its first entry's address.
void RefreshFirstAddr(AreaIndex* pIndex, uint32_t Block) {
  IndexBlockRef* pRef = &pIndex->paBlockRef[Block];
  pRef->FirstAddr = pRef->pBlock->aEntry[0].Addr;
}

}  // namespace

DataArea* INDEX_FindAtOrBelow(const AreaIndex& Index, uint64_t Addr) {
  if (Index.NumBlocks == 0) {
    return nullptr;
  }
  const IndexBlock* pBlock = Index.paBlockRef[BlockFor(Index, Addr)].pBlock;
  const uint32_t Num = EntriesAtOrBelow(*pBlock, Addr);
  return Num != 0 ? pBlock->aEntry[Num - 1].pArea : nullptr;
}

bool INDEX_Insert(AreaIndex* pIndex, DataArea* pArea) {
  if (pIndex->NumBlocks == 0 && NewBlock(pIndex, 0, pArea->Addr) == nullptr) {
    return false;
  }
  uint32_t Block = BlockFor(*pIndex, pArea->Addr);
  if (pIndex->paBlockRef[Block].pBlock->NumEntries == BLOCK_CAPACITY) {
    if (!SplitBlock(pIndex, Block, pArea->Addr)) {
      return false;
    }
    Block = BlockFor(*pIndex, pArea->Addr);
  }
  IndexBlock* pBlock = pIndex->paBlockRef[Block].pBlock;
  InsertAt(pBlock->aEntry, pBlock->NumEntries, EntriesAtOrBelow(*pBlock, pArea->Addr), {pArea->Addr, pArea});
  ++pBlock->NumEntries;
  RefreshFirstAddr(pIndex, Block);
  return true;
}

void INDEX_Remove(AreaIndex* pIndex, uint64_t Addr) {
  const IndexPlace Place = PlaceOf(*pIndex, Addr);
  IndexBlock* pBlock = pIndex->paBlockRef[Place.Block].pBlock;
  RemoveAt(pBlock->aEntry, pBlock->NumEntries, Place.Entry);
  --pBlock->NumEntries;
  if (pBlock->NumEntries != 0) {
    RefreshFirstAddr(pIndex, Place.Block);
    return;
  }
  SYS_Free(pBlock);
  RemoveAt(pIndex->paBlockRef, pIndex->NumBlocks, Place.Block);
  --pIndex->NumBlocks;
}

void INDEX_Move(AreaIndex* pIndex, uint64_t OldAddr, uint64_t NewAddr) {
  const IndexPlace Place = PlaceOf(*pIndex, OldAddr);
  pIndex->paBlockRef[Place.Block].pBlock->aEntry[Place.Entry].Addr = NewAddr;
  RefreshFirstAddr(pIndex, Place.Block);
}

void INDEX_Clear(AreaIndex* pIndex) {
  for (uint32_t i = 0; i < pIndex->NumBlocks; ++i) {
    SYS_Free(pIndex->paBlockRef[i].pBlock);
  }
  SYS_Free(pIndex->paBlockRef);
  *pIndex = {};
}
