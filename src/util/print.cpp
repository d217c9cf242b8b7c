#include "util/print.h"

#include <array>
#include <cstdarg>
#include <cstdint>
#include <cstdio>

#include "util/format.h"
#include "util/text.h"

namespace {

constexpr uint64_t FORMAT_LIMIT = 4096;
constexpr int32_t MESSAGE_SIZE = 2048;

}  // namespace

void UTIL_Printf(const char* pFormat, ...) {
  if (pFormat == nullptr || UTIL_StrLen(pFormat) >= FORMAT_LIMIT) {
    return;
  }
  std::array<char, MESSAGE_SIZE> acMessage;
  va_list Args;
  va_start(Args, pFormat);
  UTIL_vsnprintf(acMessage.data(), MESSAGE_SIZE, pFormat, Args);
  va_end(Args);
  std::fputs(acMessage.data(), stdout);
  std::fflush(stdout);
}

void UTIL_PrintLine(const char* pText) {
  std::puts(pText);
  std::fflush(stdout);
}
