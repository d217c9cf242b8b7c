#include "util/number.h"

#include "util/hex_digits.h"

namespace {

bool IsSkipped(char c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

}  // namespace

int UTIL_ParseHex32(const char** ppText, uint32_t* pValue) {
  *pValue = 0;
  const char* p = *ppText;
  while (IsSkipped(*p)) {
    ++p;
  }
  const bool IsNegative = *p == '-';
  if (IsNegative) {
    ++p;
  }
  if (p[0] == '0' && (p[1] == 'x' || p[1] == 'X')) {
    p += 2;
  }
  uint8_t Digit = UTIL_HexDigitValue(*p);
  if (Digit == UTIL_NO_HEX_DIGIT) {
    return -1;
  }
  uint32_t Value = 0;
  for (; Digit != UTIL_NO_HEX_DIGIT; Digit = UTIL_HexDigitValue(*++p)) {
    Value = Value * 16 + Digit;
  }
  *pValue = IsNegative ? 0U - Value : Value;
  *ppText = p;
  return 0;
}

uint64_t UTIL_AbsDiff(uint64_t A, uint64_t B) {
  const uint64_t Diff = B - A;
  return static_cast<int64_t>(Diff) < 0 ? A - B : Diff;
}
