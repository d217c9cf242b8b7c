#include "util/digits.h"

#include <algorithm>

DigitRun UTIL_StartDigits(uint64_t Value, uint32_t Base) {
  DigitRun Run{Value, 1, Base, 1};
  while (Value / Run.Power >= Base) {
    Run.Power *= Base;
    ++Run.NumDigits;
  }
  return Run;
}

uint32_t UTIL_NextDigit(DigitRun* pRun) {
  const uint64_t Digit = pRun->Rest / pRun->Power;
  pRun->Rest -= Digit * pRun->Power;
  pRun->Power /= pRun->Base;
  return static_cast<uint32_t>(Digit);
}

int32_t UTIL_ReadCount(const char** ppFormat) {
  int64_t Count = 0;
  while (**ppFormat >= '0' && **ppFormat <= '9') {
    Count = std::min<int64_t>(Count * 10 + (**ppFormat - '0'), INT32_MAX);
    ++*ppFormat;
  }
  return static_cast<int32_t>(Count);
}
