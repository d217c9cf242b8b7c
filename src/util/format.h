/// The full formatter: flags, '*' arguments, and a result that counts the complete text. It formats the error messages.
#pragma once

#include <cstdarg>
#include <cstdint>

#include "util/format_buffer.h"

/// Formats into *pBuffer, after the characters it already counts. Stores at most BufSize - 1 in all, then a terminator.
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
