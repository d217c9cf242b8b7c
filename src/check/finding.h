/// What the checks find in a file, with the line that it is about, and how they hand it to whoever shows it.
#pragma once

#include <cstdint>

#include "readers/read_notes.h"

/// How a check ends.
enum CheckStatus {
  CHECK_GOOD = 0,
  CHECK_BAD = 1,         ///< The file is refused, breaks a promise or differs.
  CHECK_UNREADABLE = 2,  ///< The file cannot be read, or its extension is unknown.
};

enum CheckLevel { CHECK_WARNING, CHECK_ERROR };

/// One finding; its texts are borrowed for the call.
struct CheckFinding {
  CheckLevel Level;
  const char* pText;     ///< One line.
  uint64_t Line;         ///< The line as an editor counts, from 1; 0: the finding has no place in the file.
  const char* pExcerpt;  ///< The line, cut to a screen's width around the place, printable ASCII; empty: no line.
  uint32_t MarkColumn;   ///< The place: characters of the excerpt before it.
};

/// Receives findings.
struct CheckSink {
  void (*pfFound)(void* pContext, const CheckFinding& Finding);
  void* pContext;
};

/// Reports a text about the byte at Offset of the file, which may be its end: with the byte's line, or without when the
/// file is no regular one and gives its bytes only once. READ_NOWHERE: the text is about the complete file. O(Offset).
void CHECK_Report(const CheckSink& Sink, CheckLevel Level, const char* pText, const char* pPath, uint64_t Offset);

/// Puts a byte into a text: itself, or, where it is not printable ASCII, a backslash, an x and its two digits.
/// Returns the end of it.
char* CHECK_PutVisible(char* pText, uint8_t Byte);
