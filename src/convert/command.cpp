#include "convert/command.h"

#include <getopt.h>

#include <algorithm>
#include <array>
#include <cinttypes>
#include <cstdio>
#include <cstring>

#include "check/terminal.h"
#include "convert/join.h"
#include "convert/output.h"

namespace {

constexpr const char* USAGE =
    "Usage: blockfit-convert [OPTION]... FILE...\n"
    "Joins firmware data files in one conditioned file, and proves it before it takes its place.\n\n"
    "  -o OUT                   the conditioned file (default: beside the first FILE, with its name and .srec)\n"
    "      --base ADDR          load address of the .bin files that follow\n"
    "      --block N            block size in characters, even, 34 or more (default 8192)\n"
    "      --line N             cut records after multiples of N bytes, even; 0: cut no record (default 8)\n"
    "      --within FIRST-LAST  all bytes must have addresses in this range; can be repeated for several ranges\n"
    "      --allow-warnings     convert files in spite of warnings\n"
    "  -q                       do not print the line at the end\n"
    "  -h, --help               print this and exit\n"
    "      --version            print the version and exit\n\n"
    "Numbers are decimal, or hexadecimal with 0x.\n\n"
    "Exit status: 0 all is well; 1 a file is refused, or two define the same address; 2 wrong usage, or a file that\n"
    "cannot be read or written.";

/// An input, as the command line gives it.
struct Source {
  const char* pPath;
  uint32_t BaseAddr;
};

/// What the command line asks for.
struct Settings {
  CheckOptions Shared;
  std::vector<Source> Sources;
  const char* pOutput = nullptr;
  int AllowsWarnings = 0;  ///< Has the type that getopt_long sets.
  bool IsQuiet = false;
  bool HasBase = false;   ///< There was a --base,
  bool NeedsBin = false;  ///< and no .bin file has followed it yet.
};

/// Says what is wrong with an argument. Returns false.
bool Complain(const char* pArg, const char* pText) {
  std::fprintf(stderr, "blockfit-convert: %s%s\n", CHECK_ShowName(pArg).c_str(), pText);
  return false;
}

[[nodiscard]] bool TestBaseIsUsed(const Settings& Set) {
  return !Set.NeedsBin || Complain("--base", " is for .bin files that follow it, and none does");
}

[[nodiscard]] bool AddSource(Settings* pSet, const char* pPath) {
  const auto IsSame = [&](const Source& Other) { return std::strcmp(Other.pPath, pPath) == 0; };
  if (std::any_of(pSet->Sources.begin(), pSet->Sources.end(), IsSame)) {
    return Complain(pPath, " is given twice");
  }
  const bool IsBin = CONVERT_ReaderOf(pPath) == DATAFILE_ReadBin;
  if (IsBin && !pSet->HasBase) {
    return Complain(pPath, " needs --base ADDR before it, its load address");
  }
  pSet->NeedsBin = pSet->NeedsBin && !IsBin;
  pSet->Sources.push_back({pPath, pSet->Shared.Memory.BaseAddr});
  return true;
}

/// Applies what getopt_long has found. Returns whether it is right.
[[nodiscard]] bool ApplyOption(Settings* pSet, int Key) {
  switch (Key) {
    case 1:  // not an option
      return AddSource(pSet, optarg);
    case 'b':
      if (!TestBaseIsUsed(*pSet)) {
        return false;
      }
      pSet->HasBase = true;
      pSet->NeedsBin = true;
      return CHECK_TakeValue(&pSet->Shared, Key, optarg);
    case 'o':
      pSet->pOutput = optarg;
      return true;
    case 'q':
      pSet->IsQuiet = true;
      return true;
    case '?':
      return false;  // getopt_long has said what is wrong
    default:
      return CHECK_TakeValue(&pSet->Shared, Key, optarg);
  }
}

/// Reads all inputs. Returns the worst result.
[[nodiscard]] CheckStatus ReadInputs(const Settings& Set, std::vector<CheckInput>* pInputs) {
  bool HasWarned = false;
  const CheckSink Sink = [&](const CheckFinding& Finding) {
    HasWarned |= Finding.Level == CHECK_WARNING;
    CHECK_PrintFinding(Finding);
  };
  CheckStatus Status = CHECK_GOOD;
  CheckMemory Memory = Set.Shared.Memory;
  if (Memory.Within.empty()) {
    Memory.Within.push_back({0, UINT32_MAX});  // an S-record has no room for more
  }
  for (const Source& From : Set.Sources) {
    Memory.BaseAddr = From.BaseAddr;
    Status = std::max(Status, CHECK_OpenInput(&pInputs->emplace_back(), {From.pPath, Sink}, Memory));
  }
  if (Status == CHECK_GOOD && HasWarned && Set.AllowsWarnings == 0) {
    Complain("", "not converted because of the warnings; --allow-warnings accepts them");
    return CHECK_BAD;
  }
  return Status;
}

/// Says what is in its place now.
void PrintResult(const char* pPath, MemImage* pImage, uint64_t NumChars, uint32_t BlockSize) {
  const uint64_t NumBlocks = (NumChars + BlockSize - 1) / BlockSize;
  std::printf("%s: %s, %" PRIu64 " block%s of %" PRIu32 " characters, proved%s\n", CHECK_ShowName(pPath).c_str(),
              CHECK_ShowSize(pImage).c_str(), NumBlocks, NumBlocks == 1 ? "" : "s", BlockSize,
              BlockSize < 80 ? "; lines may cross the ends of blocks of fewer than 80" : "");
}

[[nodiscard]] CheckStatus Convert(const Settings& Set) {
  std::vector<CheckInput> Inputs;
  CheckImage pImage;
  CheckStatus Status = ReadInputs(Set, &Inputs);
  if (Status == CHECK_GOOD) {
    Status = CONVERT_Join(&pImage, &Inputs);
  }
  if (Status != CHECK_GOOD) {
    return Status;
  }
  std::string Path = Inputs.front().pFile->pPath;
  Path = Set.pOutput != nullptr ? Set.pOutput : Path.substr(0, Path.rfind('.')) + ".srec";
  uint64_t NumChars = 0;
  if (!CONVERT_Write(pImage.get(), Path.c_str(), Set.Shared.Rules, Inputs, &NumChars)) {
    return CHECK_UNREADABLE;
  }
  if (!Set.IsQuiet) {
    PrintResult(Path.c_str(), pImage.get(), NumChars, Set.Shared.Rules.BlockSize);
  }
  return CHECK_GOOD;
}

[[nodiscard]] CheckStatus RunWith(int NumArgs, char** paArg) {
  Settings Set;
  const std::array<option, 8> aOption = {{
      {"base", required_argument, nullptr, 'b'},
      {"block", required_argument, nullptr, 'k'},
      {"line", required_argument, nullptr, 'l'},
      {"within", required_argument, nullptr, 'w'},
      {"allow-warnings", no_argument, &Set.AllowsWarnings, 1},
      {"help", no_argument, nullptr, 'h'},
      {"version", no_argument, nullptr, 'V'},
      {},
  }};
  bool IsRight = true;
  // The '-' hands out files, too, in their place among the options.
  for (int Key = 0; IsRight && (Key = getopt_long(NumArgs, paArg, "-ho:q", aOption.data(), nullptr)) != -1;) {
    if (Key == 'h' || Key == 'V') {
      std::puts(Key == 'h' ? USAGE : "blockfit-convert " BLOCKFIT_VERSION);
      return CHECK_GOOD;
    }
    IsRight = ApplyOption(&Set, Key);
  }
  for (; IsRight && optind < NumArgs; ++optind) {  // what follows "--"
    IsRight = AddSource(&Set, paArg[optind]);
  }
  if (!IsRight || !TestBaseIsUsed(Set) || (Set.Sources.empty() && !Complain("", "no input file"))) {
    std::fputs("Try 'blockfit-convert --help' for more information.\n", stderr);
    return CHECK_UNREADABLE;
  }
  return Convert(Set);
}

}  // namespace

int CONVERT_Run(int NumArgs, char** paArg) {
  const CheckStatus Status = RunWith(NumArgs, paArg);
  return CHECK_FlushOutput() ? Status : CHECK_UNREADABLE;
}
