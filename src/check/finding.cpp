#include "check/source_line.h"

#include <algorithm>
#include <array>
#include <cstdio>

#include "sys/file.h"
#include "util/hex_digits.h"

namespace {

constexpr uint32_t MAX_WIDTH = 78;   ///< Characters of an excerpt: a screen of 80 less its indent.
constexpr uint32_t NUM_BEFORE = 39;  ///< Of these, before the place where the line is longer.

/// A walk to a place. Of the place's line it keeps what can be shown.
struct LineScan {
  uint64_t Place;
  uint64_t Offset = 0;  ///< Of the next byte.
  uint64_t Line = 1;
  bool IsAfterCr = false;
  uint32_t NumChars = 0;
  uint32_t Mark = 0;  ///< Characters before the place.
  std::array<char, MAX_WIDTH + NUM_BEFORE + MAX_WIDTH> acText = {};
};

/// Keeps a byte of a line; of a long line, what is far before the place is dropped. Returns false when that is enough.
bool Keep(LineScan* pScan, uint8_t Byte) {
  char* pText = pScan->acText.data();
  if (pScan->Offset < pScan->Place && pScan->NumChars >= MAX_WIDTH + NUM_BEFORE) {
    std::copy(pText + pScan->NumChars - NUM_BEFORE, pText + pScan->NumChars, pText);
    pScan->NumChars = NUM_BEFORE;
  }
  pScan->NumChars = static_cast<uint32_t>(CHECK_PutVisible(pText + pScan->NumChars, Byte) - pText);
  return pScan->NumChars + 4 < pScan->acText.size();
}

/// Takes the next byte of the file. LF, CR LF and a CR that no LF follows end a line.
/// Returns false when enough of the place's line is kept.
bool Take(LineScan* pScan, uint8_t Byte) {
  const bool IsBefore = pScan->Offset < pScan->Place;
  const bool IsLineEnd = Byte == '\n' || Byte == '\r';
  if (IsLineEnd ? !IsBefore : !Keep(pScan, Byte)) {
    return false;
  }
  if (IsLineEnd && (Byte == '\r' || !pScan->IsAfterCr)) {
    ++pScan->Line;
    pScan->NumChars = 0;
  }
  pScan->IsAfterCr = Byte == '\r';
  pScan->Mark = IsBefore ? pScan->NumChars : pScan->Mark;
  ++pScan->Offset;
  return true;
}

/// Returns whether the file has the place.
[[nodiscard]] bool ScanTo(LineScan* pScan, const char* pPath) {
  // A pipe gives its bytes once, and opening it again could wait for ever.
  std::FILE* pFile = SYS_IsRegularFile(pPath) ? std::fopen(pPath, "rbe") : nullptr;
  if (pFile == nullptr) {
    return false;
  }
  int Byte = std::getc(pFile);
  while (Byte != EOF && Take(pScan, static_cast<uint8_t>(Byte))) {
    Byte = std::getc(pFile);
  }
  std::fclose(pFile);
  return pScan->Offset >= pScan->Place;
}

}  // namespace

char* CHECK_PutVisible(char* pText, uint8_t Byte) {
  if (Byte >= ' ' && Byte <= '~') {
    *pText = static_cast<char>(Byte);
    return pText + 1;
  }
  *pText++ = '\\';
  *pText++ = 'x';
  *pText++ = UTIL_HEX_DIGITS[Byte >> 4];
  *pText++ = UTIL_HEX_DIGITS[Byte & 0xF];
  return pText;
}

void CHECK_Report(const CheckSink& Sink, CheckLevel Level, const char* pText, const char* pPath, uint64_t Offset) {
  LineScan Scan{.Place = Offset};
  if (Offset == READ_NOWHERE || !ScanTo(&Scan, pPath)) {
    Sink.pfFound(Sink.pContext, {Level, pText, 0, "", 0});
    return;
  }
  const uint32_t First = Scan.NumChars > MAX_WIDTH && Scan.Mark > NUM_BEFORE ? Scan.Mark - NUM_BEFORE : 0;
  Scan.acText[std::min(Scan.NumChars, First + MAX_WIDTH)] = '\0';
  Sink.pfFound(Sink.pContext, {Level, pText, Scan.Line, Scan.acText.data() + First, Scan.Mark - First});
}
