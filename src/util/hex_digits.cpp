#include "util/hex_digits.h"

#include <cstring>

namespace {

struct DigitPair {
  std::array<char, 2> acDigit;
};

/// Both digits of every byte, so that a byte costs one look-up.
constexpr std::array<DigitPair, 256> DIGIT_PAIR = [] {
  constexpr const char* DIGITS = "0123456789ABCDEF";
  std::array<DigitPair, 256> aPair{};
  for (unsigned i = 0; i < aPair.size(); ++i) {
    aPair[i] = {{DIGITS[i / 16], DIGITS[i % 16]}};
  }
  return aPair;
}();

}  // namespace

bool UTIL_DecodeHex(const uint8_t* pDigits, uint32_t NumBytes, uint8_t* pBytes, uint8_t* pSum) {
  unsigned AllHigh = 0;
  unsigned Sum = 0;
  for (uint32_t i = 0; i < NumBytes; ++i) {
    const unsigned High = UTIL_HEX_DIGIT_VALUE[pDigits[2 * i]];
    const unsigned Low = UTIL_HEX_DIGIT_VALUE[pDigits[2 * i + 1]];
    AllHigh |= High | Low;
    pBytes[i] = static_cast<uint8_t>(High << 4 | Low);
    Sum += pBytes[i];
  }
  *pSum = static_cast<uint8_t>(*pSum + Sum);
  return AllHigh <= 0xF;
}

char* UTIL_EncodeHex(const uint8_t* pBytes, uint32_t NumBytes, char* pDigits) {
  for (uint32_t i = 0; i < NumBytes; ++i) {
    std::memcpy(pDigits + 2 * size_t{i}, DIGIT_PAIR[pBytes[i]].acDigit.data(), 2);
  }
  return pDigits + 2 * size_t{NumBytes};
}
