/// How operations report an error to their caller.
#pragma once

#include <cstdint>

/// Receives a message: the context given with the callback, the level, the text (borrowed for the call).
using ReportFn = void (*)(void* pContext, uint32_t Level, const char* pText);

/// The level of error reports, the only one this program sends.
constexpr uint32_t REPORT_LEVEL_ERROR = 2;

/// The context of UTIL_CollectErrorText: the caller's text buffer.
struct ErrorTextBuffer {
  char* pText;
  uint32_t TextSize;  ///< Size of pText in bytes, terminator included.
};

/// A report callback and its context. If pfReport is null, nothing is reported.
struct ReportSink {
  ReportFn pfReport;
  void* pContext;
};

/// A ReportFn whose context is an ErrorTextBuffer: an error text replaces what the buffer holds, cut to its size.
/// Ignores reports of other levels.
void UTIL_CollectErrorText(void* pContext, uint32_t Level, const char* pText);

/// Reports pText as an error to Sink, if it has a callback.
void UTIL_ReportError(const ReportSink& Sink, const char* pText);
