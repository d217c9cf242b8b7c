/// What the two formatters share: an output that is cut to its buffer, numbers as digits, and counts in a format.
#pragma once

#include <cstdarg>
#include <cstdint>

/// Where a formatter puts its text.
struct FormatBuffer {
  char* pBuf;
  int32_t BufSize;   ///< Size of pBuf in characters, terminator included.
  int32_t NumChars;  ///< Characters produced so far, including those that no longer fit.
};

/// A va_list that can be passed on by pointer on every platform.
struct FormatArguments {
  va_list Args;
};

/// A number as digits, which are put one by one, the most significant first.
struct DigitRun {
  uint64_t Value;
  uint64_t Power;      ///< The place value of the first digit.
  uint32_t Base;       ///< 8, 10 or 16.
  uint32_t NumDigits;  ///< A 0 has one.
};

/// Splits Value into digits of the given base.
DigitRun UTIL_StartDigits(uint64_t Value, uint32_t Base);

/// Puts the number with upper-case or lower-case digits.
void UTIL_PutDigits(FormatBuffer* pBuffer, const DigitRun& Run, bool IsUpper);

/// Puts one character.
void UTIL_PutChar(FormatBuffer* pBuffer, char c);

/// Puts a character Num times; a Num below 1 puts none. Characters that are cut cost nothing.
void UTIL_PutRepeated(FormatBuffer* pBuffer, char c, int64_t Num);

/// Puts the first Num characters of a text.
void UTIL_PutText(FormatBuffer* pBuffer, const char* pText, uint32_t Num);

/// Terminates the text after what fits. Returns the place of the terminator; pBuf if BufSize is below 1, which leaves
/// no room for one.
char* UTIL_Terminate(FormatBuffer* pBuffer);

/// Reads the decimal digits at *ppFormat (0 if there are none) and steps over them.
/// Returns their value, at most INT32_MAX.
int32_t UTIL_ReadCount(const char** ppFormat);
