#include "check/within.h"

#include <algorithm>
#include <cinttypes>

namespace {

/// Returns the first part of a run that lies outside all ranges; without one, its NumBytes is 0.
CheckRun OutsideOf(const CheckRun& Run, const std::vector<CheckRange>& Ranges) {
  const uint64_t End = Run.Addr + Run.NumBytes;
  uint64_t First = Run.Addr;
  const auto HoldsFirst = [&](const CheckRange& Range) { return Range.First <= First && First <= Range.Last; };
  for (auto i = Ranges.begin(); (i = std::find_if(Ranges.begin(), Ranges.end(), HoldsFirst)) != Ranges.end();) {
    First = uint64_t{i->Last} + 1;
  }
  uint64_t Next = End;
  for (const CheckRange& Range : Ranges) {
    Next = Range.First > First ? std::min<uint64_t>(Next, Range.First) : Next;
  }
  return {First, First < End ? Next - First : 0};
}

std::string Show(uint64_t First, uint64_t Last) {
  return CHECK_Format("0x%08" PRIX64 "-0x%08" PRIX64, First, Last);
}

}  // namespace

CheckStatus CHECK_TestWithin(const CheckInput& Input, const std::vector<CheckRange>& Ranges, const CheckSink& Sink) {
  CheckRun Run = CHECK_RunFrom(Input.pImage.get(), 0);
  CheckRun Outside = OutsideOf(Run, Ranges);
  while (Run.NumBytes != 0 && Outside.NumBytes == 0) {
    Run = CHECK_RunAfter(Input.pImage.get(), Run);
    Outside = OutsideOf(Run, Ranges);
  }
  if (Ranges.empty() || Run.NumBytes == 0) {
    return CHECK_GOOD;
  }
  std::string Text = Show(Outside.Addr, Outside.Addr + (Outside.NumBytes - 1)) + " lies outside";
  for (const CheckRange& Range : Ranges) {
    Text += (&Range != Ranges.data() ? ", " : " ") + Show(Range.First, Range.Last);
  }
  const bool IsRawBinary = Input.pFile->pHandler->pfRead == DATAFILE_ReadBin;
  Text += IsRawBinary ? ": is its load address right?" : ": is RAM data in the file?";
  Sink.pfFound(Sink.pContext, {CHECK_ERROR, Text, CHECK_FindDefinition(*Input.pFile, Outside.Addr)});
  return CHECK_BAD;
}
