#include "memimage/area_index.h"

#include <algorithm>
#include <array>

#include "sys/heap.h"

namespace {

constexpr uint32_t BLOCK_CAPACITY = 64;
constexpr uint32_t MIN_BLOCK_REFS = 16;

/// Where an entry stands, or would have to stand.
struct IndexPlace {
  uint32_t Block;
  uint32_t Entry;
};

}  // namespace

/// The entries of a block, field by field, so that a search reads addresses and nothing else.
struct IndexBlock {
  uint32_t NumEntries;
  std::array<uint64_t, BLOCK_CAPACITY> aAddr;  ///< First addresses, ascending.
  std::array<uint64_t, BLOCK_CAPACITY> aLast;  ///< Last addresses.
  std::array<DataArea*, BLOCK_CAPACITY> apArea;
};

namespace {

uint64_t KeyOf(uint64_t Addr) {
  return Addr;
}

uint64_t KeyOf(const IndexBlockRef& Ref) {
  return Ref.FirstAddr;
}

/// Returns how many of the Num sorted elements are at or below Addr. Every step but the last halves what is left
/// without a branch on the comparison, which would be mispredicted half of the time.
template <typename Element>
uint32_t CountAtOrBelow(const Element* paElement, uint32_t Num, uint64_t Addr) {
  const Element* pFirst = paElement;
  while (Num > 1) {
    const uint32_t Half = Num / 2;
    pFirst += KeyOf(pFirst[Half - 1]) <= Addr ? Half : 0;
    Num -= Half;
  }
  return static_cast<uint32_t>(pFirst - paElement) + (Num == 1 && KeyOf(*pFirst) <= Addr ? 1 : 0);
}

bool IsInBlock(const AreaIndex& Index, uint32_t Block, uint64_t Addr) {
  return Block < Index.NumBlocks && Index.paBlockRef[Block].FirstAddr <= Addr &&
         (Block + 1 == Index.NumBlocks || Addr < Index.paBlockRef[Block + 1].FirstAddr);
}

/// Returns the block in which Addr belongs: the last that begins at or below it, else the first.
uint32_t BlockFor(AreaIndex* pIndex, uint64_t Addr) {
  if (!IsInBlock(*pIndex, pIndex->RecentBlock, Addr)) {
    const uint32_t Num = CountAtOrBelow(pIndex->paBlockRef, pIndex->NumBlocks, Addr);
    pIndex->RecentBlock = Num != 0 ? Num - 1 : 0;
  }
  return pIndex->RecentBlock;
}

/// Asks for all addresses of a block at once: a search in one that is not in the cache would wait for one line of it
/// after the other.
void PrefetchAddresses(const IndexBlock& Block) {
  constexpr uint32_t ADDRESSES_PER_LINE = 8;
  for (uint32_t i = 0; i < BLOCK_CAPACITY; i += ADDRESSES_PER_LINE) {
    __builtin_prefetch(&Block.aAddr[i]);
  }
}

uint32_t EntriesAtOrBelow(const IndexBlock& Block, uint64_t Addr) {
  return CountAtOrBelow(Block.aAddr.data(), Block.NumEntries, Addr);
}

/// Returns the place of the entry that was made with exactly this address.
IndexPlace PlaceOf(AreaIndex* pIndex, uint64_t Addr) {
  const uint32_t Block = BlockFor(pIndex, Addr);
  return {Block, EntriesAtOrBelow(*pIndex->paBlockRef[Block].pBlock, Addr) - 1};
}

/// Puts Element at position At of an array of Num elements that has room for one more.
template <typename Element>
void InsertAt(Element* paElement, uint32_t Num, uint32_t At, Element New) {
  std::copy_backward(paElement + At, paElement + Num, paElement + Num + 1);
  paElement[At] = New;
}

template <typename Element>
void RemoveAt(Element* paElement, uint32_t Num, uint32_t At) {
  std::copy(paElement + At + 1, paElement + Num, paElement + At);
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
  InsertAt(pIndex->paBlockRef, pIndex->NumBlocks, At, IndexBlockRef{FirstAddr, pBlock});
  ++pIndex->NumBlocks;
  return pBlock;
}

/// Splits a full block so that an entry for Addr finds room. A block that grows at its end keeps what it has, and the
/// new entry starts the next block: appended areas then fill their blocks whole.
[[nodiscard]] bool SplitBlock(AreaIndex* pIndex, uint32_t Block, uint64_t Addr) {
  IndexBlock* pFull = pIndex->paBlockRef[Block].pBlock;
  const bool IsAppend = pFull->aAddr[BLOCK_CAPACITY - 1] < Addr;
  const uint32_t NumKept = IsAppend ? BLOCK_CAPACITY - 1 : BLOCK_CAPACITY / 2;
  IndexBlock* pNew = NewBlock(pIndex, Block + 1, pFull->aAddr[NumKept]);
  if (pNew == nullptr) {
    return false;
  }
  pNew->NumEntries = BLOCK_CAPACITY - NumKept;
  std::copy(pFull->aAddr.begin() + NumKept, pFull->aAddr.end(), pNew->aAddr.begin());
  std::copy(pFull->aLast.begin() + NumKept, pFull->aLast.end(), pNew->aLast.begin());
  std::copy(pFull->apArea.begin() + NumKept, pFull->apArea.end(), pNew->apArea.begin());
  pFull->NumEntries = NumKept;
  return true;
}

/// The reference to a block repeats its first entry's address.
void RefreshFirstAddr(AreaIndex* pIndex, uint32_t Block) {
  IndexBlockRef* pRef = &pIndex->paBlockRef[Block];
  pRef->FirstAddr = pRef->pBlock->aAddr[0];
}

}  // namespace

AreaNeighbours INDEX_Find(AreaIndex* pIndex, uint64_t Addr) {
  const uint32_t At = BlockFor(pIndex, Addr);
  const IndexBlock* pBlock = pIndex->paBlockRef[At].pBlock;
  PrefetchAddresses(*pBlock);
  const uint32_t Num = EntriesAtOrBelow(*pBlock, Addr);
  AreaNeighbours Near{};
  if (Num != 0) {
    Near.pBelow = pBlock->apArea[Num - 1];
    Near.BelowLast = pBlock->aLast[Num - 1];
  }
  if (Num < pBlock->NumEntries) {
    Near.pAbove = pBlock->apArea[Num];
    Near.AboveAddr = pBlock->aAddr[Num];
  } else if (At + 1 < pIndex->NumBlocks) {
    Near.pAbove = pIndex->paBlockRef[At + 1].pBlock->apArea[0];
    Near.AboveAddr = pIndex->paBlockRef[At + 1].FirstAddr;
  }
  return Near;
}

bool INDEX_Insert(AreaIndex* pIndex, DataArea* pArea) {
  if (pIndex->NumBlocks == 0 && NewBlock(pIndex, 0, pArea->Addr) == nullptr) {
    return false;
  }
  uint32_t Block = BlockFor(pIndex, pArea->Addr);
  if (pIndex->paBlockRef[Block].pBlock->NumEntries == BLOCK_CAPACITY) {
    if (!SplitBlock(pIndex, Block, pArea->Addr)) {
      return false;
    }
    Block = BlockFor(pIndex, pArea->Addr);
  }
  IndexBlock* pBlock = pIndex->paBlockRef[Block].pBlock;
  const uint32_t At = EntriesAtOrBelow(*pBlock, pArea->Addr);
  InsertAt(pBlock->aAddr.data(), pBlock->NumEntries, At, pArea->Addr);
  InsertAt(pBlock->aLast.data(), pBlock->NumEntries, At, AREA_LastOf(*pArea));
  InsertAt(pBlock->apArea.data(), pBlock->NumEntries, At, pArea);
  ++pBlock->NumEntries;
  RefreshFirstAddr(pIndex, Block);
  return true;
}

void INDEX_Remove(AreaIndex* pIndex, uint64_t Addr) {
  const IndexPlace Place = PlaceOf(pIndex, Addr);
  IndexBlock* pBlock = pIndex->paBlockRef[Place.Block].pBlock;
  RemoveAt(pBlock->aAddr.data(), pBlock->NumEntries, Place.Entry);
  RemoveAt(pBlock->aLast.data(), pBlock->NumEntries, Place.Entry);
  RemoveAt(pBlock->apArea.data(), pBlock->NumEntries, Place.Entry);
  --pBlock->NumEntries;
  if (pBlock->NumEntries != 0) {
    RefreshFirstAddr(pIndex, Place.Block);
    return;
  }
  SYS_Free(pBlock);
  RemoveAt(pIndex->paBlockRef, pIndex->NumBlocks, Place.Block);
  --pIndex->NumBlocks;
}

void INDEX_Update(AreaIndex* pIndex, uint64_t OldAddr, const DataArea& Area) {
  const IndexPlace Place = PlaceOf(pIndex, OldAddr);
  IndexBlock* pBlock = pIndex->paBlockRef[Place.Block].pBlock;
  pBlock->aAddr[Place.Entry] = Area.Addr;
  pBlock->aLast[Place.Entry] = AREA_LastOf(Area);
  RefreshFirstAddr(pIndex, Place.Block);
}

void INDEX_Prefetch(AreaIndex* pIndex, uint64_t Addr) {
  if (INDEX_IsEmpty(*pIndex)) {
    return;
  }
  uint32_t Block = BlockFor(pIndex, Addr);
  uint32_t Entry = EntriesAtOrBelow(*pIndex->paBlockRef[Block].pBlock, Addr);
  for (uint32_t i = 0; i < INDEX_PREFETCH_AREAS; ++i, ++Entry) {
    if (Entry == pIndex->paBlockRef[Block].pBlock->NumEntries) {
      if (++Block == pIndex->NumBlocks) {
        return;
      }
      Entry = 0;
    }
    const DataArea* pArea = pIndex->paBlockRef[Block].pBlock->apArea[Entry];
    __builtin_prefetch(pArea);
    __builtin_prefetch(pArea + 1);  // its first bytes
  }
}

void INDEX_Clear(AreaIndex* pIndex) {
  for (uint32_t i = 0; i < pIndex->NumBlocks; ++i) {
    SYS_Free(pIndex->paBlockRef[i].pBlock);
  }
  SYS_Free(pIndex->paBlockRef);
  *pIndex = {};
}
