/// Messages on standard output, each flushed at once so that the reader of a pipe sees it when it is made.
#pragma once

/// Prints a message made with the plain formatter, at most 2047 characters of it. A null format or one of 4096
/// characters and more prints nothing.
__attribute__((format(printf, 1, 2))) void UTIL_Printf(const char* pFormat, ...);

/// Prints pText as a line, unformatted and at any length.
void UTIL_PrintLine(const char* pText);
