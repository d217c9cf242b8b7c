#include "util/format.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "util/hex_digits.h"
#include "util/text.h"

namespace {

constexpr const char* LOWER_DIGITS = "0123456789abcdef";
constexpr int32_t NO_PRECISION = -1;

/// A va_list that can be passed on by pointer on every platform.
struct FormatArguments {
  va_list Args;
};

/// What stands between a '%' and the end of its conversion.
struct Conversion {
  bool IsLeft = false;    ///< '-': fill on the right.
  bool HasPlus = false;   ///< '+': always a sign.
  bool HasSpace = false;  ///< ' ': a space in place of a missing sign.
  bool HasZero = false;   ///< '0': fill numbers with zeros.
  bool Is64 = false;      ///< "ll": the plain formatter takes an argument of 64 bits.
  int64_t Width = 0;      ///< Has room for the magnitude of every 32-bit argument.
  int32_t Precision = NO_PRECISION;
  char Letter = '\0';
};

/// Puts a character Num times; a Num below 1 puts none. Characters that are cut cost nothing.
void PutRepeated(FormatBuffer* pBuffer, char c, int64_t Num) {
  const int64_t NumPut = std::max<int64_t>(Num, 0);
  const int64_t Room = int64_t{pBuffer->BufSize} - 1 - pBuffer->NumChars;
  if (Room > 0) {
    std::memset(pBuffer->pBuf + pBuffer->NumChars, c, static_cast<size_t>(std::min(NumPut, Room)));
  }
  pBuffer->NumChars = static_cast<int32_t>(std::min<int64_t>(pBuffer->NumChars + NumPut, INT32_MAX));
}

void PutChar(FormatBuffer* pBuffer, char c) {
  PutRepeated(pBuffer, c, 1);
}

void PutString(FormatBuffer* pBuffer, const Conversion& Conv, const char* pString) {
  const char* p = pString != nullptr ? pString : "(null)";
  const uint32_t MaxLen = Conv.Precision == NO_PRECISION ? INT32_MAX : static_cast<uint32_t>(Conv.Precision);
  const uint32_t Len = UTIL_StrLenMax(p, MaxLen);
  PutRepeated(pBuffer, ' ', Conv.IsLeft ? 0 : Conv.Width - Len);
  for (uint32_t i = 0; i < Len; ++i) {
    PutChar(pBuffer, p[i]);
  }
  PutRepeated(pBuffer, ' ', Conv.IsLeft ? Conv.Width - Len : 0);
}

struct Number {
  uint64_t Magnitude;
  uint32_t Base;        ///< 8, 10 or 16.
  const char* pDigits;  ///< The digits from 0 to Base - 1.
  bool IsNegative = false;
};

/// Returns the sign character of a number, or NUL for none.
char SignOf(const Conversion& Conv, bool IsNegative) {
  if (IsNegative) {
    return '-';
  }
  if (Conv.HasPlus) {
    return '+';
  }
  return Conv.HasSpace ? ' ' : '\0';
}

/// Puts fill, sign, zeros and digits, in this order; or the fill last if IsLeft is set.
void PutNumber(FormatBuffer* pBuffer, const Conversion& Conv, const Number& Value) {
  uint64_t Power = 1;  // the place value of the first digit
  int64_t NumDigits = 1;
  for (; Value.Magnitude / Power >= Value.Base; Power *= Value.Base) {
    ++NumDigits;
  }
  const char Sign = SignOf(Conv, Value.IsNegative);
  const int64_t NumSigns = Sign != '\0' ? 1 : 0;
  int64_t NumZeros = std::max<int64_t>(Conv.Precision - NumDigits, 0);
  if (Conv.HasZero && !Conv.IsLeft && Conv.Precision == NO_PRECISION) {
    NumZeros = std::max<int64_t>(Conv.Width - NumSigns - NumDigits, 0);
  }
  const int64_t NumFill = Conv.Width - NumSigns - NumZeros - NumDigits;
  PutRepeated(pBuffer, ' ', Conv.IsLeft ? 0 : NumFill);
  PutRepeated(pBuffer, Sign, NumSigns);
  PutRepeated(pBuffer, '0', NumZeros);
  for (; Power != 0; Power /= Value.Base) {
    PutChar(pBuffer, Value.pDigits[Value.Magnitude / Power % Value.Base]);
  }
  PutRepeated(pBuffer, ' ', Conv.IsLeft ? NumFill : 0);
}

/// Puts what both formatters have in common: a character or a '%'.
void PutCharacter(FormatBuffer* pBuffer, const Conversion& Conv, FormatArguments* pArgs) {
  if (Conv.Letter == 'c') {
    PutChar(pBuffer, static_cast<char>(va_arg(pArgs->Args, int)));
  } else if (Conv.Letter == '%') {
    PutChar(pBuffer, '%');
  }
}

/// Puts a conversion of the full formatter.
void PutFull(FormatBuffer* pBuffer, const Conversion& Conv, FormatArguments* pArgs) {
  const auto PutUnsigned = [&](uint32_t Base) {
    PutNumber(pBuffer, Conv, {va_arg(pArgs->Args, uint32_t), Base, UTIL_HEX_DIGITS});
  };
  switch (Conv.Letter) {
    case 'd': {
      const int64_t Value = va_arg(pArgs->Args, int32_t);
      PutNumber(pBuffer, Conv, {static_cast<uint64_t>(std::abs(Value)), 10, UTIL_HEX_DIGITS, Value < 0});
      break;
    }
    case 'u':
      PutUnsigned(10);
      break;
    case 'o':
      PutUnsigned(8);
      break;
    case 'x':
    case 'X':
      PutUnsigned(16);
      break;
    case 's':
      PutString(pBuffer, Conv, va_arg(pArgs->Args, const char*));
      break;
    case 'p': {  // flags apply to a pointer; the format's width and precision do not
      Conversion Pointer = Conv;
      Pointer.Width = 0;
      Pointer.Precision = 8;
      const uintptr_t Value = reinterpret_cast<uintptr_t>(va_arg(pArgs->Args, const void*));
      PutNumber(pBuffer, Pointer, {static_cast<uint32_t>(Value), 16, UTIL_HEX_DIGITS});
      break;
    }
    default:
      PutCharacter(pBuffer, Conv, pArgs);
      break;
  }
}

/// Puts a conversion of the plain formatter.
void PutPlain(FormatBuffer* pBuffer, const Conversion& Conv, FormatArguments* pArgs) {
  const auto NextUnsigned = [&]() -> uint64_t {
    return Conv.Is64 ? va_arg(pArgs->Args, unsigned long long) : va_arg(pArgs->Args, uint32_t);
  };
  switch (Conv.Letter) {
    case 'd':
    case 'i': {
      const int64_t Value = Conv.Is64 ? va_arg(pArgs->Args, long long) : va_arg(pArgs->Args, int32_t);
      const uint64_t Bits = static_cast<uint64_t>(Value);
      PutRepeated(pBuffer, '-', Value < 0 ? 1 : 0);
      PutNumber(pBuffer, Conv, {Value < 0 ? 0 - Bits : Bits, 10, LOWER_DIGITS});
      break;
    }
    case 'u':
      PutNumber(pBuffer, Conv, {NextUnsigned(), 10, LOWER_DIGITS});
      break;
    case 'x':
      PutNumber(pBuffer, Conv, {NextUnsigned(), 16, LOWER_DIGITS});
      break;
    case 'X':
      PutNumber(pBuffer, Conv, {NextUnsigned(), 16, UTIL_HEX_DIGITS});
      break;
    case 's':
      PutString(pBuffer, {}, va_arg(pArgs->Args, const char*));
      break;
    case 'p': {
      Conversion Pointer = Conv;
      Pointer.Width = 8;
      const uintptr_t Value = reinterpret_cast<uintptr_t>(va_arg(pArgs->Args, const void*));
      PutNumber(pBuffer, Pointer, {Value, 16, LOWER_DIGITS});
      break;
    }
    default:
      PutCharacter(pBuffer, Conv, pArgs);
      break;
  }
}

/// Sets the flag that a character stands for. Returns whether it stands for one.
bool ReadFlag(char c, Conversion* pConv) {
  pConv->IsLeft |= c == '-';
  pConv->HasPlus |= c == '+';
  pConv->HasSpace |= c == ' ';
  pConv->HasZero |= c == '0';
  return c != '\0' && std::strchr("-+ 0#", c) != nullptr;
}

/// Reads a width or precision: digits (0 if there are none), at most INT32_MAX; or, unless pArgs is null, a '*' and its
/// argument.
int32_t ReadCount(const char** ppFormat, FormatArguments* pArgs) {
  if (**ppFormat == '*' && pArgs != nullptr) {
    ++*ppFormat;
    return va_arg(pArgs->Args, int32_t);
  }
  int64_t Count = 0;
  for (; **ppFormat >= '0' && **ppFormat <= '9'; ++*ppFormat) {
    Count = std::min<int64_t>(Count * 10 + (**ppFormat - '0'), INT32_MAX);
  }
  return static_cast<int32_t>(Count);
}

/// Reads a conversion after its '%'. pArgs: the arguments of a '*'; null for the plain formatter, which has neither
/// that nor flags.
Conversion ReadConversion(const char** ppFormat, FormatArguments* pArgs) {
  const bool IsFull = pArgs != nullptr;
  Conversion Conv;
  while (IsFull && ReadFlag(**ppFormat, &Conv)) {
    ++*ppFormat;
  }
  Conv.Width = ReadCount(ppFormat, pArgs);
  if (Conv.Width < 0) {
    Conv.IsLeft = true;
    Conv.Width = -Conv.Width;
  }
  if (**ppFormat == '.') {
    ++*ppFormat;
    Conv.Precision = std::max(ReadCount(ppFormat, pArgs), NO_PRECISION);
  }
  for (bool HasL = false; **ppFormat == 'l' || (IsFull && **ppFormat == 'h'); ++*ppFormat) {
    Conv.Is64 = HasL;
    HasL = true;
  }
  Conv.Letter = **ppFormat;
  if (Conv.Letter != '\0') {
    ++*ppFormat;
  }
  if (IsFull && Conv.Letter == '_' && **ppFormat != '\0') {
    ++*ppFormat;
  }
  return Conv;
}

/// Puts the format's characters and conversions, then a terminator after what fits.
void Format(FormatBuffer* pBuffer, const char* pFormat, va_list Args, bool IsFull) {
  FormatArguments Rest;
  va_copy(Rest.Args, Args);
  while (*pFormat != '\0') {
    const char c = *pFormat++;
    if (c != '%') {
      PutChar(pBuffer, c);
    } else if (IsFull) {
      PutFull(pBuffer, ReadConversion(&pFormat, &Rest), &Rest);
    } else {
      PutPlain(pBuffer, ReadConversion(&pFormat, nullptr), &Rest);
    }
  }
  va_end(Rest.Args);
  if (pBuffer->BufSize > 0) {
    pBuffer->pBuf[std::min(pBuffer->NumChars, pBuffer->BufSize - 1)] = '\0';
  }
}

}  // namespace

int32_t UTIL_FormatV(FormatBuffer* pBuffer, const char* pFormat, va_list Args) {
  Format(pBuffer, pFormat, Args, true);
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

char* UTIL_vsnprintf(char* pBuffer, int32_t Size, const char* pFormat, va_list Args) {
  FormatBuffer Buffer{pBuffer, Size, 0};
  Format(&Buffer, pFormat, Args, false);
  return pBuffer + std::min(Buffer.NumChars, std::max(Size - 1, 0));
}
