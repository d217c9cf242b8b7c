/// Hexadecimal digits and bytes, in both directions.
#pragma once

#include <array>
#include <cstdint>

/// The digits as this program writes them.
constexpr const char* UTIL_HEX_DIGITS = "0123456789ABCDEF";

/// What the digit table holds for a byte that is not a digit.
constexpr uint8_t UTIL_NO_HEX_DIGIT = 0xFF;

/// The value of each byte as a hexadecimal digit in either case, else UTIL_NO_HEX_DIGIT.
constexpr std::array<uint8_t, 256> UTIL_HEX_DIGIT_VALUE = [] {
  std::array<uint8_t, 256> aValue{};
  for (uint8_t& Value : aValue) {
    Value = UTIL_NO_HEX_DIGIT;
  }
  for (unsigned i = 0; i < 10; ++i) {
    aValue['0' + i] = static_cast<uint8_t>(i);
  }
  for (unsigned i = 0; i < 6; ++i) {
    aValue['A' + i] = aValue['a' + i] = static_cast<uint8_t>(10 + i);
  }
  return aValue;
}();

/// Returns what the table holds for a character.
inline uint8_t UTIL_HexDigitValue(char c) {
  return UTIL_HEX_DIGIT_VALUE[static_cast<uint8_t>(c)];
}

/// Decodes NumBytes bytes of two digits each and adds them to *pSum (modulo 256).
/// Returns false if any character is not a digit; pBytes and *pSum are then meaningless.
[[nodiscard]] bool UTIL_DecodeHex(const uint8_t* pDigits, uint32_t NumBytes, uint8_t* pBytes, uint8_t* pSum);

/// Encodes NumBytes bytes as two upper-case digits each and adds them to *pSum (modulo 256).
/// Returns the end of the digits.
char* UTIL_EncodeHex(const uint8_t* pBytes, uint32_t NumBytes, char* pDigits, uint8_t* pSum);
