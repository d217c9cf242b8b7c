#include "check/terminal.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <system_error>

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

/// Says what an option takes in place of the text. Returns false.
bool Fail(const char* pText, const char* pWanted) {
  std::fprintf(stderr, "%s, decimal or with 0x, and not '%s'\n", pWanted, CHECK_ShowName(pText).c_str());
  return false;
}

}  // namespace

bool CHECK_ParseNumber(std::string_view Text, uint32_t* pValue) {
  const bool IsHex = Text.starts_with("0x") || Text.starts_with("0X");
  Text.remove_prefix(IsHex ? 2 : 0);
  if (!IsHex && Text.size() > 1 && Text[0] == '0') {  // 08000000 is meant to be an address in hexadecimal
    return false;
  }
  const char* pEnd = Text.data() + Text.size();
  const std::from_chars_result Result = std::from_chars(Text.data(), pEnd, *pValue, IsHex ? 16 : 10);
  return Result.ec == std::errc() && Result.ptr == pEnd;
}

bool CHECK_ParseRange(std::string_view Text, CheckRange* pRange) {
  const size_t Dash = std::min(Text.find('-'), Text.size());
  return CHECK_ParseNumber(Text.substr(0, Dash), &pRange->First) && Dash < Text.size() &&
         CHECK_ParseNumber(Text.substr(Dash + 1), &pRange->Last) && pRange->First <= pRange->Last;
}

bool CHECK_TakeValue(CheckOptions* pOptions, int Key, const char* pText) {
  ConditionedRules& Rules = pOptions->Rules;
  switch (Key) {
    case 'b':
      return CHECK_ParseNumber(pText, &pOptions->Memory.BaseAddr) || Fail(pText, "--base takes an address of 32 bits");
    case 'w':
      return CHECK_ParseRange(pText, &pOptions->Memory.Within.emplace_back()) ||
             Fail(pText, "--within takes FIRST-LAST, two addresses of 32 bits");
    case 'k':
      return (CHECK_ParseNumber(pText, &Rules.BlockSize) && Rules.BlockSize >= 34 && Rules.BlockSize % 2 == 0) ||
             Fail(pText, "--block takes an even number, 34 or more");
    case 'l':
      return (CHECK_ParseNumber(pText, &Rules.LineAlign) && Rules.LineAlign % 2 == 0) ||
             Fail(pText, "--line takes an even number");
    default:
      return true;
  }
}

void CHECK_PrintFinding(const CheckFinding& Finding) {
  constexpr std::array<const char*, 3> LEVELS = {"note", "warning", "error"};
  std::fflush(stdout);
  PrintAt(Finding.Place, LEVELS[Finding.Level], Finding.Text.c_str());
  if (Finding.FirstPlace.pPath != nullptr) {
    PrintAt(Finding.FirstPlace, "note", "first defined here");
  }
  std::fflush(stderr);
}

std::string CHECK_ShowName(std::string Name) {
  uint8_t Before = 0;
  for (char& c : Name) {
    const uint8_t Byte = static_cast<uint8_t>(c);
    const bool IsControlInUtf8 = Before == 0xC2 && Byte >= 0x80 && Byte < 0xA0;
    c = Byte < ' ' || Byte == 0x7F || IsControlInUtf8 ? '?' : c;
    Before = Byte;
  }
  return Name;
}

std::string CHECK_ShowSize(MemImage* pImage) {
  uint64_t NumBytes = 0;
  for (CheckRun Run = CHECK_RunFrom(pImage, 0); Run.NumBytes != 0; Run = CHECK_RunAfter(pImage, Run)) {
    NumBytes += Run.NumBytes;
  }
  return CHECK_Format("%" PRIu64 " byte%s in %" PRIu32 " run%s", NumBytes, NumBytes == 1 ? "" : "s", pImage->NumAreas,
                      pImage->NumAreas == 1 ? "" : "s");
}

bool CHECK_FlushOutput() {
  const bool IsWritten = std::fflush(stdout) == 0 && std::ferror(stdout) == 0;
  if (!IsWritten) {
    std::perror("standard output");
  }
  return IsWritten;
}

void CHECK_StopWithoutMemory() {
  std::fputs("error: out of memory\n", stderr);
  std::fflush(stderr);
  std::_Exit(CHECK_UNREADABLE);
}
