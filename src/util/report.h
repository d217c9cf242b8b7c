/// How operations report an error text to whoever called them.
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

/// A report callback with its context; pfReport may be null: nothing is reported then.
struct ReportSink {
  ReportFn pfReport;
  void* pContext;
};

/// A ReportFn whose context is an ErrorTextBuffer: an error text replaces what the buffer holds, cut to its size.
/// Reports of other levels are ignored.
void UTIL_CollectErrorText(void* pContext, uint32_t Level, const char* pText);

/// Sends pText as an error through Sink, if that has a callback.
void UTIL_ReportError(const ReportSink& Sink, const char* pText);
