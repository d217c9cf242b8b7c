#include "memimage/area_index.h"

#include <algorithm>
#include <array>

#include "sys/heap.h"

namespace {

constexpr uint32_t PAGE_CAPACITY = 128;
constexpr uint32_t MIN_LIST_CAPACITY = 16;

}  // namespace

struct IndexEntry {
  uint64_t Addr;
  DataArea* pArea;
};

/// Entries in ascending order of address.
struct IndexPage {
  uint32_t NumEntries;
  std::array<IndexEntry, PAGE_CAPACITY> aEntry;
};

namespace {

/// Returns how many entries of a page are at or below Addr.
uint32_t NumAtOrBelow(const IndexPage& Page, uint64_t Addr) {
  const auto IsBelow = [](uint64_t A, const IndexEntry& B) { return A < B.Addr; };
  const IndexEntry* pFirst = Page.aEntry.data();
  return static_cast<uint32_t>(std::upper_bound(pFirst, pFirst + Page.NumEntries, Addr, IsBelow) - pFirst);
}

/// Returns the position of the page for Addr: the last page that begins at or below Addr, else the first page.
uint32_t PageFor(const AreaIndex& Index, uint64_t Addr) {
  const auto IsBelow = [](uint64_t A, const IndexPageRef& B) { return A < B.FirstAddr; };
  const IndexPageRef* pNext = std::upper_bound(Index.paPage, Index.paPage + Index.NumPages, Addr, IsBelow);
  return pNext != Index.paPage ? static_cast<uint32_t>(pNext - Index.paPage - 1) : 0;
}

/// Adds an entry to a page that is not full.
void InsertEntry(IndexPageRef* pRef, DataArea* pArea) {
  IndexPage* pPage = pRef->pPage;
  const uint32_t At = NumAtOrBelow(*pPage, pArea->Addr);
  const uint32_t Num = pPage->NumEntries++;
  std::copy_backward(pPage->aEntry.begin() + At, pPage->aEntry.begin() + Num, pPage->aEntry.begin() + Num + 1);
  pPage->aEntry[At] = {pArea->Addr, pArea};
  pRef->FirstAddr = pPage->aEntry[0].Addr;
}

void RemoveEntry(IndexPage* pPage, uint32_t At) {
  std::copy(pPage->aEntry.begin() + At + 1, pPage->aEntry.begin() + pPage->NumEntries, pPage->aEntry.begin() + At);
  --pPage->NumEntries;
}

/// Makes room in the list for one more page.
[[nodiscard]] bool ReserveInList(AreaIndex* pIndex) {
  if (pIndex->NumPages < pIndex->NumPagesAlloc) {
    return true;
  }
  const uint32_t NewAlloc = std::max(2 * pIndex->NumPagesAlloc, MIN_LIST_CAPACITY);
  void* pList = SYS_Realloc(pIndex->paPage, NewAlloc * static_cast<uint32_t>(sizeof(IndexPageRef)));
  if (pList == nullptr) {
    return false;
  }
  pIndex->paPage = static_cast<IndexPageRef*>(pList);
  pIndex->NumPagesAlloc = NewAlloc;
  return true;
}

/// Inserts an empty page at position At of the list. Returns null, with the list as it was, if memory is exhausted.
[[nodiscard]] IndexPage* AddPage(AreaIndex* pIndex, uint32_t At) {
  if (!ReserveInList(pIndex)) {
    return nullptr;
  }
  IndexPage* pPage = static_cast<IndexPage*>(SYS_Alloc(sizeof(IndexPage)));
  if (pPage != nullptr) {
    pPage->NumEntries = 0;
    IndexPageRef* pEnd = pIndex->paPage + pIndex->NumPages++;
    std::copy_backward(pIndex->paPage + At, pEnd, pEnd + 1);
    pIndex->paPage[At] = {0, pPage};
  }
  return pPage;
}

/// Splits a full page, so that it or the page after it has room for Addr. At the end of the list only the last entry
/// moves: pages then fill up when areas are entered in ascending order.
[[nodiscard]] bool SplitPage(AreaIndex* pIndex, uint32_t At, uint64_t Addr) {
  IndexPage* pNew = AddPage(pIndex, At + 1);
  if (pNew == nullptr) {
    return false;
  }
  IndexPage* pFull = pIndex->paPage[At].pPage;
  const bool IsAtEnd = At + 2 == pIndex->NumPages && pFull->aEntry.back().Addr < Addr;
  const uint32_t NumKept = IsAtEnd ? PAGE_CAPACITY - 1 : PAGE_CAPACITY / 2;
  std::copy(pFull->aEntry.begin() + NumKept, pFull->aEntry.end(), pNew->aEntry.begin());
  pNew->NumEntries = PAGE_CAPACITY - NumKept;
  pFull->NumEntries = NumKept;
  pIndex->paPage[At + 1].FirstAddr = pNew->aEntry[0].Addr;
  return true;
}

void RemovePage(AreaIndex* pIndex, uint32_t At) {
  SYS_Free(pIndex->paPage[At].pPage);
  std::copy(pIndex->paPage + At + 1, pIndex->paPage + pIndex->NumPages, pIndex->paPage + At);
  --pIndex->NumPages;
}

}  // namespace

AreaNeighbours INDEX_Find(const AreaIndex& Index, uint64_t Addr) {
  const uint32_t At = PageFor(Index, Addr);
  const IndexPage& Page = *Index.paPage[At].pPage;
  const uint32_t Num = NumAtOrBelow(Page, Addr);
  AreaNeighbours Found{Num != 0 ? Page.aEntry[Num - 1].pArea : nullptr, nullptr};
  // The processor can fetch both areas at once. pBelow->pNext would make it wait for the first.
  if (Num < Page.NumEntries) {
    Found.pAbove = Page.aEntry[Num].pArea;
  } else if (At + 1 < Index.NumPages) {
    Found.pAbove = Index.paPage[At + 1].pPage->aEntry[0].pArea;
  }
  return Found;
}

bool INDEX_Insert(AreaIndex* pIndex, DataArea* pArea) {
  if (INDEX_IsEmpty(*pIndex) && AddPage(pIndex, 0) == nullptr) {
    return false;
  }
  uint32_t At = PageFor(*pIndex, pArea->Addr);
  if (pIndex->paPage[At].pPage->NumEntries == PAGE_CAPACITY) {
    if (!SplitPage(pIndex, At, pArea->Addr)) {
      return false;
    }
    At = PageFor(*pIndex, pArea->Addr);
  }
  InsertEntry(&pIndex->paPage[At], pArea);
  return true;
}

void INDEX_Remove(AreaIndex* pIndex, uint64_t Addr) {
  if (INDEX_IsEmpty(*pIndex)) {
    return;
  }
  const uint32_t At = PageFor(*pIndex, Addr);
  IndexPageRef* pRef = &pIndex->paPage[At];
  RemoveEntry(pRef->pPage, NumAtOrBelow(*pRef->pPage, Addr) - 1);
  if (pRef->pPage->NumEntries == 0) {
    RemovePage(pIndex, At);
  } else {
    pRef->FirstAddr = pRef->pPage->aEntry[0].Addr;
  }
}

void INDEX_Lower(AreaIndex* pIndex, uint64_t OldAddr, uint64_t NewAddr) {
  if (INDEX_IsEmpty(*pIndex)) {
    return;
  }
  IndexPageRef* pRef = &pIndex->paPage[PageFor(*pIndex, OldAddr)];
  pRef->pPage->aEntry[NumAtOrBelow(*pRef->pPage, OldAddr) - 1].Addr = NewAddr;
  pRef->FirstAddr = pRef->pPage->aEntry[0].Addr;
}

void INDEX_Clear(AreaIndex* pIndex) {
  for (uint32_t i = 0; i < pIndex->NumPages; ++i) {
    SYS_Free(pIndex->paPage[i].pPage);
  }
  SYS_Free(pIndex->paPage);
  *pIndex = {};
}
