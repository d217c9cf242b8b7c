#include "util/format_buffer.h"

#include <algorithm>
#include <cstring>

#include "util/hex_digits.h"

namespace {

/// The part of a buffer that characters go to.
struct Slot {
  char* pText;
  size_t NumChars;
};

/// Counts Num more characters. Returns where those of them go that fit before the place of the terminator.
Slot Take(FormatBuffer* pBuffer, int64_t Num) {
  const int64_t Room = std::max<int64_t>(int64_t{pBuffer->BufSize} - 1 - pBuffer->NumChars, 0);
  char* pText = Room != 0 ? pBuffer->pBuf + pBuffer->NumChars : pBuffer->pBuf;
  pBuffer->NumChars = static_cast<int32_t>(std::min<int64_t>(pBuffer->NumChars + Num, INT32_MAX));
  return {pText, static_cast<size_t>(std::min(Num, Room))};
}

}  // namespace

DigitRun UTIL_StartDigits(uint64_t Value, uint32_t Base) {
  DigitRun Run{Value, 1, Base, 1};
  while (Value / Run.Power >= Base) {
    Run.Power *= Base;
    ++Run.NumDigits;
  }
  return Run;
}

void UTIL_PutDigits(FormatBuffer* pBuffer, const DigitRun& Run, bool IsUpper) {
  uint64_t Rest = Run.Value;
  for (uint64_t Power = Run.Power; Power != 0; Power /= Run.Base) {
    const char Digit = UTIL_HEX_DIGITS[Rest / Power];
    UTIL_PutChar(pBuffer, static_cast<char>(IsUpper ? Digit : Digit | 0x20));  // decimal digits have this bit anyway
    Rest %= Power;
  }
}

void UTIL_PutChar(FormatBuffer* pBuffer, char c) {
  UTIL_PutRepeated(pBuffer, c, 1);
}

void UTIL_PutRepeated(FormatBuffer* pBuffer, char c, int64_t Num) {
  const Slot Target = Take(pBuffer, std::max<int64_t>(Num, 0));
  std::memset(Target.pText, c, Target.NumChars);
}

void UTIL_PutText(FormatBuffer* pBuffer, const char* pText, uint32_t Num) {
  const Slot Target = Take(pBuffer, Num);
  std::memcpy(Target.pText, pText, Target.NumChars);
}

char* UTIL_Terminate(FormatBuffer* pBuffer) {
  if (pBuffer->BufSize < 1) {
    return pBuffer->pBuf;
  }
  char* pEnd = pBuffer->pBuf + std::min(pBuffer->NumChars, pBuffer->BufSize - 1);
  *pEnd = '\0';
  return pEnd;
}

int32_t UTIL_ReadCount(const char** ppFormat) {
  int64_t Count = 0;
  while (**ppFormat >= '0' && **ppFormat <= '9') {
    Count = std::min<int64_t>(Count * 10 + (**ppFormat - '0'), INT32_MAX);
    ++*ppFormat;
  }
  return static_cast<int32_t>(Count);
}
