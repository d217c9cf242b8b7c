/// Messages on standard output. Each is flushed at once, so that whoever reads a pipe sees it as soon as it is made.
#pragma once

/// Formats a message with the plain formatter and prints at most 2047 characters of it. A null format, or one of 4096
/// or more characters, prints nothing.
__attribute__((format(printf, 1, 2))) void UTIL_Printf(const char* pFormat, ...);

/// Prints pText as a line, unformatted and of any length.
void UTIL_PrintLine(const char* pText);
