/// The library as the page's worker calls it. A worker conditions one file and ends, so what it works on is kept here,
/// and nothing is ever freed. Numbers that JavaScript gets are doubles: those are the ones it has.
#include <emscripten.h>

#include <array>
#include <cstdint>

#include "check/compare.h"
#include "check/conditioned.h"
#include "check/input.h"
#include "srec/conditioned_writer.h"
#include "util/format.h"

/// Hands a finding to the worker, which has set onFinding.
EM_JS(void, TellFinding, (bool IsError, const char* pText, double Line, const char* pExcerpt, uint32_t MarkColumn), {
  const finding = {isError : IsError, text : UTF8ToString(pText), line : Line, markColumn : MarkColumn};
  finding.excerpt = UTF8ToString(pExcerpt);
  Module.onFinding(finding);
});

namespace {

constinit CheckInput Input{};

void Tell(void*, const CheckFinding& Finding) {
  TellFinding(Finding.Level == CHECK_ERROR, Finding.pText, static_cast<double>(Finding.Line), Finding.pExcerpt,
              Finding.MarkColumn);
}

void TellError(void*, uint32_t, const char* pText) {
  Tell(nullptr, {CHECK_ERROR, pText, 0, "", 0});
}

void TellErrorsOnly(void*, const CheckFinding& Finding) {
  if (Finding.Level == CHECK_ERROR) {
    Tell(nullptr, Finding);
  }
}

constexpr CheckSink SINK = {Tell, nullptr};

}  // namespace

extern "C" {

/// Reads the file at pPath, whose extension determines the format, and tells what is wrong or surprising about it.
/// BaseAddr: load address of a raw binary file. Returns a CheckStatus.
EMSCRIPTEN_KEEPALIVE int WEB_Read(const char* pPath, uint32_t BaseAddr) {
  return CHECK_OpenInput(&Input, pPath, BaseAddr, SINK);
}

/// Finds the first run of bytes at Addr or above. paRun: receives the run's first address and its size in bytes.
/// Returns whether there is one.
EMSCRIPTEN_KEEPALIVE bool WEB_FindRun(double Addr, double* paRun) {
  const CheckRun Run = CHECK_RunFrom(Input.pImage, static_cast<uint64_t>(Addr));
  paRun[0] = static_cast<double>(Run.Addr);
  paRun[1] = static_cast<double>(Run.NumBytes);
  return Run.NumBytes != 0;
}

/// Writes what has been read to the file at pPath. Returns 0; or -1, with a text told where there is one.
EMSCRIPTEN_KEEPALIVE int WEB_Write(const char* pPath, uint32_t LineAlign, uint32_t BlockAlign) {
  return SREC_WriteConditionedEx(Input.pImage, pPath, TellError, nullptr, LineAlign, BlockAlign);
}

/// Reads the output at pPath again, and tells which promise it breaks, or that its bytes are not those of the input.
/// Returns a CheckStatus.
EMSCRIPTEN_KEEPALIVE int WEB_Prove(const char* pPath, uint32_t LineAlign, uint32_t BlockAlign) {
  CheckStatus Status = CHECK_Conditioned(pPath, {BlockAlign, LineAlign}, SINK, {nullptr, nullptr});
  if (Status != CHECK_GOOD) {
    return Status;
  }
  CheckInput Output;
  Status = CHECK_OpenInput(&Output, pPath, 0, {TellErrorsOnly, nullptr});
  if (Status != CHECK_GOOD) {
    return Status;
  }
  const CheckDifference Difference = CHECK_Compare(Output.pImage, Input.pImage);
  if (CHECK_IsSame(Difference)) {
    return CHECK_GOOD;
  }
  std::array<char, 128> acText;
  UTIL_snprintf(acText.data(), acText.size(), "the output does not have the input's bytes at their addresses: see 0x%X",
                static_cast<uint32_t>(Difference.FirstAddr));
  TellError(nullptr, 0, acText.data());
  return CHECK_BAD;
}

}  // extern "C"
