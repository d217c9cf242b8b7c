/// The plain formatter: no flags, few conversions, fast. It formats what the program prints.
#pragma once

#include <cstdarg>
#include <cstdint>

/// Formats into pBuffer of Size characters. The text is cut to fit and terminated; a Size below 1 writes nothing.
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
