#include "check/arguments.h"

#include <charconv>
#include <cstdio>
#include <system_error>

#include "check/print.h"

namespace {

/// Says what is right in place of the text. Returns false.
bool Fail(const char* pOption, const char* pWanted, const char* pText) {
  std::fprintf(stderr, "'%s' is not a valid value for %s, which takes %s, decimal or with 0x\n",
               CHECK_ShowName(pText).c_str(), pOption, pWanted);
  return false;
}

}  // namespace

bool CHECK_ParseNumber(std::string_view Text, uint32_t* pValue) {
  const bool IsHex = Text.starts_with("0x") || Text.starts_with("0X");
  Text.remove_prefix(IsHex ? 2 : 0);
  const char* pEnd = Text.data() + Text.size();
  const std::from_chars_result Result = std::from_chars(Text.data(), pEnd, *pValue, IsHex ? 16 : 10);
  return Result.ec == std::errc() && Result.ptr == pEnd;
}

bool CHECK_ParseRange(std::string_view Text, CheckRange* pRange) {
  const size_t Dash = Text.find('-');
  return Dash != std::string_view::npos && CHECK_ParseNumber(Text.substr(0, Dash), &pRange->First) &&
         CHECK_ParseNumber(Text.substr(Dash + 1), &pRange->Last) && pRange->First <= pRange->Last;
}

bool CHECK_TakeNumber(const CheckNumberOption& Option, const char* pText, uint32_t* pValue) {
  const bool IsRight = CHECK_ParseNumber(pText, pValue) && *pValue >= Option.Min && *pValue % Option.Step == 0;
  return IsRight || Fail(Option.pName, Option.pWanted, pText);
}

bool CHECK_TakeRange(const char* pText, std::vector<CheckRange>* pRanges) {
  CheckRange Range;
  if (!CHECK_ParseRange(pText, &Range)) {
    return Fail("--within", "FIRST-LAST, two addresses of 32 bits", pText);
  }
  pRanges->push_back(Range);
  return true;
}
