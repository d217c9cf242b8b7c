#include "util/report.h"

#include "util/text.h"

void UTIL_CollectErrorText(void* pContext, uint32_t Level, const char* pText) {
  if (Level != REPORT_LEVEL_ERROR) {
    return;
  }
  const ErrorTextBuffer* pBuffer = static_cast<const ErrorTextBuffer*>(pContext);
  UTIL_CopyString(pBuffer->pText, pText, pBuffer->TextSize);
}

void UTIL_ReportError(const ReportSink& Sink, const char* pText) {
  if (Sink.pfReport != nullptr) {
    Sink.pfReport(Sink.pContext, REPORT_LEVEL_ERROR, pText);
  }
}
