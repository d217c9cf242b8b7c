#include "util/plain_format.h"

#include "util/digits.h"

namespace {

struct PlainText {
  char* pBuf;
  int32_t Size;
  int32_t Count;  ///< Characters stored so far; at most Size - 1.
};

struct PlainSpec {
  int32_t Width;
  int32_t Precision;
  bool Is64;  ///< The argument is a 64-bit value.
  char Conversion;
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

PlainSpec ReadSpec(const char** ppFormat) {
  PlainSpec Spec{};
  Spec.Width = UTIL_ReadCount(ppFormat);
  if (**ppFormat == '.') {
    ++*ppFormat;
    Spec.Precision = UTIL_ReadCount(ppFormat);
  }
  bool HasL = false;
  for (; **ppFormat == 'l'; ++*ppFormat) {
    Spec.Is64 = HasL;
    HasL = true;
  }
  Spec.Conversion = **ppFormat;
  if (Spec.Conversion != '\0') {
    ++*ppFormat;
  }
  return Spec;
}

void PutSigned(PlainText* pText, const PlainSpec& Spec, int64_t Value) {
  uint64_t Magnitude = static_cast<uint64_t>(Value);
  if (Value < 0) {
    PutChar(pText, '-');
    Magnitude = 0 - Magnitude;
  }
  PutNumber(pText, Magnitude, 10, "0123456789", Spec.Width, Spec.Precision);
}

void PutConversion(PlainText* pText, const PlainSpec& Spec, FormatArguments* pArgs) {
  constexpr const char* LOWER = "0123456789abcdef";
  constexpr const char* UPPER = "0123456789ABCDEF";
  constexpr int32_t POINTER_WIDTH = 8;
  const auto NextUnsigned = [&]() -> uint64_t {
    return Spec.Is64 ? va_arg(pArgs->Args, unsigned long long) : va_arg(pArgs->Args, uint32_t);
  };
  switch (Spec.Conversion) {
    case 'd':
    case 'i':
      PutSigned(pText, Spec, Spec.Is64 ? va_arg(pArgs->Args, long long) : va_arg(pArgs->Args, int32_t));
      break;
    case 'u':
      PutNumber(pText, NextUnsigned(), 10, LOWER, Spec.Width, Spec.Precision);
      break;
    case 'x':
      PutNumber(pText, NextUnsigned(), 16, LOWER, Spec.Width, Spec.Precision);
      break;
    case 'X':
      PutNumber(pText, NextUnsigned(), 16, UPPER, Spec.Width, Spec.Precision);
      break;
    case 'p':
      PutNumber(pText, reinterpret_cast<uintptr_t>(va_arg(pArgs->Args, void*)), 16, LOWER, POINTER_WIDTH,
                Spec.Precision);
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
      const PlainSpec Spec = ReadSpec(&pFormat);
      PutConversion(&Text, Spec, &Rest);
    } else {
      PutChar(&Text, c);
    }
  }
  va_end(Rest.Args);
  Text.pBuf[Text.Count] = '\0';
  return Text.pBuf + Text.Count;
}
