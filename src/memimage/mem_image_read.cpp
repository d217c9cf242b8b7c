#include <algorithm>
#include <cstring>

#include "memimage/mem_image.h"

namespace {

/// A span of addresses to read.
struct Span {
  uint64_t Addr;
  uint64_t NumBytes;  ///< Stays far below 2 to the power 64, so no sum wraps.
};

/// Returns the last address of a span that is not empty.
uint64_t LastOf(const Span& Range) {
  return Range.Addr + (Range.NumBytes - 1);
}

/// Where the bytes of a span go, and the value of those that hold no data.
struct SpanOutput {
  uint8_t* pData;   ///< May be null.
  uint8_t* pValid;  ///< May be null.
  uint8_t FillByte;
  bool MarksAll;  ///< Whether addresses without storage count as valid: only while no bytes are pending.
};

/// Returns 2 to the power of the low five bits of Bits, less 1.
uint64_t MaskOf(uint32_t Bits) {
  return (uint64_t{1} << (Bits & 31)) - 1;
}

/// Extends a span over the runs that follow within MaxGap until it is long enough.
void BridgeGaps(MemImage* pImage, Span* pSpan, uint64_t EndAddr, uint64_t MaxGap, uint64_t MaxNumBytes) {
  uint64_t Next = pSpan->Addr + pSpan->NumBytes;
  // Next is 0 after a run that ends at the top of the address space: nothing follows it.
  while (pSpan->NumBytes < MaxNumBytes && Next != 0) {
    uint64_t Found = 0;
    const uint64_t NumBytes = static_cast<uint64_t>(MEMIMG_FindRun(pImage, Next, EndAddr, &Found));
    const uint64_t Gap = Found - Next;
    if (NumBytes == 0 || Gap > MaxGap) {
      return;
    }
    if (Gap >= MaxNumBytes - pSpan->NumBytes) {
      pSpan->NumBytes = MaxNumBytes;  // the rest would be cut anyway
      return;
    }
    pSpan->NumBytes += Gap + NumBytes;
    Next = Found + NumBytes;
  }
}

void AlignStart(Span* pSpan, uint32_t Bits) {
  const uint64_t Below = pSpan->Addr & MaskOf(Bits);
  pSpan->Addr -= Below;
  pSpan->NumBytes += Below;
}

void AlignEnd(Span* pSpan, uint32_t Bits) {
  pSpan->NumBytes += (0 - (pSpan->Addr + pSpan->NumBytes)) & MaskOf(Bits);
}

/// If a span is too long, pulls its end back to an aligned address, but not before its start.
void LimitLength(Span* pSpan, uint64_t MaxNumBytes, uint32_t AlignEndBits) {
  if (pSpan->NumBytes > MaxNumBytes) {
    const uint64_t Mask = AlignEndBits != 0 ? MaskOf(AlignEndBits) : 0;
    const uint64_t Beyond = (pSpan->Addr + MaxNumBytes) & Mask;
    pSpan->NumBytes = MaxNumBytes - std::min(Beyond, MaxNumBytes);
  }
}

/// Returns an area at or before the first one in the span: the area where the last run search stopped, if it is early
/// enough, so that a scan from front to back never starts over.
const DataArea* FirstAreaFor(const MemImage& Image, const Span& Range) {
  return Image.pCursorArea->Addr <= Range.Addr ? Image.pCursorArea : Image.pFirstArea;
}

/// Copies those bytes of the span that an area holds.
void CopyOverlap(const DataArea& Area, const Span& Range, const SpanOutput& Out) {
  const uint64_t First = std::max(Area.Addr, Range.Addr);
  const uint64_t Last = std::min(AREA_LastOf(Area), LastOf(Range));
  if (First > Last) {
    return;
  }
  const size_t NumBytes = static_cast<size_t>(Last - First + 1);
  if (Out.pData != nullptr && AREA_HasStorage(Area)) {
    std::memcpy(Out.pData + (First - Range.Addr), Area.pData + (First - Area.Addr), NumBytes);
  }
  if (Out.pValid != nullptr && (Out.MarksAll || AREA_HasStorage(Area))) {
    std::memset(Out.pValid + (First - Range.Addr), 1, NumBytes);
  }
}

bool IsWithin(const Span& Range, const DataArea& Area) {
  return Area.Addr <= Range.Addr && LastOf(Range) <= AREA_LastOf(Area);
}

/// Fills the span from the areas: one fill, then one copy per area. If one area holds the whole span, only the copy.
void FillFromAreas(const DataArea* pArea, const Span& Range, const SpanOutput& Out) {
  if (AREA_HasStorage(*pArea) && IsWithin(Range, *pArea)) {
    CopyOverlap(*pArea, Range, Out);
    return;
  }
  if (Out.pData != nullptr) {
    std::memset(Out.pData, Out.FillByte, static_cast<size_t>(Range.NumBytes));
  }
  if (Out.pValid != nullptr) {
    std::memset(Out.pValid, 0, static_cast<size_t>(Range.NumBytes));
  }
  for (; pArea != nullptr && pArea->Addr <= LastOf(Range); pArea = pArea->pNext) {
    CopyOverlap(*pArea, Range, Out);
  }
}

/// Puts the pending bytes of the span over the stored ones. The newest byte for an address comes last, so it counts.
void PutPending(const MemImage& Image, const Span& Range, const SpanOutput& Out) {
  for (uint64_t i = 0; i < Image.NumPending; ++i) {
    const uint64_t Index = Image.paPending[i].Addr - Range.Addr;
    if (Index < Range.NumBytes && Out.pData != nullptr) {
      Out.pData[Index] = Image.paPending[i].Value;
    }
    if (Index < Range.NumBytes && Out.pValid != nullptr) {
      Out.pValid[Index] = 1;
    }
  }
}

}  // namespace

int64_t MEMIMG_FindRun(MemImage* pImage, uint64_t Addr, uint64_t EndAddr, uint64_t* pFoundAddr) {
  if (pImage->pFirstArea == nullptr) {
    return 0;
  }
  const bool IsCursorUsable = pImage->CursorIndex >= 0 && pImage->pCursorArea->Addr <= Addr;
  int64_t Position = IsCursorUsable ? pImage->CursorIndex : 0;
  for (DataArea* pArea = IsCursorUsable ? pImage->pCursorArea : pImage->pFirstArea; pArea != nullptr;
       pArea = pArea->pNext, ++Position) {
    pImage->CursorIndex = Position;
    pImage->pCursorArea = pArea;
    const uint64_t First = pArea->Addr;
    const uint64_t Last = AREA_LastOf(*pArea);
    if (First <= Addr && Last >= Addr) {
      *pFoundAddr = Addr;
      return Last <= EndAddr ? static_cast<int64_t>(Last - Addr + 1)
                             : std::max<int64_t>(static_cast<int64_t>(EndAddr - Addr + 1), 0);
    }
    if (First >= Addr && Last <= EndAddr) {
      *pFoundAddr = First;
      return static_cast<int64_t>(pArea->NumBytes);
    }
    if (First <= EndAddr && Last > EndAddr) {
      *pFoundAddr = First;
      return static_cast<int64_t>(EndAddr - First + 1);
    }
    if (First > Addr) {
      *pFoundAddr = First;
      return 0;
    }
  }
  return 0;
}

int64_t MEMIMG_ReadData(MemImage* pImage, uint64_t StartAddr, uint64_t EndAddr, uint64_t MaxGap, uint32_t FillByte,
                        uint8_t* pData, uint8_t* pValid, uint64_t* pFoundAddr, int64_t MaxNumBytes,
                        uint32_t AlignStartBits, uint32_t AlignEndBits) {
  Span Range{0, 0};
  if (StartAddr <= EndAddr) {
    Range.NumBytes = static_cast<uint64_t>(MEMIMG_FindRun(pImage, StartAddr, EndAddr, &Range.Addr));
  }
  if (Range.NumBytes == 0) {
    return 0;
  }
  const uint64_t MaxLength = static_cast<uint64_t>(std::max<int64_t>(MaxNumBytes, 0));
  if (MaxGap != 0) {
    BridgeGaps(pImage, &Range, EndAddr, MaxGap, MaxLength);
  }
  if (AlignStartBits != 0) {
    AlignStart(&Range, AlignStartBits);
  }
  if (AlignEndBits != 0) {
    AlignEnd(&Range, AlignEndBits);
  }
  LimitLength(&Range, MaxLength, AlignEndBits);
  if (Range.NumBytes == 0) {
    return 0;
  }
  if (pData != nullptr || pValid != nullptr) {
    const SpanOutput Out{pData, pValid, static_cast<uint8_t>(FillByte), pImage->NumPending == 0};
    FillFromAreas(FirstAreaFor(*pImage, Range), Range, Out);
    PutPending(*pImage, Range, Out);
  }
  if (pFoundAddr != nullptr) {
    *pFoundAddr = Range.Addr;
  }
  return static_cast<int64_t>(Range.NumBytes);
}
