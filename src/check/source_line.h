/// Reports findings with the lines of a file that they are about, as an editor counts them and fit to be shown.
#pragma once

#include <cstdint>

#include "check/finding.h"
#include "readers/read_notes.h"

/// Reports a text about the byte at Offset of the file, which may be its end: with the byte's line, or without when the
/// file is no regular one and gives its bytes only once. READ_NOWHERE: the text is about the complete file. O(Offset).
void CHECK_Report(const CheckSink& Sink, CheckLevel Level, const char* pText, const char* pPath, uint64_t Offset);

/// Puts a byte into a text: itself, or, where it is not printable ASCII, a backslash, an x and its two digits.
/// Returns the end of it.
char* CHECK_PutVisible(char* pText, uint8_t Byte);
