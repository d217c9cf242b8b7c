#include "check/print.h"

#include <array>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>

namespace {

void PrintAt(const CheckPlace& Place, const char* pLevel, const char* pText) {
  std::fprintf(stderr, "%s:", CHECK_ShowName(Place.pPath).c_str());
  if (Place.Line != 0) {
    std::fprintf(stderr, "%" PRIu64 ":", Place.Line);
  }
  std::fprintf(stderr, " %s: %s\n", pLevel, pText);
  if (!Place.Excerpt.empty()) {
    std::fprintf(stderr, "  %s\n  %*s\n", Place.Excerpt.c_str(), static_cast<int>(Place.MarkColumn) + 1, "^");
  }
}

}  // namespace

void CHECK_PrintFinding(void* pContext, const CheckFinding& Finding) {
  constexpr std::array<const char*, 3> LEVELS = {"note", "warning", "error"};
  static_cast<PrintState*>(pContext)->HasWarned |= Finding.Level == CHECK_WARNING;
  std::fflush(stdout);  // in a log of both, what was found first comes first
  PrintAt(Finding.Place, LEVELS[Finding.Level], Finding.Text.c_str());
  if (Finding.FirstPlace.pPath != nullptr) {
    PrintAt(Finding.FirstPlace, "note", "first defined here");
  }
}

std::string CHECK_ShowName(std::string Name) {
  uint8_t Before = 0;
  for (char& c : Name) {
    const uint8_t Byte = static_cast<uint8_t>(c);
    const bool IsControlInUtf8 = Before == 0xC2 && Byte >= 0x80 && Byte < 0xA0;
    if (Byte < ' ' || Byte == 0x7F || IsControlInUtf8) {
      c = '?';
    }
    Before = Byte;
  }
  return Name;
}

bool CHECK_FlushOutput() {
  const bool IsWritten = std::fflush(stdout) == 0 && std::ferror(stdout) == 0;
  if (!IsWritten) {
    std::perror("standard output");
  }
  return IsWritten;
}

void CHECK_StopWithoutMemory() {
  std::fputs("Out of memory\n", stderr);
  std::_Exit(CHECK_UNREADABLE);
}
