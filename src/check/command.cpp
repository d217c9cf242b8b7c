#include "check/command.h"

#include <getopt.h>

#include <algorithm>
#include <array>
#include <cinttypes>
#include <cstdio>
#include <cstring>

#include "check/terminal.h"
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
    "-BlockAlign 1000 there is --block 0x1000 here.";

/// What the command line asks for. The flags have the type that getopt_long sets.
struct Settings {
  CheckOptions Shared;
  const char* pAgainst = nullptr;
  CheckInput Other;  ///< What is at pAgainst.
  int TestsConditioned = 0;
  int ShowsBlocks = 0;
  int IsStrict = 0;
};

void PrintRuns(const CheckInput& Input) {
  MemImage* pImage = Input.pImage.get();
  std::printf("%s: %s, %s\n%s", CHECK_ShowName(Input.pFile->pPath).c_str(), Input.pFormat,
              CHECK_ShowSize(pImage).c_str(), pImage->NumAreas == 0 ? "" : "       first        last        size\n");
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
  std::printf("%s: differs from %s, first at 0x%08" PRIX64 ": %" PRIu64 " differing, %" PRIu64 " missing, %" PRIu64
              " surplus bytes\n",
              Name.c_str(), OtherName.c_str(), Difference.FirstAddr, Difference.NumDiffering, Difference.NumMissing,
              Difference.NumSurplus);
  return CHECK_BAD;
}

void PrintBlock(const ConditionedBlock& Block) {
  std::printf("  %10" PRIu64 "  %7" PRIu32 "  %7" PRIu32 "  %3s  %4" PRIu32 "\n", Block.Offset, Block.NumRecords,
              Block.NumBytes, Block.IsCut ? "yes" : "no", Block.NumFill);
}

[[nodiscard]] CheckStatus TestConditioned(const Settings& Set, const CheckedFile& File) {
  const ConditionedRules& Rules = Set.Shared.Rules;
  BlockSink Blocks;
  if (Set.ShowsBlocks != 0) {
    std::printf("      offset  records    bytes  cut  fill\n");
    Blocks = PrintBlock;
  }
  const CheckStatus Status = CHECK_Conditioned(File, Rules, Blocks);
  if (Status == CHECK_GOOD) {
    std::printf("%s: keeps every promise of a conditioned file, block size %" PRIu32 ", line alignment %" PRIu32 "\n",
                CHECK_ShowName(File.pPath).c_str(), Rules.BlockSize, Rules.LineAlign);
  }
  return Status;
}

/// Checks a file in all ways that are asked for. WasRead: it has been read before.
[[nodiscard]] CheckStatus CheckFile(const Settings& Set, const CheckedFile& File, bool WasRead) {
  const bool TestsPromises = Set.TestsConditioned != 0 || Set.ShowsBlocks != 0;
  const bool ReadsInput = !TestsPromises || Set.pAgainst != nullptr || !Set.Shared.Memory.Within.empty();
  if ((WasRead || (TestsPromises && ReadsInput)) && SYS_IsPipe(File.pPath)) {
    CHECK_Report(File, CHECK_ERROR, READ_NOWHERE, "a pipe cannot be read twice: ask for one thing at a time");
    return CHECK_UNREADABLE;
  }
  CheckStatus Status = TestsPromises ? TestConditioned(Set, File) : CHECK_GOOD;
  if (!ReadsInput || Status == CHECK_UNREADABLE) {
    return Status;
  }
  CheckInput Input;
  Status = std::max(Status, CHECK_OpenInput(&Input, File, Set.Shared.Memory));
  if (Input.pImage != nullptr && Set.Other.pImage != nullptr) {
    Status = std::max(Status, Compare(Input, Set.Other));
  } else if (Input.pImage != nullptr && Set.pAgainst == nullptr && !TestsPromises) {
    PrintRuns(Input);
  }
  return Status;
}

[[nodiscard]] CheckStatus CheckFiles(Settings* pSet, char* const* paPath) {
  bool HasWarned = false;
  const CheckSink Sink = [&](const CheckFinding& Finding) {
    HasWarned |= Finding.Level == CHECK_WARNING;
    CHECK_PrintFinding(Finding);
  };
  const char* pAgainst = pSet->pAgainst;
  CheckStatus Status =
      pAgainst != nullptr ? CHECK_OpenInput(&pSet->Other, {pAgainst, Sink}, pSet->Shared.Memory) : CHECK_GOOD;
  for (char* const* ppPath = paPath; *ppPath != nullptr; ++ppPath) {
    const auto IsSame = [&](const char* pOther) { return std::strcmp(*ppPath, pOther) == 0; };
    const bool WasRead = std::any_of(paPath, ppPath, IsSame) || (pAgainst != nullptr && IsSame(pAgainst));
    Status = std::max(Status, CheckFile(*pSet, {*ppPath, Sink}, WasRead));
  }
  return pSet->IsStrict != 0 && HasWarned ? std::max(Status, CHECK_BAD) : Status;
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
    if (Key == '?' || !CHECK_TakeValue(&Set.Shared, Key, optarg)) {
      return FailUsage();
    }
    Set.pAgainst = Key == 'a' ? optarg : Set.pAgainst;
    Set.TestsConditioned |= Key == 'k' || Key == 'l' ? 1 : 0;
  }
  if (optind >= NumArgs) {
    std::fputs("blockfit-check: no input file\n", stderr);
    return FailUsage();
  }
  return CheckFiles(&Set, paArg + optind);
}

}  // namespace

int CHECK_Run(int NumArgs, char** paArg) {
  const CheckStatus Status = RunWith(NumArgs, paArg);
  // If lines could not be written, those before them are gone, too: that is worse than any result.
  return CHECK_FlushOutput() ? Status : CHECK_UNREADABLE;
}
