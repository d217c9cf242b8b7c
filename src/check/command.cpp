#include "check/command.h"

#include <getopt.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <string_view>
#include <system_error>

#include "check/compare.h"
#include "check/conditioned.h"
#include "check/input.h"

namespace {

constexpr uint32_t NUM_RUNS_SHOWN = 20;

constexpr const char* USAGE =
    "Usage: blockfit-check [OPTION]... FILE...\n"
    "Says why Blockfit refuses a data file, and on which line; or what an accepted file holds. Warns of data that may\n"
    "be missing or wrong. Writes no file.\n\n"
    "      --base ADDR      load address of every .bin file (default 0)\n"
    "      --runs           list all runs of data, not only the first 20\n"
    "      --against OTHER  compare each FILE's bytes and addresses with those of OTHER\n"
    "      --conditioned    test what a conditioned file promises\n"
    "      --blocks         the same, with a table of the blocks\n"
    "      --block N        the same, for a block size of N characters, even, 34 or more (default 8192)\n"
    "      --line N         the same, for a line alignment of N bytes, even; 0: no record is cut (default 8)\n"
    "      --strict         also exit with 1 if there are warnings\n"
    "      --help           print this and exit\n"
    "      --version        print the version and exit\n\n"
    "ADDR and N are decimal, or hexadecimal with 0x. Blockfit itself takes all numbers as hexadecimal: what is\n"
    "-BlockAlign 1000 there is --block 0x1000 here.\n\n"
    "Exit status: 0 all is well; 1 a file is refused, breaks a promise or differs; 2 wrong usage, or a file that\n"
    "cannot be read.";

/// What the command line asks for. The flags have the type that getopt_long sets.
struct Settings {
  uint32_t BaseAddr = 0;
  ConditionedRules Rules = {8192, 8};
  const char* pAgainst = nullptr;
  int ShowsRuns = 0;
  int TestsConditioned = 0;
  int ShowsBlocks = 0;
  int IsStrict = 0;
};

/// What findings are printed with.
struct Printer {
  const char* pPath;
  bool HasWarned;
};

/// A file name as it is printed.
struct ShownName {
  std::array<char, 8192> acText;
};

/// Makes control characters visible. UTF-8 stays as it is, so that editors find the file.
ShownName Show(const char* pPath) {
  ShownName Name;
  char* pEnd = Name.acText.data();
  for (const char* p = pPath; *p != '\0' && pEnd < &Name.acText.back() - 8;) {
    const uint8_t Byte = static_cast<uint8_t>(*p++);
    const uint8_t Next = static_cast<uint8_t>(*p);
    if (Byte == 0xC2 && Next >= 0x80 && Next < 0xA0) {  // a control character in UTF-8
      pEnd = CHECK_PutVisible(CHECK_PutVisible(pEnd, Byte), Next);
      ++p;
    } else {
      pEnd = Byte >= 0x80 ? std::copy_n(p - 1, 1, pEnd) : CHECK_PutVisible(pEnd, Byte);
    }
  }
  *pEnd = '\0';
  return Name;
}

/// Prints a text about a place in a file as compilers do, so that editors and build logs link it.
void PrintAt(const char* pPath, const CheckPlace& Place, const char* pLevel, const char* pText) {
  std::fprintf(stderr, "%s:", Show(pPath).acText.data());
  if (Place.Line != 0) {
    std::fprintf(stderr, "%" PRIu64 ":", Place.Line);
  }
  std::fprintf(stderr, " %s: %s\n", pLevel, pText);
  if (Place.acExcerpt[0] != '\0') {
    std::fprintf(stderr, "  %s\n  %*s\n", Place.acExcerpt.data(), static_cast<int>(Place.MarkColumn) + 1, "^");
  }
}

void PrintFinding(void* pContext, const CheckFinding& Finding) {
  constexpr std::array<const char*, 3> LEVELS = {"note", "warning", "error"};
  Printer* pPrinter = static_cast<Printer*>(pContext);
  pPrinter->HasWarned |= Finding.Level == CHECK_WARNING;
  std::fflush(stdout);  // in a log of both, what was found first comes first
  PrintAt(pPrinter->pPath, Finding.Place, LEVELS[Finding.Level], Finding.pText);
  if (Finding.FirstPlace.Line != 0) {
    PrintAt(pPrinter->pPath, Finding.FirstPlace, "note", "first defined here");
  }
}

void PrintRuns(const CheckInput& Input, bool ShowsAll) {
  uint64_t NumBytes = 0;
  for (CheckRun Run = CHECK_RunFrom(Input.pImage, 0); Run.NumBytes != 0; Run = CHECK_RunAfter(Input.pImage, Run)) {
    NumBytes += Run.NumBytes;
  }
  const uint32_t NumRuns = Input.pImage->NumAreas;
  const uint32_t NumShown = ShowsAll ? NumRuns : std::min(NumRuns, NUM_RUNS_SHOWN);
  std::printf("%s: %s, %" PRIu64 " byte%s in %" PRIu32 " run%s\n", Show(Input.pFile->pPath).acText.data(),
              Input.pFormat, NumBytes, NumBytes == 1 ? "" : "s", NumRuns, NumRuns == 1 ? "" : "s");
  if (NumRuns != 0) {
    std::printf("       first        last        size\n");
  }
  CheckRun Run = CHECK_RunFrom(Input.pImage, 0);
  for (uint32_t i = 0; i < NumShown; ++i) {
    std::printf("  0x%08" PRIX64 "  0x%08" PRIX64 "  %10" PRIu64 "\n", Run.Addr, Run.Addr + (Run.NumBytes - 1),
                Run.NumBytes);
    Run = CHECK_RunAfter(Input.pImage, Run);
  }
  if (NumShown != NumRuns) {
    std::printf("  and %" PRIu32 " more (--runs lists all)\n", NumRuns - NumShown);
  }
}

[[nodiscard]] CheckStatus Compare(const CheckInput& Input, const CheckInput& Other) {
  const CheckDifference Difference = CHECK_Compare(Input.pImage, Other.pImage);
  const ShownName Name = Show(Input.pFile->pPath);
  const ShownName OtherName = Show(Other.pFile->pPath);
  if (CHECK_IsSame(Difference)) {
    std::printf("%s: same bytes at the same addresses as %s\n", Name.acText.data(), OtherName.acText.data());
    return CHECK_GOOD;
  }
  std::printf("%s: differs from %s, first at 0x%08" PRIX64 ": ", Name.acText.data(), OtherName.acText.data(),
              Difference.FirstAddr);
  std::printf("%" PRIu64 " differing, %" PRIu64 " missing, %" PRIu64 " surplus bytes\n", Difference.NumDiffering,
              Difference.NumMissing, Difference.NumSurplus);
  return CHECK_BAD;
}

[[nodiscard]] CheckStatus ExplainInput(const Settings& Set, const char* pPath, const CheckInput& Other,
                                       const CheckSink& Sink) {
  CheckInput Input;
  CheckStatus Status = CHECK_OpenInput(&Input, pPath, Set.BaseAddr, Sink);
  if (Input.pImage != nullptr && (Set.ShowsRuns != 0 || Set.pAgainst == nullptr)) {
    PrintRuns(Input, Set.ShowsRuns != 0);
  }
  if (Input.pImage != nullptr && Other.pImage != nullptr) {
    Status = Compare(Input, Other);
  }
  CHECK_CloseInput(&Input);
  return Status;
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
                Show(pPath).acText.data(), Set.Rules.BlockSize, Set.Rules.LineAlign);
  }
  return Status;
}

/// Checks a file in all ways that are asked for. WasRead: it has been read before.
[[nodiscard]] CheckStatus CheckFile(const Settings& Set, const char* pPath, bool WasRead, const CheckInput& Other,
                                    const CheckSink& Sink) {
  const bool TestsPromises = Set.TestsConditioned != 0 || Set.ShowsBlocks != 0;
  const bool ShowsInput = !TestsPromises || Set.ShowsRuns != 0 || Set.pAgainst != nullptr;
  if ((WasRead || (TestsPromises && ShowsInput)) && SYS_IsPipe(pPath)) {
    CHECK_Report(Sink, CHECK_ERROR, "a pipe cannot be read twice: ask for one thing at a time", {}, READ_NOWHERE);
    return CHECK_UNREADABLE;
  }
  const CheckStatus Status = TestsPromises ? TestConditioned(Set, pPath, Sink) : CHECK_GOOD;
  if (!ShowsInput || Status == CHECK_UNREADABLE) {
    return Status;
  }
  return std::max(Status, ExplainInput(Set, pPath, Other, Sink));
}

[[nodiscard]] CheckStatus CheckFiles(const Settings& Set, char* const* paPath) {
  CheckInput Other{};
  CheckStatus Status = CHECK_GOOD;
  Printer Print{Set.pAgainst, false};
  const CheckSink Sink{PrintFinding, &Print};
  if (Set.pAgainst != nullptr) {
    Status = CHECK_OpenInput(&Other, Set.pAgainst, Set.BaseAddr, Sink);
  }
  for (char* const* ppPath = paPath; *ppPath != nullptr; ++ppPath) {
    const auto IsSame = [&](const char* pOther) { return std::strcmp(*ppPath, pOther) == 0; };
    const bool WasRead = std::any_of(paPath, ppPath, IsSame) || (Set.pAgainst != nullptr && IsSame(Set.pAgainst));
    Print.pPath = *ppPath;
    Status = std::max(Status, CheckFile(Set, *ppPath, WasRead, Other, Sink));
  }
  CHECK_CloseInput(&Other);
  return Set.IsStrict != 0 && Print.HasWarned ? std::max(Status, CHECK_BAD) : Status;
}

bool HasHexPrefix(std::string_view Text) {
  return Text.starts_with("0x") || Text.starts_with("0X");
}

/// Reads the value of an option: a number, decimal or with 0x, at least Min and a multiple of Step. pWanted: what is
/// right. Returns whether it is.
[[nodiscard]] bool ParseNumber(const char* pOption, const char* pWanted, uint32_t Min, uint32_t Step,
                               uint32_t* pValue) {
  const std::string_view Text = optarg;
  const bool IsHex = HasHexPrefix(Text);
  const char* pEnd = Text.data() + Text.size();
  const std::from_chars_result Result = std::from_chars(Text.data() + (IsHex ? 2 : 0), pEnd, *pValue, IsHex ? 16 : 10);
  const bool IsRight = Result.ec == std::errc() && Result.ptr == pEnd && *pValue >= Min && *pValue % Step == 0;
  if (!IsRight) {
    std::fprintf(stderr, "blockfit-check: '%s' is not a valid value for --%s, which takes %s, decimal or with 0x\n",
                 Show(optarg).acText.data(), pOption, pWanted);
  }
  return IsRight;
}

/// Applies what getopt_long has found. Returns whether it is right.
[[nodiscard]] bool ApplyOption(Settings* pSet, int Key) {
  switch (Key) {
    case 'a':
      pSet->pAgainst = optarg;
      return true;
    case 'b':
      return ParseNumber("base", "an address of 32 bits", 0, 1, &pSet->BaseAddr);
    case 'k':
      pSet->TestsConditioned = 1;
      pSet->Rules.IsDecimal = !HasHexPrefix(optarg);
      return ParseNumber("block", "an even number, 34 or more", 34, 2, &pSet->Rules.BlockSize);
    case 'l':
      pSet->TestsConditioned = 1;
      return ParseNumber("line", "an even number", 0, 2, &pSet->Rules.LineAlign);
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
      {"runs", no_argument, &Set.ShowsRuns, 1},
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
  for (int Key = 0; (Key = getopt_long(NumArgs, paArg, "", aOption.data(), nullptr)) != -1;) {
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
  // The lines before one that could not be written are gone, too, so this is worse than any result.
  if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
    std::perror("blockfit-check: standard output");
    return CHECK_UNREADABLE;
  }
  return Status;
}
