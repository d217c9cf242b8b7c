#include "util/text.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace {

constexpr std::array<uint8_t, 256> MakeCaseFoldTable() {
  std::array<uint8_t, 256> aFold{};
  for (unsigned i = 0; i < aFold.size(); ++i) {
    const bool IsUpper = i >= 'A' && i <= 'Z';
    aFold[i] = static_cast<uint8_t>(IsUpper ? i - 'A' + 'a' : i);
  }
  return aFold;
}

constexpr std::array<uint8_t, 256> CASE_FOLD = MakeCaseFoldTable();

uint8_t Fold(char c) {
  return CASE_FOLD[static_cast<uint8_t>(c)];
}

}  // namespace

uint32_t UTIL_CopyString(char* pDest, const char* pSrc, uint32_t DestSize) {
  if (pDest == nullptr || pSrc == nullptr || DestSize == 0) {
    return UTIL_COPY_NOTHING;
  }
  const uint64_t Len = UTIL_StrLen(pSrc);
  const uint64_t NumCopied = std::min<uint64_t>(DestSize - 1, Len);
  std::memcpy(pDest, pSrc, static_cast<size_t>(NumCopied));
  pDest[NumCopied] = '\0';
  return static_cast<uint32_t>(Len + 1);
}

void UTIL_AppendString(char* pDest, const char* pSrc, uint32_t DestSize) {
  const uint64_t DestLen = UTIL_StrLen(pDest);
  if (DestLen + 1 > DestSize) {
    return;
  }
  UTIL_CopyString(pDest + DestLen, pSrc, static_cast<uint32_t>(DestSize - DestLen));
}

int UTIL_CompareNoCase(const char* pA, const char* pB) {
  while (*pA != '\0' && Fold(*pA) == Fold(*pB)) {
    ++pA;
    ++pB;
  }
  return static_cast<int8_t>(Fold(*pA)) - static_cast<int8_t>(Fold(*pB));
}

uint64_t UTIL_StrLen(const char* pText) {
  return std::strlen(pText);
}

uint32_t UTIL_StrLenMax(const char* pText, uint32_t MaxLen) {
  uint32_t Len = 0;
  while (Len < MaxLen && pText[Len] != '\0') {
    ++Len;
  }
  return Len;
}
