#include "check/source_line.h"

#include <algorithm>
#include <array>

#include "check/byte_source.h"
#include "sys/file.h"
#include "util/hex_digits.h"

namespace {

constexpr uint32_t MAX_WIDTH = 78;   ///< Characters of an excerpt: a screen of 80 less its indent.
constexpr uint32_t NUM_BEFORE = 39;  ///< Of these, before the place when the line is longer.

/// A walk to a place. Of the place's line it keeps what can be shown.
struct LineScan {
  uint64_t Place;
  uint64_t Offset;  ///< Of the next byte.
  uint64_t Line;
  bool IsAfterCr;
  uint32_t NumKept;
  uint32_t Mark;  ///< Kept bytes that precede the place.
  std::array<uint8_t, MAX_WIDTH + 2 * NUM_BEFORE> aKept;
};

/// Keeps a byte of a line. Of a long line those far from the place are dropped. Returns false when enough are kept.
bool Keep(LineScan* pScan, uint8_t Byte) {
  if (pScan->Offset < pScan->Place && pScan->NumKept == MAX_WIDTH + NUM_BEFORE) {
    std::copy_n(pScan->aKept.data() + MAX_WIDTH, NUM_BEFORE, pScan->aKept.data());
    pScan->NumKept = NUM_BEFORE;
  }
  if (pScan->NumKept == pScan->aKept.size()) {
    return false;
  }
  pScan->aKept[pScan->NumKept++] = Byte;
  return true;
}

/// Takes the next byte of the file. LF, CR LF and a CR that no LF follows end a line.
/// Returns false when the line of the place is complete.
bool Take(LineScan* pScan, uint8_t Byte) {
  const bool IsLineEnd = Byte == '\n' || Byte == '\r';
  if (IsLineEnd && pScan->Offset >= pScan->Place) {
    return false;
  }
  if (!IsLineEnd) {
    if (!Keep(pScan, Byte)) {
      return false;
    }
  } else if (Byte == '\r' || !pScan->IsAfterCr) {
    ++pScan->Line;
    pScan->NumKept = 0;
  }
  pScan->IsAfterCr = Byte == '\r';
  if (pScan->Offset < pScan->Place) {
    pScan->Mark = pScan->NumKept;
  }
  ++pScan->Offset;
  return true;
}

/// Returns whether the file has the place.
[[nodiscard]] bool ScanTo(LineScan* pScan, const char* pPath) {
  if (!CHECK_HasLines(pPath)) {
    return false;
  }
  ByteSource Source;
  CHECK_OpenBytes(&Source, pPath);
  int Byte = CHECK_NextByte(&Source);
  while (Byte >= 0 && Take(pScan, static_cast<uint8_t>(Byte))) {
    Byte = CHECK_NextByte(&Source);
  }
  CHECK_CloseBytes(&Source);
  return Byte != BYTE_SOURCE_FAILED && pScan->Offset >= pScan->Place;
}

bool IsPrintable(uint8_t Byte) {
  return Byte >= ' ' && Byte <= '~';
}

uint32_t WidthOf(uint8_t Byte) {
  return IsPrintable(Byte) ? 1 : 4;
}

/// Returns the first kept byte to show: all are shown if they fit, else those around the place.
uint32_t FirstShown(const LineScan& Scan) {
  uint32_t Width = 0;
  for (uint32_t i = 0; i < Scan.NumKept; ++i) {
    Width += WidthOf(Scan.aKept[i]);
  }
  if (Width <= MAX_WIDTH) {
    return 0;
  }
  uint32_t First = Scan.Mark;
  for (Width = 0; First > 0 && Width + WidthOf(Scan.aKept[First - 1]) <= NUM_BEFORE; --First) {
    Width += WidthOf(Scan.aKept[First - 1]);
  }
  return First;
}

}  // namespace

char* CHECK_PutVisible(char* pText, uint8_t Byte) {
  if (IsPrintable(Byte)) {
    *pText = static_cast<char>(Byte);
    return pText + 1;
  }
  pText[0] = '\\';
  pText[1] = 'x';
  return UTIL_EncodeHex(&Byte, 1, pText + 2);
}

bool CHECK_HasLines(const char* pPath) {
  // A pipe gives its bytes once, and opening it again could wait for ever.
  return SYS_IsRegularFile(pPath);
}

void CHECK_ReportAt(const CheckSink& Sink, CheckLevel Level, const char* pText, const char* pPath, uint64_t Offset) {
  LineScan Scan{};
  Scan.Place = Offset;
  Scan.Line = 1;
  if (!ScanTo(&Scan, pPath)) {
    CHECK_Report(Sink, Level, pText);
    return;
  }
  std::array<char, MAX_WIDTH + 1> acExcerpt;
  char* pEnd = acExcerpt.data();
  CheckFinding Finding{Level, pText, Scan.Line, acExcerpt.data(), 0};
  for (uint32_t i = FirstShown(Scan); i < Scan.NumKept; ++i) {
    const uint32_t NumShown = static_cast<uint32_t>(pEnd - acExcerpt.data());
    if (NumShown + WidthOf(Scan.aKept[i]) > MAX_WIDTH) {
      break;
    }
    pEnd = CHECK_PutVisible(pEnd, Scan.aKept[i]);
    if (i < Scan.Mark) {
      Finding.MarkColumn = static_cast<uint32_t>(pEnd - acExcerpt.data());
    }
  }
  *pEnd = '\0';
  Sink.pfFound(Sink.pContext, Finding);
}

void CHECK_Report(const CheckSink& Sink, CheckLevel Level, const char* pText) {
  Sink.pfFound(Sink.pContext, {Level, pText, 0, "", 0});
}
