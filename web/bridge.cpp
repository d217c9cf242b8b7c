/// The library as the page's worker calls it, for one file at a time, which is kept here. Numbers that JavaScript gets
/// are doubles where they can pass 32 bits: those are the ones it has.
#include <emscripten.h>

#include <array>
#include <cstdint>
#include <new>

#include "check/conditioned.h"
#include "check/input.h"
#include "srec/conditioned_writer.h"
#include "util/format.h"

/// Hands a finding to the worker, which has set onFinding.
EM_JS(void, TellFinding, (const char* pLevel, const char* pText),
      { Module.onFinding({level : UTF8ToString(pLevel), text : UTF8ToString(pText), places : []}); });

/// Hands over a line that the latest finding is about.
EM_JS(void, TellPlace, (double Line, const char* pExcerpt, uint32_t MarkColumn),
      { Module.onPlace({line : Line, excerpt : UTF8ToString(pExcerpt), markColumn : MarkColumn}); });

/// Hands over the next block of the output.
EM_JS(void, TellBlock, (uint32_t NumRecords, uint32_t NumBytes, uint32_t NumFill, bool IsCut),
      { Module.onBlock(NumRecords, NumBytes, NumFill, IsCut); });

/// Ends a run that gets no memory, in the worker.
EM_JS(void, FailAllocation, (), { throw new RangeError(); });

namespace {

constinit CheckInput Input{};

void TellLine(const CheckPlace& Place) {
  if (Place.Line != 0) {
    TellPlace(static_cast<double>(Place.Line), Place.Excerpt.c_str(), Place.MarkColumn);
  }
}

void Tell(const CheckFinding& Finding) {
  constexpr std::array<const char*, 3> LEVELS = {"note", "warning", "error"};
  TellFinding(LEVELS[Finding.Level], Finding.Text.c_str());
  TellLine(Finding.Place);
  TellLine(Finding.FirstPlace);
}

void TellError(void*, uint32_t, const char* pText) {
  Tell({CHECK_ERROR, pText, {}});
}

void TellErrorsOnly(const CheckFinding& Finding) {
  if (Finding.Level == CHECK_ERROR) {
    Tell(Finding);
  }
}

void PassBlock(const ConditionedBlock& Block) {
  TellBlock(Block.NumRecords, Block.NumBytes, Block.NumFill, Block.IsCut);
}

}  // namespace

extern "C" {

/// Reads the file at pPath, whose extension determines the format, and tells what is wrong or surprising about it.
/// BaseAddr: load address of a raw binary file. paRange: where data may be; none: anywhere.
/// Returns a CheckStatus; CHECK_UNREADABLE if memory is exhausted.
EMSCRIPTEN_KEEPALIVE int WEB_Read(const char* pPath, uint32_t BaseAddr, const CheckRange* paRange, uint32_t NumRanges) {
  std::set_new_handler(FailAllocation);
  const CheckMemory Memory{BaseAddr, {paRange, paRange + NumRanges}};
  const CheckStatus Status = CHECK_OpenInput(&Input, {pPath, Tell}, Memory);
  return Input.pFile == nullptr ? CHECK_BAD : Status;
}

/// Finds the first run of bytes at Addr or above. paRun: receives the run's first address and its size in bytes.
/// Returns whether there is one.
EMSCRIPTEN_KEEPALIVE bool WEB_FindRun(double Addr, double* paRun) {
  const CheckRun Run = CHECK_RunFrom(Input.pImage.get(), static_cast<uint64_t>(Addr));
  paRun[0] = static_cast<double>(Run.Addr);
  paRun[1] = static_cast<double>(Run.NumBytes);
  return Run.NumBytes != 0;
}

/// Writes what has been read to the file at pPath. Returns 0; or -1, with a text told where there is one.
EMSCRIPTEN_KEEPALIVE int WEB_Write(const char* pPath, uint32_t LineAlign, uint32_t BlockAlign) {
  return SREC_WriteConditionedEx(Input.pImage.get(), pPath, TellError, nullptr, LineAlign, BlockAlign);
}

/// Tests what the output at pPath promises, hands over its blocks, and tells which promise it breaks.
/// Returns a CheckStatus.
EMSCRIPTEN_KEEPALIVE int WEB_TestPromises(const char* pPath, uint32_t LineAlign, uint32_t BlockAlign) {
  return CHECK_Conditioned({pPath, Tell}, {BlockAlign, LineAlign}, PassBlock);
}

/// Reads the output at pPath again, and tells whether its bytes are not those of the input. Returns a CheckStatus.
EMSCRIPTEN_KEEPALIVE int WEB_Compare(const char* pPath) {
  CheckInput Output;
  CheckStatus Status = CHECK_OpenInput(&Output, {pPath, TellErrorsOnly}, {});
  const CheckDifference Difference =
      Status == CHECK_GOOD ? CHECK_Compare(Output.pImage.get(), Input.pImage.get()) : CheckDifference{};
  if (!CHECK_IsSame(Difference)) {
    std::array<char, 128> acText;
    UTIL_snprintf(acText.data(), acText.size(),
                  "the output does not have the input's bytes at their addresses: see 0x%X",
                  static_cast<uint32_t>(Difference.FirstAddr));
    TellError(nullptr, 0, acText.data());
    Status = CHECK_BAD;
  }
  return Status;
}

/// Forgets what has been read, so that the next file can be.
EMSCRIPTEN_KEEPALIVE void WEB_Close() {
  Input = {};
}

}  // extern "C"
