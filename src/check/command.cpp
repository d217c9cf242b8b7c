#include "check/command.h"

#include <getopt.h>

#include <algorithm>
#include <array>
#include <cinttypes>
#include <cstdio>
#include <cstring>

#include "check/arguments.h"
#include "check/compare.h"
#include "check/conditioned.h"
#include "check/input.h"
#include "check/print.h"
#include "check/within.h"
#include "sys/file.h"

namespace {

constexpr const char* USAGE =
    "Usage: blockfit-check [OPTION]... FILE...\n"
    "Says why Blockfit refuses a data file, and on which line; or what an accepted file holds. Warns of data that may\n"
    "be missing or wrong. Writes no file.\n\n"
    "      --base ADDR          load address of every .bin file (default 0)\n"
    "      --within FIRST-LAST  all bytes must have addresses in this range; can be repeated for several ranges\n"
    "      --against OTHER      compare each FILE's bytes and addresses with those of OTHER\n"
    "      --conditioned        test what a conditioned file promises\n"
    "      --blocks             the same, with a table of the blocks\n"
    "      --block N            the same, for a block size of N characters, even, 34 or more (default 8192)\n"
    "      --line N             the same, for a line alignment of N bytes, even; 0: no record is cut (default 8)\n"
    "      --strict             also exit with 1 if there are warnings\n"
    "  -h, --help               print this and exit\n"
    "      --version            print the version and exit\n\n"
    "Numbers are decimal, or hexadecimal with 0x. Blockfit itself takes all numbers as hexadecimal: what is\n"
    "-BlockAlign 1000 there is --block 0x1000 here.\n\n"
    "Exit status: 0 all is well; 1 a file is refused, breaks a promise, differs or has data outside; 2 wrong usage, "
    "or\n"
    "a file that cannot be read.";

/// What the command line asks for. The flags have the type that getopt_long sets.
struct Settings {
  uint32_t BaseAddr = 0;
  std::vector<CheckRange> Within;
  ConditionedRules Rules = {8192, 8};
  const char* pAgainst = nullptr;
  int TestsConditioned = 0;
  int ShowsBlocks = 0;
  int IsStrict = 0;
};

void PrintRuns(const CheckInput& Input) {
  MemImage* pImage = Input.pImage.get();
  uint64_t NumBytes = 0;
  for (CheckRun Run = CHECK_RunFrom(pImage, 0); Run.NumBytes != 0; Run = CHECK_RunAfter(pImage, Run)) {
    NumBytes += Run.NumBytes;
  }
  std::printf("%s: %s, %" PRIu64 " byte%s in %" PRIu32 " run%s\n", CHECK_ShowName(Input.pFile->pPath).c_str(),
              Input.pFormat, NumBytes, NumBytes == 1 ? "" : "s", pImage->NumAreas, pImage->NumAreas == 1 ? "" : "s");
  if (NumBytes != 0) {
    std::printf("       first        last        size\n");
  }
  for (CheckRun Run = CHECK_RunFrom(pImage, 0); Run.NumBytes != 0; Run = CHECK_RunAfter(pImage, Run)) {
    std::printf("  0x%08" PRIX64 "  0x%08" PRIX64 "  %10" PRIu64 "\n", Run.Addr, Run.Addr + (Run.NumBytes - 1),
                Run.NumBytes);
  }
}

[[nodiscard]] CheckStatus Compare(const CheckInput& Input, const CheckInput& Other) {
  const CheckDifference Difference = CHECK_Compare(Input.pImage.get(), Other.pImage.get());
  const std::string Name = CHECK_ShowName(Input.pFile->pPath);
  const std::string OtherName = CHECK_ShowName(Other.pFile->pPath);
  if (CHECK_IsSame(Difference)) {
    std::printf("%s: same bytes at the same addresses as %s\n", Name.c_str(), OtherName.c_str());
    return CHECK_GOOD;
  }
  std::printf("%s: differs from %s, first at 0x%08" PRIX64 ": ", Name.c_str(), OtherName.c_str(), Difference.FirstAddr);
  std::printf("%" PRIu64 " differing, %" PRIu64 " missing, %" PRIu64 " surplus bytes\n", Difference.NumDiffering,
              Difference.NumMissing, Difference.NumSurplus);
  return CHECK_BAD;
}

/// Reads a data file, and tests that it has no byte outside the ranges.
[[nodiscard]] CheckStatus ReadInput(const Settings& Set, CheckInput* pInput, const char* pPath, const CheckSink& Sink) {
  const CheckStatus Status = CHECK_OpenInput(pInput, pPath, Set.BaseAddr, Sink);
  return Status == CHECK_GOOD ? CHECK_TestWithin(*pInput, Set.Within, Sink) : Status;
}

/// Explains a data file, and lists or compares what it holds. TestsPromises: its promises have been tested.
[[nodiscard]] CheckStatus ExplainInput(const Settings& Set, const char* pPath, bool TestsPromises,
                                       const CheckInput& Other, const CheckSink& Sink) {
  CheckInput Input;
  const CheckStatus Status = ReadInput(Set, &Input, pPath, Sink);
  if (Input.pImage != nullptr && Set.pAgainst == nullptr && !TestsPromises) {
    PrintRuns(Input);
  }
  const bool CanCompare = Input.pImage != nullptr && Other.pImage != nullptr;
  return CanCompare ? std::max(Status, Compare(Input, Other)) : Status;
}

void PrintBlock(void*, const ConditionedBlock& Block) {
  std::printf("  %10" PRIu64 "  %7" PRIu32 "  %7" PRIu32 "  %3s  %4" PRIu32 "\n", Block.Offset, Block.NumRecords,
              Block.NumBytes, Block.IsCut ? "yes" : "no", Block.NumFill);
}

[[nodiscard]] CheckStatus TestConditioned(const Settings& Set, const char* pPath, const CheckSink& Sink) {
  BlockSink Blocks{};
  if (Set.ShowsBlocks != 0) {
    Blocks.pfBlock = PrintBlock;
    std::printf("      offset  records    bytes  cut  fill\n");
  }
  const CheckStatus Status = CHECK_Conditioned(pPath, Set.Rules, Sink, Blocks);
  if (Status == CHECK_GOOD) {
    std::printf("%s: keeps every promise of a conditioned file, block size %" PRIu32 ", line alignment %" PRIu32 "\n",
                CHECK_ShowName(pPath).c_str(), Set.Rules.BlockSize, Set.Rules.LineAlign);
  }
  return Status;
}

/// Checks a file in all ways that are asked for. WasRead: it has been read before.
[[nodiscard]] CheckStatus CheckFile(const Settings& Set, const char* pPath, bool WasRead, const CheckInput& Other,
                                    const CheckSink& Sink) {
  const bool TestsPromises = Set.TestsConditioned != 0 || Set.ShowsBlocks != 0;
  const bool ReadsInput = !TestsPromises || Set.pAgainst != nullptr || !Set.Within.empty();
  if ((WasRead || (TestsPromises && ReadsInput)) && SYS_IsPipe(pPath)) {
    CHECK_Report({pPath, Sink}, CHECK_ERROR, READ_NOWHERE, "a pipe cannot be read twice: ask for one thing at a time");
    return CHECK_UNREADABLE;
  }
  const CheckStatus Status = TestsPromises ? TestConditioned(Set, pPath, Sink) : CHECK_GOOD;
  if (!ReadsInput || Status == CHECK_UNREADABLE) {
    return Status;
  }
  return std::max(Status, ExplainInput(Set, pPath, TestsPromises, Other, Sink));
}

[[nodiscard]] CheckStatus CheckFiles(const Settings& Set, char* const* paPath) {
  CheckInput Other;
  CheckStatus Status = CHECK_GOOD;
  PrintState Printed;
  const CheckSink Sink{CHECK_PrintFinding, &Printed};
  if (Set.pAgainst != nullptr) {
    Status = ReadInput(Set, &Other, Set.pAgainst, Sink);
  }
  for (char* const* ppPath = paPath; *ppPath != nullptr; ++ppPath) {
    const auto IsSame = [&](const char* pOther) { return std::strcmp(*ppPath, pOther) == 0; };
    const bool WasRead = std::any_of(paPath, ppPath, IsSame) || (Set.pAgainst != nullptr && IsSame(Set.pAgainst));
    Status = std::max(Status, CheckFile(Set, *ppPath, WasRead, Other, Sink));
  }
  return Set.IsStrict != 0 && Printed.HasWarned ? std::max(Status, CHECK_BAD) : Status;
}

/// Applies what getopt_long has found. Returns whether it is right.
[[nodiscard]] bool ApplyOption(Settings* pSet, int Key) {
  switch (Key) {
    case 'a':
      pSet->pAgainst = optarg;
      return true;
    case 'b':
      return CHECK_TakeNumber(CHECK_BASE, optarg, &pSet->BaseAddr);
    case 'w':
      return CHECK_TakeRange(optarg, &pSet->Within);
    case 'k':
      pSet->TestsConditioned = 1;
      return CHECK_TakeNumber(CHECK_BLOCK, optarg, &pSet->Rules.BlockSize);
    case 'l':
      pSet->TestsConditioned = 1;
      return CHECK_TakeNumber(CHECK_LINE, optarg, &pSet->Rules.LineAlign);
    case 0:
      return true;  // a flag, which is set
    default:
      return false;  // getopt_long has said why
  }
}

[[nodiscard]] CheckStatus FailUsage() {
  std::fputs("Try 'blockfit-check --help' for more information.\n", stderr);
  return CHECK_UNREADABLE;
}

[[nodiscard]] CheckStatus RunWith(int NumArgs, char** paArg) {
  Settings Set;
  const std::array<option, 11> aOption = {{
      {"base", required_argument, nullptr, 'b'},
      {"within", required_argument, nullptr, 'w'},
      {"against", required_argument, nullptr, 'a'},
      {"conditioned", no_argument, &Set.TestsConditioned, 1},
      {"blocks", no_argument, &Set.ShowsBlocks, 1},
      {"block", required_argument, nullptr, 'k'},
      {"line", required_argument, nullptr, 'l'},
      {"strict", no_argument, &Set.IsStrict, 1},
      {"help", no_argument, nullptr, 'h'},
      {"version", no_argument, nullptr, 'V'},
      {},
  }};
  for (int Key = 0; (Key = getopt_long(NumArgs, paArg, "h", aOption.data(), nullptr)) != -1;) {
    if (Key == 'h' || Key == 'V') {
      std::puts(Key == 'h' ? USAGE : "blockfit-check " BLOCKFIT_VERSION);
      return CHECK_GOOD;
    }
    if (!ApplyOption(&Set, Key)) {
      return FailUsage();
    }
  }
  if (optind >= NumArgs) {
    std::fputs("blockfit-check: no input file\n", stderr);
    return FailUsage();
  }
  return CheckFiles(Set, paArg + optind);
}

}  // namespace

int CHECK_Run(int NumArgs, char** paArg) {
  const CheckStatus Status = RunWith(NumArgs, paArg);
  // If lines could not be written, those before them are gone, too: that is worse than any result.
  return CHECK_FlushOutput() ? Status : CHECK_UNREADABLE;
}
