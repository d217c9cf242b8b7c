#include "util/plain_format.h"

#include <algorithm>

#include "util/format_buffer.h"
#include "util/text.h"

namespace {

constexpr int32_t POINTER_WIDTH = 8;  ///< Whatever width the format gives.

struct PlainConversion {
  int32_t Width;
  int32_t Precision;
  bool Is64;  ///< The argument is a 64-bit value.
  char Letter;
};

/// Puts fill, zeros and digits, in this order.
void PutNumber(FormatBuffer* pBuffer, const PlainConversion& Conv, uint64_t Value, uint32_t Base, bool IsUpper) {
  const DigitRun Run = UTIL_StartDigits(Value, Base);
  const int64_t NumZeros = std::max<int64_t>(int64_t{Conv.Precision} - Run.NumDigits, 0);
  UTIL_PutRepeated(pBuffer, ' ', Conv.Width - NumZeros - Run.NumDigits);
  UTIL_PutRepeated(pBuffer, '0', NumZeros);
  UTIL_PutDigits(pBuffer, Run, IsUpper);
}

PlainConversion ReadConversion(const char** ppFormat) {
  PlainConversion Conv{};
  Conv.Width = UTIL_ReadCount(ppFormat);
  if (**ppFormat == '.') {
    ++*ppFormat;
    Conv.Precision = UTIL_ReadCount(ppFormat);
  }
  bool HasL = false;
  for (; **ppFormat == 'l'; ++*ppFormat) {
    Conv.Is64 = HasL;
    HasL = true;
  }
  Conv.Letter = **ppFormat;
  if (Conv.Letter != '\0') {
    ++*ppFormat;
  }
  return Conv;
}

void PutSigned(FormatBuffer* pBuffer, const PlainConversion& Conv, int64_t Value) {
  uint64_t Magnitude = static_cast<uint64_t>(Value);
  if (Value < 0) {
    UTIL_PutChar(pBuffer, '-');
    Magnitude = 0 - Magnitude;
  }
  PutNumber(pBuffer, Conv, Magnitude, 10, false);
}

void PutString(FormatBuffer* pBuffer, const char* pString) {
  const char* p = pString != nullptr ? pString : "(null)";
  UTIL_PutText(pBuffer, p, UTIL_StrLenMax(p, INT32_MAX));
}

void PutConversion(FormatBuffer* pBuffer, const PlainConversion& Conv, FormatArguments* pArgs) {
  const auto NextUnsigned = [&]() -> uint64_t {
    return Conv.Is64 ? va_arg(pArgs->Args, unsigned long long) : va_arg(pArgs->Args, uint32_t);
  };
  switch (Conv.Letter) {
    case 'd':
    case 'i':
      PutSigned(pBuffer, Conv, Conv.Is64 ? va_arg(pArgs->Args, long long) : va_arg(pArgs->Args, int32_t));
      break;
    case 'u':
      PutNumber(pBuffer, Conv, NextUnsigned(), 10, false);
      break;
    case 'x':
    case 'X':
      PutNumber(pBuffer, Conv, NextUnsigned(), 16, Conv.Letter == 'X');
      break;
    case 'p':
      PutNumber(pBuffer, {POINTER_WIDTH, Conv.Precision, false, 'p'},
                reinterpret_cast<uintptr_t>(va_arg(pArgs->Args, void*)), 16, false);
      break;
    case 'c':
      UTIL_PutChar(pBuffer, static_cast<char>(va_arg(pArgs->Args, int)));
      break;
    case 's':
      PutString(pBuffer, va_arg(pArgs->Args, const char*));
      break;
    case '%':
      UTIL_PutChar(pBuffer, '%');
      break;
    default:
      break;
  }
}

}  // namespace

char* UTIL_vsnprintf(char* pBuffer, int32_t Size, const char* pFormat, va_list Args) {
  FormatBuffer Buffer{pBuffer, Size, 0};
  FormatArguments Rest;
  va_copy(Rest.Args, Args);
  while (*pFormat != '\0') {
    const char c = *pFormat++;
    if (c == '%') {
      const PlainConversion Conv = ReadConversion(&pFormat);
      PutConversion(&Buffer, Conv, &Rest);
    } else {
      UTIL_PutChar(&Buffer, c);
    }
  }
  va_end(Rest.Args);
  return UTIL_Terminate(&Buffer);
}
