/// The two formatters. Both write a text that is cut to its buffer and read a conversion as %, a width, a precision, a
/// length and a letter; they differ in what they accept.
#pragma once

#include <cstdarg>
#include <cstdint>

/// Where a formatter puts its text.
struct FormatBuffer {
  char* pBuf;
  int32_t BufSize;   ///< Size of pBuf in characters, terminator included.
  int32_t NumChars;  ///< Characters produced so far, including those that no longer fit.
};

/// The full formatter, which makes the error messages. Formats into *pBuffer, after the characters it already counts.
/// Stores at most BufSize - 1 in all, then a terminator.
///
/// A conversion is written as %, flags ('-' left-justify, '+' and ' ' show a sign for every number, '0' fill numbers
/// with zeros unless a precision is given, '#' has no effect), a width, a precision ('.' and digits or '*'; a lone '.'
/// is 0), a run of 'h' and 'l', which has no effect, and a letter. All numbers are read as 32-bit arguments:
///   d        signed decimal
///   u o x X  unsigned decimal, octal, hexadecimal with upper-case digits (both)
///   c        a character, whatever the width
///   s        a text, or "(null)" for a null pointer; the precision limits its length
///   p        the low 32 bits of a pointer as 8 hexadecimal digits
///   %        a '%'
/// A '*' takes a signed argument: a negative width means its magnitude with '-', a negative precision means none. Any
/// other conversion character prints nothing and takes no argument; '_' also swallows the character after it.
///
/// Returns the final NumChars: the length of the complete text, even if it was cut.
int32_t UTIL_FormatV(FormatBuffer* pBuffer, const char* pFormat, va_list Args);

/// Formats into pBuffer of Size characters as UTIL_FormatV does. The text is cut to Size - 1 characters and terminated;
/// a Size of 0 writes nothing.
/// Returns the length of the complete text, so a result of Size or more means that it was cut.
__attribute__((format(printf, 3, 4))) int32_t UTIL_snprintf(char* pBuffer, uint32_t Size, const char* pFormat, ...);

/// The plain formatter, which makes what the program prints. Formats into pBuffer of Size characters. The text is cut
/// to fit and terminated; a Size below 1 writes nothing.
///
/// A conversion is written as %, a width (decimal digits), a precision ('.' and decimal digits), a run of 'l' (two or
/// more: the argument has 64 bits, else 32) and a letter:
///   d i    signed decimal; a '-' comes first, then the width fill, then the digits: the sign does not count
///   u x X  unsigned decimal, lower-case and upper-case hexadecimal
///   c s    a character; a complete text, or "(null)" for a null pointer; width and precision are ignored
///   p      the pointer in lower-case hexadecimal, filled with spaces to 8 characters
///   %      a '%'
/// Width fills with spaces on the left, precision with leading zeros. Any other conversion character prints nothing and
/// takes no argument.
///
/// Returns a pointer to the terminator.
char* UTIL_vsnprintf(char* pBuffer, int32_t Size, const char* pFormat, va_list Args);
