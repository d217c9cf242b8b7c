#include "check/command.h"

#include <getopt.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "check/compare.h"
#include "check/conditioned.h"
#include "check/input.h"

namespace {

constexpr uint64_t NUM_RUNS_SHOWN = 20;

constexpr const char* USAGE =
    "Usage: blockfit-check [OPTION]... FILE...\n"
    "Says why Blockfit refuses a data file, and at which line; or what an accepted file holds, and what in it may\n"
    "surprise. Writes no file.\n\n"
    "      --base ADDR      load address of every .bin file (default 0)\n"
    "      --runs           list all runs of data, not only the first 20\n"
    "      --against OTHER  compare each FILE's bytes and addresses with those of OTHER\n"
    "      --conditioned    test what a conditioned file promises\n"
    "      --blocks         the same, with a table of the blocks\n"
    "      --block N        its block size in characters, even, 34 or more (default 8192)\n"
    "      --line N         its line alignment in bytes, even; 0: no record is cut (default 8)\n"
    "      --strict         exit status 1 for a warning, too\n"
    "      --help           print this and exit\n"
    "      --version        print the version and exit\n\n"
    "ADDR and N are decimal, or hexadecimal with 0x. Blockfit itself takes all numbers as hexadecimal: what is\n"
    "-BlockAlign 1000 there is --block 0x1000 here.\n\n"
    "Exit status: 0 all is well; 1 a file is refused, breaks a promise or differs; 2 wrong usage, or a file that\n"
    "cannot be read.\n";

struct Settings {
  uint32_t BaseAddr = 0;
  ConditionedRules Rules = {8192, 8};
  const char* pAgainst = nullptr;
  bool ShowsRuns = false;
  bool TestsConditioned = false;
  bool ShowsBlocks = false;
  bool IsStrict = false;
};

/// What findings are printed with.
struct Printer {
  const char* pPath;
  bool HasWarned;
};

/// Prints a finding as compilers do, so that editors and build logs link it.
void PrintFinding(void* pContext, const CheckFinding& Finding) {
  Printer* pPrinter = static_cast<Printer*>(pContext);
  const char* pLevel = Finding.Level == CHECK_ERROR ? "error" : "warning";
  pPrinter->HasWarned |= Finding.Level == CHECK_WARNING;
  std::fflush(stdout);  // in a log of both, what was found first comes first
  if (Finding.Line != 0) {
    std::fprintf(stderr, "%s:%" PRIu64 ": %s: %s\n", pPrinter->pPath, Finding.Line, pLevel, Finding.pText);
  } else {
    std::fprintf(stderr, "%s: %s: %s\n", pPrinter->pPath, pLevel, Finding.pText);
  }
  if (Finding.pExcerpt[0] != '\0') {
    std::fprintf(stderr, "  %s\n  %*s\n", Finding.pExcerpt, static_cast<int>(Finding.MarkColumn) + 1, "^");
  }
}

void PrintRuns(const CheckInput& Input, bool ShowsAll) {
  std::printf("%s: %s, %" PRIu64 " bytes in %" PRIu64 " run%s\n", Input.pFile->pPath,
              Input.pFile->pHandler->pFormatName, Input.NumBytes, Input.NumRuns, Input.NumRuns == 1 ? "" : "s");
  if (Input.NumRuns == 0) {
    return;
  }
  const uint64_t NumShown = ShowsAll ? Input.NumRuns : std::min(Input.NumRuns, NUM_RUNS_SHOWN);
  std::printf("       first        last        size\n");
  CheckRun Run = CHECK_RunFrom(Input.pImage, 0);
  for (uint64_t i = 0; i < NumShown; ++i) {
    std::printf("  0x%08" PRIX64 "  0x%08" PRIX64 "  %10" PRIu64 "\n", Run.Addr, Run.Addr + (Run.NumBytes - 1),
                Run.NumBytes);
    Run = CHECK_RunAfter(Input.pImage, Run);
  }
  if (NumShown != Input.NumRuns) {
    std::printf("  and %" PRIu64 " more (--runs lists all)\n", Input.NumRuns - NumShown);
  }
}

[[nodiscard]] CheckStatus Compare(const CheckInput& Input, const CheckInput& Other) {
  const CheckDifference Difference = CHECK_Compare(Input.pImage, Other.pImage);
  if (CHECK_IsSame(Difference)) {
    std::printf("%s: same bytes at the same addresses as %s\n", Input.pFile->pPath, Other.pFile->pPath);
    return CHECK_GOOD;
  }
  std::printf("%s: differs from %s, first at 0x%08" PRIX64 ": %" PRIu64 " bytes differ, %" PRIu64 " missing, %" PRIu64
              " surplus\n",
              Input.pFile->pPath, Other.pFile->pPath, Difference.FirstAddr, Difference.NumDiffering,
              Difference.NumMissing, Difference.NumSurplus);
  return CHECK_BAD;
}

void PrintBlock(void*, const ConditionedBlock& Block) {
  std::printf("  %10" PRIu64 "  %7" PRIu32 "  %7" PRIu32 "  %3s  %4" PRIu32 "\n", Block.Offset, Block.NumRecords,
              Block.NumBytes, Block.IsCut ? "yes" : "no", Block.NumFill);
}

[[nodiscard]] CheckStatus TestConditioned(const Settings& Set, const char* pPath, const CheckSink& Sink) {
  if (Set.ShowsBlocks) {
    std::printf("      offset  records    bytes  cut  fill\n");
  }
  const CheckStatus Status =
      CHECK_Conditioned(pPath, Set.Rules, Sink, {Set.ShowsBlocks ? PrintBlock : nullptr, nullptr});
  if (Status == CHECK_GOOD) {
    std::printf("%s: keeps every promise of a conditioned file, block size %" PRIu32 ", line alignment %" PRIu32 "\n",
                pPath, Set.Rules.BlockSize, Set.Rules.LineAlign);
  }
  return Status;
}

/// Checks a file in all ways that are asked for.
[[nodiscard]] CheckStatus CheckFile(const Settings& Set, const char* pPath, const CheckInput& Other) {
  Printer Print{pPath, false};
  const CheckSink Sink{PrintFinding, &Print};
  CheckStatus Status = Set.TestsConditioned ? TestConditioned(Set, pPath, Sink) : CHECK_GOOD;
  if (!Set.TestsConditioned || Set.ShowsRuns || Set.pAgainst != nullptr) {
    CheckInput Input;
    CheckStatus InputStatus = CHECK_OpenInput(&Input, pPath, Set.BaseAddr, Sink);
    if (Input.pImage != nullptr && (Set.ShowsRuns || Set.pAgainst == nullptr)) {
      PrintRuns(Input, Set.ShowsRuns);
    }
    if (Input.pImage != nullptr && Other.pImage != nullptr) {
      InputStatus = Compare(Input, Other);
    }
    CHECK_CloseInput(&Input);
    Status = std::max(Status, InputStatus);
  }
  return Set.IsStrict && Print.HasWarned ? std::max(Status, CHECK_BAD) : Status;
}

[[nodiscard]] CheckStatus CheckFiles(const Settings& Set, char* const* paPath) {
  CheckInput Other{};
  CheckStatus Status = CHECK_GOOD;
  if (Set.pAgainst != nullptr) {
    Printer Print{Set.pAgainst, false};
    Status = CHECK_OpenInput(&Other, Set.pAgainst, Set.BaseAddr, {PrintFinding, &Print});
    if (Set.IsStrict && Print.HasWarned) {
      Status = std::max(Status, CHECK_BAD);
    }
  }
  for (; *paPath != nullptr; ++paPath) {
    Status = std::max(Status, CheckFile(Set, *paPath, Other));
  }
  CHECK_CloseInput(&Other);
  return Status;
}

int FailUsage() {
  std::fprintf(stderr, "Try 'blockfit-check --help' for more information.\n");
  return CHECK_UNREADABLE;
}

/// Reads optarg: a number from Min to Max, decimal or with 0x, a multiple of Step. Returns whether it is one.
[[nodiscard]] bool ParseNumber(const char* pOption, uint32_t Min, uint32_t Step, uint32_t* pValue) {
  const bool IsHex = optarg[0] == '0' && (optarg[1] == 'x' || optarg[1] == 'X');
  char* pEnd = optarg;
  errno = 0;
  const unsigned long long Value = std::strtoull(optarg, &pEnd, IsHex ? 16 : 10);
  // A sign or white space in front, which strtoull takes, is no digit.
  if (optarg[0] < '0' || optarg[0] > '9' || *pEnd != '\0' || errno != 0 || Value < Min || Value > UINT32_MAX ||
      Value % Step != 0) {
    std::fprintf(stderr, "blockfit-check: --%s takes %s number from %" PRIu32 " to 0x%08" PRIX32 ", not '%s'\n",
                 pOption, Step == 1 ? "a" : "an even", Min, UINT32_MAX - (Step - 1), optarg);
    return false;
  }
  *pValue = static_cast<uint32_t>(Value);
  return true;
}

constexpr std::array<option, 11> OPTIONS = {{
    {"base", required_argument, nullptr, 'b'},
    {"runs", no_argument, nullptr, 'r'},
    {"against", required_argument, nullptr, 'a'},
    {"conditioned", no_argument, nullptr, 'c'},
    {"blocks", no_argument, nullptr, 't'},
    {"block", required_argument, nullptr, 'k'},
    {"line", required_argument, nullptr, 'l'},
    {"strict", no_argument, nullptr, 's'},
    {"help", no_argument, nullptr, 'h'},
    {"version", no_argument, nullptr, 'V'},
    {},
}};

/// Applies an option. Returns whether its value is right.
[[nodiscard]] bool ApplyOption(Settings* pSet, int Key) {
  switch (Key) {
    case 'b':
      return ParseNumber("base", 0, 1, &pSet->BaseAddr);
    case 'k':
      return ParseNumber("block", 34, 2, &pSet->Rules.BlockSize);
    case 'l':
      return ParseNumber("line", 0, 2, &pSet->Rules.LineAlign);
    case 'a':
      pSet->pAgainst = optarg;
      return true;
    case 'r':
      return pSet->ShowsRuns = true;
    case 'c':
      return pSet->TestsConditioned = true;
    case 't':
      return pSet->TestsConditioned = pSet->ShowsBlocks = true;
    case 's':
      return pSet->IsStrict = true;
    default:
      return false;
  }
}

[[nodiscard]] int RunWith(int NumArgs, char** paArg) {
  Settings Set;
  optind = 0;  // whoever runs this twice starts anew
  for (int Key = 0; (Key = getopt_long(NumArgs, paArg, "", OPTIONS.data(), nullptr)) != -1;) {
    if (Key == 'h') {
      std::fputs(USAGE, stdout);
      return CHECK_GOOD;
    }
    if (Key == 'V') {
      std::puts("blockfit-check " BLOCKFIT_VERSION);
      return CHECK_GOOD;
    }
    if (!ApplyOption(&Set, Key)) {
      return FailUsage();
    }
  }
  if (optind >= NumArgs) {
    std::fprintf(stderr, "blockfit-check: no file is named\n");
    return FailUsage();
  }
  return CheckFiles(Set, paArg + optind);
}

}  // namespace

int CHECK_Run(int NumArgs, char** paArg) {
  const int Status = RunWith(NumArgs, paArg);
  // The lines before one that could not be written are gone, too, so this is worse than any result.
  if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
    std::perror("blockfit-check: standard output");
    return CHECK_UNREADABLE;
  }
  return Status;
}
