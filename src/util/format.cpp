#include "util/format.h"

#include <algorithm>

#include "util/text.h"

namespace {

constexpr int32_t NO_PRECISION = -1;

struct FullConversion {
  bool IsLeft;    ///< '-': fill on the right.
  bool HasPlus;   ///< '+': always a sign.
  bool HasSpace;  ///< ' ': a space in place of a missing sign.
  bool HasZero;   ///< '0': fill numbers with zeros.
  int64_t Width;  ///< Wide enough for the magnitude of every 32-bit argument.
  int32_t Precision;
  char Letter;
};

void PutString(FormatBuffer* pBuffer, const FullConversion& Conv, const char* pString) {
  const char* p = pString != nullptr ? pString : "(null)";
  const uint32_t MaxLen = Conv.Precision == NO_PRECISION ? INT32_MAX : static_cast<uint32_t>(Conv.Precision);
  const uint32_t Len = UTIL_StrLenMax(p, MaxLen);
  UTIL_PutRepeated(pBuffer, ' ', Conv.IsLeft ? 0 : Conv.Width - Len);
  UTIL_PutText(pBuffer, p, Len);
  UTIL_PutRepeated(pBuffer, ' ', Conv.IsLeft ? Conv.Width - Len : 0);
}

/// Returns the sign character of a number, or NUL for none.
char SignOf(const FullConversion& Conv, bool IsNegative) {
  if (IsNegative) {
    return '-';
  }
  if (Conv.HasPlus) {
    return '+';
  }
  return Conv.HasSpace ? ' ' : '\0';
}

/// Puts fill, sign, zeros and digits, in this order; or the fill last if IsLeft is set.
void PutNumber(FormatBuffer* pBuffer, const FullConversion& Conv, uint32_t Magnitude, bool IsNegative, uint32_t Base) {
  const DigitRun Run = UTIL_StartDigits(Magnitude, Base);
  const char Sign = SignOf(Conv, IsNegative);
  const int64_t NumSigns = Sign != '\0' ? 1 : 0;
  int64_t NumZeros = std::max<int64_t>(int64_t{Conv.Precision} - Run.NumDigits, 0);
  if (Conv.HasZero && !Conv.IsLeft && Conv.Precision == NO_PRECISION) {
    NumZeros = std::max<int64_t>(Conv.Width - NumSigns - Run.NumDigits, 0);
  }
  const int64_t NumFill = Conv.Width - NumSigns - NumZeros - Run.NumDigits;
  UTIL_PutRepeated(pBuffer, ' ', Conv.IsLeft ? 0 : NumFill);
  UTIL_PutRepeated(pBuffer, Sign, NumSigns);
  UTIL_PutRepeated(pBuffer, '0', NumZeros);
  UTIL_PutDigits(pBuffer, Run, true);
  UTIL_PutRepeated(pBuffer, ' ', Conv.IsLeft ? NumFill : 0);
}

void PutSigned(FormatBuffer* pBuffer, const FullConversion& Conv, int32_t Value) {
  const uint32_t Bits = static_cast<uint32_t>(Value);
  PutNumber(pBuffer, Conv, Value < 0 ? 0 - Bits : Bits, Value < 0, 10);
}

/// Flags apply to a pointer; the format's width and precision do not.
void PutPointer(FormatBuffer* pBuffer, const FullConversion& Conv, const void* pPointer) {
  FullConversion PointerConv = Conv;
  PointerConv.Width = 0;
  PointerConv.Precision = 8;
  PutNumber(pBuffer, PointerConv, static_cast<uint32_t>(reinterpret_cast<uintptr_t>(pPointer)), false, 16);
}

/// Sets the flag that the character at *pFormat stands for. Returns whether it stands for one.
bool ReadFlag(const char* pFormat, FullConversion* pConv) {
  switch (*pFormat) {
    case '-':
      pConv->IsLeft = true;
      return true;
    case '+':
      pConv->HasPlus = true;
      return true;
    case ' ':
      pConv->HasSpace = true;
      return true;
    case '0':
      pConv->HasZero = true;
      return true;
    case '#':
      return true;
    default:
      return false;
  }
}

/// Reads a width or precision: digits, or a '*' and its argument.
int32_t ReadCountOrArgument(const char** ppFormat, FormatArguments* pArgs) {
  if (**ppFormat == '*') {
    ++*ppFormat;
    return va_arg(pArgs->Args, int32_t);
  }
  return UTIL_ReadCount(ppFormat);
}

FullConversion ReadConversion(const char** ppFormat, FormatArguments* pArgs) {
  FullConversion Conv{};
  while (ReadFlag(*ppFormat, &Conv)) {
    ++*ppFormat;
  }
  Conv.Width = ReadCountOrArgument(ppFormat, pArgs);
  if (Conv.Width < 0) {
    Conv.IsLeft = true;
    Conv.Width = -Conv.Width;
  }
  Conv.Precision = NO_PRECISION;
  if (**ppFormat == '.') {
    ++*ppFormat;
    Conv.Precision = std::max(ReadCountOrArgument(ppFormat, pArgs), NO_PRECISION);
  }
  while (**ppFormat == 'h' || **ppFormat == 'l') {
    ++*ppFormat;
  }
  Conv.Letter = **ppFormat;
  if (Conv.Letter != '\0') {
    ++*ppFormat;
  }
  if (Conv.Letter == '_' && **ppFormat != '\0') {
    ++*ppFormat;
  }
  return Conv;
}

void PutConversion(FormatBuffer* pBuffer, const FullConversion& Conv, FormatArguments* pArgs) {
  switch (Conv.Letter) {
    case 'd':
      PutSigned(pBuffer, Conv, va_arg(pArgs->Args, int32_t));
      break;
    case 'u':
      PutNumber(pBuffer, Conv, va_arg(pArgs->Args, uint32_t), false, 10);
      break;
    case 'o':
      PutNumber(pBuffer, Conv, va_arg(pArgs->Args, uint32_t), false, 8);
      break;
    case 'x':
    case 'X':
      PutNumber(pBuffer, Conv, va_arg(pArgs->Args, uint32_t), false, 16);
      break;
    case 'c':
      UTIL_PutChar(pBuffer, static_cast<char>(va_arg(pArgs->Args, int)));
      break;
    case 's':
      PutString(pBuffer, Conv, va_arg(pArgs->Args, const char*));
      break;
    case 'p':
      PutPointer(pBuffer, Conv, va_arg(pArgs->Args, const void*));
      break;
    case '%':
      UTIL_PutChar(pBuffer, '%');
      break;
    default:
      break;
  }
}

}  // namespace

int32_t UTIL_FormatV(FormatBuffer* pBuffer, const char* pFormat, va_list Args) {
  FormatArguments Rest;
  va_copy(Rest.Args, Args);
  while (*pFormat != '\0') {
    const char c = *pFormat++;
    if (c == '%') {
      const FullConversion Conv = ReadConversion(&pFormat, &Rest);
      PutConversion(pBuffer, Conv, &Rest);
    } else {
      UTIL_PutChar(pBuffer, c);
    }
  }
  va_end(Rest.Args);
  UTIL_Terminate(pBuffer);
  return pBuffer->NumChars;
}

int32_t UTIL_snprintf(char* pBuffer, uint32_t Size, const char* pFormat, ...) {
  FormatBuffer Buffer{pBuffer, static_cast<int32_t>(std::min<uint32_t>(Size, INT32_MAX)), 0};
  va_list Args;
  va_start(Args, pFormat);
  const int32_t NumChars = UTIL_FormatV(&Buffer, pFormat, Args);
  va_end(Args);
  return NumChars;
}
