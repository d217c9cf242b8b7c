#include "util/format_buffer.h"

#include <algorithm>
#include <cstring>

#include "util/hex_digits.h"

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
  const int64_t NumPut = std::max<int64_t>(Num, 0);
  const int64_t Room = int64_t{pBuffer->BufSize} - 1 - pBuffer->NumChars;
  if (Room > 0) {
    std::memset(pBuffer->pBuf + pBuffer->NumChars, c, static_cast<size_t>(std::min(NumPut, Room)));
  }
  pBuffer->NumChars = static_cast<int32_t>(std::min<int64_t>(pBuffer->NumChars + NumPut, INT32_MAX));
}

void UTIL_PutText(FormatBuffer* pBuffer, const char* pText, uint32_t Num) {
  for (uint32_t i = 0; i < Num; ++i) {
    UTIL_PutChar(pBuffer, pText[i]);
  }
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
