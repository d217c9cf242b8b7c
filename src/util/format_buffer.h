/// What the two formatters share: an output that is cut to its buffer, numbers as digits, and counts in a format.
#pragma once

#include <cstdarg>
#include <cstdint>

/// Where a formatter puts its text.
struct FormatBuffer {
  char* pBuf;
  int32_t BufSize;   ///< Size of pBuf in characters, terminator included.
  int32_t NumChars;  ///< Characters produced so far, counted also when they no longer fit.
};

/// A va_list that can be handed on by pointer on every platform.
struct FormatArguments {
  va_list Args;
};

/// A number taken apart into digits, which are put one by one from the most significant on.
struct DigitRun {
  uint64_t Value;
  uint64_t Power;      ///< The base to the power of the position of the first digit.
  uint32_t Base;       ///< 8, 10 or 16.
  uint32_t NumDigits;  ///< A 0 has one.
};

/// Takes Value apart in the given base.
DigitRun UTIL_StartDigits(uint64_t Value, uint32_t Base);

/// Puts the number with upper-case or lower-case digits.
void UTIL_PutDigits(FormatBuffer* pBuffer, const DigitRun& Run, bool IsUpper);

/// Puts one character.
void UTIL_PutChar(FormatBuffer* pBuffer, char c);

/// Puts a character Num times; a Num below 1 puts none. The cost does not grow with what is cut.
void UTIL_PutRepeated(FormatBuffer* pBuffer, char c, int64_t Num);

/// Puts the first Num characters of a text.
void UTIL_PutText(FormatBuffer* pBuffer, const char* pText, uint32_t Num);

/// Ends the text after what fits. Returns its terminator; pBuf for a BufSize below 1, which has no room for one.
char* UTIL_Terminate(FormatBuffer* pBuffer);

/// Reads the decimal digits at *ppFormat (there may be none: 0) and steps over them.
/// Returns their value; what exceeds a signed 32-bit number stays at its maximum.
int32_t UTIL_ReadCount(const char** ppFormat);
