#include "util/plain_format.h"

#include "util/digits.h"

namespace {

struct PlainText {
  char* pBuf;
  int32_t Size;
  int32_t Count;  ///< Characters stored so far; at most Size - 1.
};

struct PlainConversion {
  int32_t Width;
  int32_t Precision;
  bool Is64;  ///< The argument is a 64-bit value.
  char Letter;
};

bool HasRoom(const PlainText& Text) {
  return Text.Count + 1 < Text.Size;
}

void PutChar(PlainText* pText, char c) {
  if (HasRoom(*pText)) {
    pText->pBuf[pText->Count++] = c;
  }
}

void PutRepeated(PlainText* pText, char c, int64_t Num) {
  for (; Num > 0 && HasRoom(*pText); --Num) {
    PutChar(pText, c);
  }
}

void PutString(PlainText* pText, const char* pString) {
  for (const char* p = pString != nullptr ? pString : "(null)"; *p != '\0' && HasRoom(*pText); ++p) {
    PutChar(pText, *p);
  }
}

void PutNumber(PlainText* pText, uint64_t Value, uint32_t Base, const char* pDigits, int32_t Width, int32_t Precision) {
  DigitRun Run = UTIL_StartDigits(Value, Base);
  const int64_t NumZeros = Precision > static_cast<int64_t>(Run.NumDigits) ? Precision - int64_t{Run.NumDigits} : 0;
  PutRepeated(pText, ' ', Width - NumZeros - int64_t{Run.NumDigits});
  PutRepeated(pText, '0', NumZeros);
  for (uint32_t i = 0; i < Run.NumDigits; ++i) {
    PutChar(pText, pDigits[UTIL_NextDigit(&Run)]);
  }
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

void PutSigned(PlainText* pText, const PlainConversion& Conv, int64_t Value) {
  uint64_t Magnitude = static_cast<uint64_t>(Value);
  if (Value < 0) {
    PutChar(pText, '-');
    Magnitude = 0 - Magnitude;
  }
  PutNumber(pText, Magnitude, 10, "0123456789", Conv.Width, Conv.Precision);
}

void PutConversion(PlainText* pText, const PlainConversion& Conv, FormatArguments* pArgs) {
  constexpr const char* LOWER = "0123456789abcdef";
  constexpr const char* UPPER = "0123456789ABCDEF";
  constexpr int32_t POINTER_WIDTH = 8;
  const auto NextUnsigned = [&]() -> uint64_t {
    return Conv.Is64 ? va_arg(pArgs->Args, unsigned long long) : va_arg(pArgs->Args, uint32_t);
  };
  switch (Conv.Letter) {
    case 'd':
    case 'i':
      PutSigned(pText, Conv, Conv.Is64 ? va_arg(pArgs->Args, long long) : va_arg(pArgs->Args, int32_t));
      break;
    case 'u':
      PutNumber(pText, NextUnsigned(), 10, LOWER, Conv.Width, Conv.Precision);
      break;
    case 'x':
      PutNumber(pText, NextUnsigned(), 16, LOWER, Conv.Width, Conv.Precision);
      break;
    case 'X':
      PutNumber(pText, NextUnsigned(), 16, UPPER, Conv.Width, Conv.Precision);
      break;
    case 'p':
      PutNumber(pText, reinterpret_cast<uintptr_t>(va_arg(pArgs->Args, void*)), 16, LOWER, POINTER_WIDTH,
                Conv.Precision);
      break;
    case 'c':
      PutChar(pText, static_cast<char>(va_arg(pArgs->Args, int)));
      break;
    case 's':
      PutString(pText, va_arg(pArgs->Args, const char*));
      break;
    case '%':
      PutChar(pText, '%');
      break;
    default:
      break;
  }
}

}  // namespace

char* UTIL_vsnprintf(char* pBuffer, int32_t Size, const char* pFormat, va_list Args) {
  if (Size < 1) {
    return pBuffer;
  }
  PlainText Text{pBuffer, Size, 0};
  FormatArguments Rest;
  va_copy(Rest.Args, Args);
  while (*pFormat != '\0') {
    const char c = *pFormat++;
    if (c == '%') {
      const PlainConversion Conv = ReadConversion(&pFormat);
      PutConversion(&Text, Conv, &Rest);
    } else {
      PutChar(&Text, c);
    }
  }
  va_end(Rest.Args);
  Text.pBuf[Text.Count] = '\0';
  return Text.pBuf + Text.Count;
}
