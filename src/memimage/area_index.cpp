#include "memimage/area_index.h"

#include <algorithm>
#include <array>

namespace {

constexpr uint32_t NODE_CAPACITY = 64;

/// What an entry leads to: on the lowest level an area, above it a node.
union IndexRef {
  IndexNode* pChild;
  DataArea* pArea;
};

}  // namespace

/// A node's entries: addresses, ascending, and what they lead to. In a leaf each is the address of its area; above, it
/// is the lowest address in its child.
struct IndexNode {
  uint32_t NumEntries;
  std::array<uint64_t, NODE_CAPACITY> aAddr;
  std::array<IndexRef, NODE_CAPACITY> aRef;
};

namespace {

/// Returns how many entries have an address at or below Addr.
uint32_t EntriesAtOrBelow(const IndexNode& Node, uint64_t Addr) {
  const uint64_t* pFirst = Node.aAddr.data();
  return static_cast<uint32_t>(std::upper_bound(pFirst, pFirst + Node.NumEntries, Addr) - pFirst);
}

/// Returns the position of the entry that Addr belongs to: the last at or below it, else the first.
uint32_t EntryFor(const IndexNode& Node, uint64_t Addr) {
  const uint32_t Num = EntriesAtOrBelow(Node, Addr);
  return Num != 0 ? Num - 1 : 0;
}

/// Puts New at position At of an array in which Num elements are used.
template <typename Array, typename Element>
void InsertAt(Array* pArray, uint32_t Num, uint32_t At, Element New) {
  std::copy_backward(pArray->begin() + At, pArray->begin() + Num, pArray->begin() + Num + 1);
  (*pArray)[At] = New;
}

template <typename Array>
void RemoveAt(Array* pArray, uint32_t Num, uint32_t At) {
  std::copy(pArray->begin() + At + 1, pArray->begin() + Num, pArray->begin() + At);
}

/// Adds an entry to a node that is not full.
void InsertEntry(IndexNode* pNode, uint32_t At, uint64_t Addr, IndexRef Ref) {
  InsertAt(&pNode->aAddr, pNode->NumEntries, At, Addr);
  InsertAt(&pNode->aRef, pNode->NumEntries, At, Ref);
  ++pNode->NumEntries;
}

void RemoveEntry(IndexNode* pNode, uint32_t At) {
  RemoveAt(&pNode->aAddr, pNode->NumEntries, At);
  RemoveAt(&pNode->aRef, pNode->NumEntries, At);
  --pNode->NumEntries;
}

bool IsFull(const IndexNode& Node) {
  return Node.NumEntries == NODE_CAPACITY;
}

/// Returns a node without entries, null without memory.
[[nodiscard]] IndexNode* NewNode(AreaIndex* pIndex) {
  IndexNode* pNode = static_cast<IndexNode*>(POOL_Take(&pIndex->Pool, sizeof(IndexNode)));
  if (pNode != nullptr) {
    pNode->NumEntries = 0;
  }
  return pNode;
}

/// Splits a full child so that an entry for Addr finds room in it; the parent has room for one entry more. The last
/// child keeps what it has, but for the last entry, if it grows at its end: appended areas then fill their nodes.
[[nodiscard]] bool SplitChild(AreaIndex* pIndex, IndexNode* pParent, uint32_t At, uint64_t Addr) {
  IndexNode* pFull = pParent->aRef[At].pChild;
  IndexNode* pNew = NewNode(pIndex);
  if (pNew == nullptr) {
    return false;
  }
  const bool IsAppend = At + 1 == pParent->NumEntries && pFull->aAddr[NODE_CAPACITY - 1] < Addr;
  const uint32_t NumKept = IsAppend ? NODE_CAPACITY - 1 : NODE_CAPACITY / 2;
  std::copy(pFull->aAddr.begin() + NumKept, pFull->aAddr.end(), pNew->aAddr.begin());
  std::copy(pFull->aRef.begin() + NumKept, pFull->aRef.end(), pNew->aRef.begin());
  pNew->NumEntries = NODE_CAPACITY - NumKept;
  pFull->NumEntries = NumKept;
  InsertEntry(pParent, At + 1, pNew->aAddr[0], {.pChild = pNew});
  return true;
}

/// Makes sure that there is a root with room for one entry more: the first leaf, or one above a full root, which is
/// split.
[[nodiscard]] bool MakeRoomInRoot(AreaIndex* pIndex, uint64_t Addr) {
  IndexNode* pOld = pIndex->pRoot;
  if (pOld != nullptr && !IsFull(*pOld)) {
    return true;
  }
  IndexNode* pRoot = NewNode(pIndex);
  if (pRoot == nullptr) {
    return false;
  }
  if (pOld != nullptr) {
    InsertEntry(pRoot, 0, pOld->aAddr[0], {.pChild = pOld});
    if (!SplitChild(pIndex, pRoot, 0, Addr)) {
      POOL_Give(&pIndex->Pool, pRoot);
      return false;
    }
  }
  pIndex->pRoot = pRoot;
  ++pIndex->NumLevels;
  return true;
}

/// Removes the entry that was made with Addr from the tree below a node. Returns whether the node is empty now.
/// It calls itself once a level. Levels come with splits of full nodes alone, so there are few.
// NOLINTNEXTLINE(misc-no-recursion)
[[nodiscard]] bool RemoveBelow(AreaIndex* pIndex, IndexNode* pNode, uint32_t Level, uint64_t Addr) {
  const uint32_t At = EntryFor(*pNode, Addr);
  if (Level > 1) {
    IndexNode* pChild = pNode->aRef[At].pChild;
    if (!RemoveBelow(pIndex, pChild, Level - 1, Addr)) {
      pNode->aAddr[At] = pChild->aAddr[0];
      return false;
    }
    POOL_Give(&pIndex->Pool, pChild);
  }
  RemoveEntry(pNode, At);
  return pNode->NumEntries == 0;
}

/// Lowers the address of the entry that OldAddr belongs to if it is OldAddr. Returns the entry's position.
uint32_t LowerEntry(IndexNode* pNode, uint64_t OldAddr, uint64_t NewAddr) {
  const uint32_t At = EntryFor(*pNode, OldAddr);
  if (pNode->aAddr[At] == OldAddr) {
    pNode->aAddr[At] = NewAddr;
  }
  return At;
}

}  // namespace

DataArea* INDEX_Find(const AreaIndex& Index, uint64_t Addr) {
  const IndexNode* pNode = Index.pRoot;
  for (uint32_t Level = Index.NumLevels; Level > 1; --Level) {
    pNode = pNode->aRef[EntryFor(*pNode, Addr)].pChild;
  }
  const uint32_t Num = pNode != nullptr ? EntriesAtOrBelow(*pNode, Addr) : 0;
  return Num != 0 ? pNode->aRef[Num - 1].pArea : nullptr;
}

bool INDEX_Insert(AreaIndex* pIndex, DataArea* pArea) {
  if (!MakeRoomInRoot(pIndex, pArea->Addr)) {
    return false;
  }
  IndexNode* pNode = pIndex->pRoot;
  for (uint32_t Level = pIndex->NumLevels; Level > 1; --Level) {
    uint32_t At = EntryFor(*pNode, pArea->Addr);
    if (IsFull(*pNode->aRef[At].pChild)) {
      if (!SplitChild(pIndex, pNode, At, pArea->Addr)) {
        return false;
      }
      At = EntryFor(*pNode, pArea->Addr);
    }
    pNode->aAddr[At] = std::min(pNode->aAddr[At], pArea->Addr);
    pNode = pNode->aRef[At].pChild;
  }
  InsertEntry(pNode, EntriesAtOrBelow(*pNode, pArea->Addr), pArea->Addr, {.pArea = pArea});
  return true;
}

void INDEX_Remove(AreaIndex* pIndex, uint64_t Addr) {
  if (!INDEX_IsEmpty(*pIndex) && RemoveBelow(pIndex, pIndex->pRoot, pIndex->NumLevels, Addr)) {
    INDEX_Clear(pIndex);
  }
}

void INDEX_Lower(AreaIndex* pIndex, uint64_t OldAddr, uint64_t NewAddr) {
  IndexNode* pNode = pIndex->pRoot;
  for (uint32_t Level = pIndex->NumLevels; Level > 1; --Level) {
    pNode = pNode->aRef[LowerEntry(pNode, OldAddr, NewAddr)].pChild;
  }
  if (pNode != nullptr) {
    LowerEntry(pNode, OldAddr, NewAddr);
  }
}

void INDEX_Clear(AreaIndex* pIndex) {
  POOL_Clear(&pIndex->Pool);
  *pIndex = {};
}
