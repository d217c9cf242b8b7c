/// Lines of a file, as an editor counts them and fit to be shown.
#pragma once

#include <cstdint>

#include "check/finding.h"

/// Reports a text about the byte at Offset of the file, or its end: with the byte's line, or without any when the file
/// does not give it a second time (it is a pipe, was changed, or cannot be read). O(Offset).
void CHECK_ReportAt(const CheckSink& Sink, CheckLevel Level, const char* pText, const char* pPath, uint64_t Offset);

/// Reports a text about the complete file.
void CHECK_Report(const CheckSink& Sink, CheckLevel Level, const char* pText);

/// Returns whether CHECK_ReportAt can show lines of the file.
[[nodiscard]] bool CHECK_HasLines(const char* pPath);

/// Puts a byte into a text: itself, or \xNN (4 characters) where it is not printable ASCII. Returns the end of it.
char* CHECK_PutVisible(char* pText, uint8_t Byte);
