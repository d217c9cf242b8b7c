/// What the checks find in a file, and how they hand it to whoever shows it.
#pragma once

#include <cstdint>

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
