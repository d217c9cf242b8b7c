#include "check/within.h"

#include <algorithm>
#include <charconv>
#include <cinttypes>
#include <system_error>

namespace {

/// Returns the first part of a run that lies outside all ranges; without one, its NumBytes is 0.
CheckRun OutsideOf(const CheckRun& Run, const std::vector<CheckRange>& Ranges) {
  uint64_t First = Run.Addr;
  uint64_t End = Run.Addr + Run.NumBytes;
  const auto HoldsFirst = [&](const CheckRange& Range) { return Range.First <= First && First <= Range.Last; };
  for (auto i = Ranges.begin(); (i = std::find_if(Ranges.begin(), Ranges.end(), HoldsFirst)) != Ranges.end();) {
    First = uint64_t{i->Last} + 1;
  }
  for (const CheckRange& Range : Ranges) {
    End = Range.First > First ? std::min<uint64_t>(End, Range.First) : End;
  }
  return {First, End - std::min(First, End)};
}

std::string Show(uint64_t First, uint64_t Last) {
  return CHECK_Format("0x%08" PRIX64 "-0x%08" PRIX64, First, Last);
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
  const size_t Dash = std::min(Text.find('-'), Text.size());
  return CHECK_ParseNumber(Text.substr(0, Dash), &pRange->First) && Dash < Text.size() &&
         CHECK_ParseNumber(Text.substr(Dash + 1), &pRange->Last) && pRange->First <= pRange->Last;
}

CheckStatus CHECK_TestWithin(const CheckInput& Input, const std::vector<CheckRange>& Ranges, const CheckSink& Sink) {
  CheckRun Outside{};
  for (const CheckRun& Run : CHECK_ListRuns(Input.pImage.get())) {
    Outside = Outside.NumBytes == 0 ? OutsideOf(Run, Ranges) : Outside;
  }
  if (Ranges.empty() || Outside.NumBytes == 0) {
    return CHECK_GOOD;
  }
  std::string Text = Show(Outside.Addr, Outside.Addr + (Outside.NumBytes - 1)) + " lies outside";
  for (const CheckRange& Range : Ranges) {
    Text += (&Range != Ranges.data() ? ", " : " ") + Show(Range.First, Range.Last);
  }
  const bool IsRawBinary = Input.pFile->pHandler->pfRead == DATAFILE_ReadBin;
  Text += IsRawBinary ? ": is its load address right?" : ": is RAM data in the file?";
  Sink({CHECK_ERROR, Text, CHECK_FindDefinition(*Input.pFile, Outside.Addr)});
  return CHECK_BAD;
}
