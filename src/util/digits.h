/// What the two formatters share: their arguments, reading numbers out of a format and taking a number apart into
/// digits.
#pragma once

#include <cstdarg>
#include <cstdint>

/// A va_list that can be handed on by pointer on every platform.
struct FormatArguments {
  va_list Args;
};

/// Digits of a number, most significant first: emitted one by one with UTIL_NextDigit, without a buffer.
struct DigitRun {
  uint64_t Rest;       ///< What is left to emit.
  uint64_t Power;      ///< The base to the power of the position of the next digit.
  uint32_t Base;       ///< 8, 10 or 16.
  uint32_t NumDigits;  ///< Digits of the whole number; a 0 has one.
};

/// Takes Value apart in the given base.
DigitRun UTIL_StartDigits(uint64_t Value, uint32_t Base);

/// Returns the value of the next digit and steps to the one after it. To be called NumDigits times.
uint32_t UTIL_NextDigit(DigitRun* pRun);

/// Reads the decimal digits at *ppFormat (there may be none: 0) and steps over them.
/// Returns their value; what exceeds a signed 32-bit number stays at its maximum.
int32_t UTIL_ReadCount(const char** ppFormat);
