// A complete run and a check of its input, with options, format and file from the fuzzer. fuzz/README.md says what they
// must do.
#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "app/run.h"
#include "check/conditioned.h"
#include "check/input.h"
#include "support/reference_decoder.h"

namespace {

/// The numeric options, in the order of the settings that they change.
constexpr std::array<const char*, 3> OPTIONS = {"-a", "-balign", "-lalign"};
using Settings = std::array<uint32_t, OPTIONS.size()>;

/// Aborts unless the property holds; the fuzzer then saves the input as a finding.
void Require(bool Holds) {
  if (!Holds) {
    std::abort();
  }
}

/// Makes a home directory in memory. The output goes there because its name, like the input's, begins with '~'.
std::string MakeHome() {
  std::string Dir = "/dev/shm/blockfit-fuzz-XXXXXX";
  Require(mkdtemp(Dir.data()) != nullptr && setenv("HOME", (Dir += "/").c_str(), 1) == 0);
  std::atexit([] { std::filesystem::remove_all(std::getenv("HOME")); });
  Require(std::freopen("/dev/null", "w", stdout) != nullptr);
  return Dir;
}

/// Returns what the file holds, or nothing if it must be refused.
std::optional<ByteMap> Decode(const std::string& Format, const std::string& File, uint32_t BaseAddr) {
  if (Format != ".bin") {
    return DecodeRecords(File, Format == ".hex");
  }
  ByteMap Map;
  AddBytes(&Map, BaseAddr, {File.begin(), File.end()});
  return Map;
}

/// Returns how many lines an editor shows, including an empty one after the last line end.
uint64_t CountLines(const std::string& Text) {
  uint64_t Num = 1;
  for (size_t i = 0; i < Text.size(); ++i) {
    Num += Text[i] == '\r' || (Text[i] == '\n' && (i == 0 || Text[i - 1] != '\r')) ? 1 : 0;
  }
  return Num;
}

/// Requires that a place is in a file of NumLines lines, and that its excerpt can be printed.
void TestPlace(const CheckPlace& Place, uint64_t NumLines) {
  const std::string& Excerpt = Place.Excerpt;
  Require(Place.Line <= NumLines && Place.MarkColumn <= Excerpt.size() && Excerpt.size() <= CHECK_MAX_EXCERPT);
  Require(std::all_of(Excerpt.begin(), Excerpt.end(), [](char c) { return c >= ' ' && c <= '~'; }));
}

/// Checks an input file, which must be read as the expected bytes, or refused if Expected has no value.
void TestCheck(const std::string& Path, const std::string& File, uint32_t BaseAddr,
               const std::optional<ByteMap>& Expected) {
  const uint64_t NumLines = CountLines(File);
  unsigned NumErrors = 0;
  const CheckSink Test = [&](const CheckFinding& Finding) {
    NumErrors += Finding.Level == CHECK_ERROR ? 1 : 0;
    TestPlace(Finding.Place, NumLines);
    TestPlace(Finding.FirstPlace, NumLines);
    Require(Finding.Text.find('\n') == std::string::npos);
  };
  CheckInput Input;
  const CheckStatus Status = CHECK_OpenInput(&Input, {Path.c_str(), Test}, {BaseAddr, {}});
  Require(Status == (Expected ? CHECK_GOOD : CHECK_BAD) && NumErrors == (Expected ? 0U : 1U));
  Require(!Expected || (BytesOf(Input.pImage.get()) == Expected &&
                        CHECK_IsSame(CHECK_Compare(Input.pImage.get(), Input.pImage.get()))));
}

/// Requires that the consumer reads a file that keeps the promises as the expected bytes. Returns whether the file
/// keeps them.
bool TestConditioned(const std::string& Path, const Settings& Set, const std::optional<ByteMap>& Expected) {
  const auto& [BaseAddr, BlockAlign, LineAlign] = Set;
  const CheckSink Ignore = [](const CheckFinding&) {};
  const bool IsKept = CHECK_Conditioned({Path.c_str(), Ignore}, {BlockAlign, LineAlign}, {}) == CHECK_GOOD;
  std::ifstream Stream(Path, std::ios::binary);
  const std::string Text(std::istreambuf_iterator<char>(Stream), {});
  // In blocks of fewer than 80 characters, lines can cross the ends, so the consumer reads the complete file at once.
  Require(!IsKept || ReadConditioned(Text, BlockAlign >= 80 ? BlockAlign : SIZE_MAX / 2) == Expected);
  return IsKept;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t Size) {
  static const std::string Home = MakeHome();
  FuzzedDataProvider Choices(pData, Size);
  Settings Set = {0, 8192, 8};
  std::array<std::array<char, 9>, 2> aText{};
  std::vector<const char*> Args{"Blockfit"};
  for (size_t i = Choices.ConsumeIntegralInRange<size_t>(0, 2); i-- > 0;) {
    const size_t Which = Choices.ConsumeIntegralInRange<size_t>(0, OPTIONS.size() - 1);
    Set[Which] = Choices.ConsumeIntegral<uint32_t>() >> Choices.ConsumeIntegralInRange(0, 31);
    std::snprintf(aText[i].data(), aText[i].size(), "%x", Set[Which]);
    Args.insert(Args.end(), {OPTIONS[Which], aText[i].data()});
  }
  const std::string Format = Choices.PickValueInArray({".hex", ".mot", ".bin"});
  const std::string Input = Home + "~fw" + Format;
  const std::string Output = Home + "fw.srec";
  const std::string File = Choices.ConsumeRemainingBytesAsString();
  std::ofstream(Input, std::ios::binary) << File;
  std::filesystem::remove(Output);
  Args.push_back(Input.c_str());

  const auto& [BaseAddr, BlockAlign, LineAlign] = Set;
  const std::optional<ByteMap> Expected = Decode(Format, File, BaseAddr);
  const bool IsLegal = BlockAlign % 2 == 0 && BlockAlign >= 34 && LineAlign % 2 == 0;
  const int Status = APP_Run(static_cast<int>(Args.size()), Args.data());
  Require(Status == (Expected && IsLegal ? 0 : 1));
  TestCheck(Input, File, BaseAddr, Expected);
  // Addresses beyond 32 bits are cut. Records are then not in ascending order, and an address can occur twice.
  if (Status == 0 && (Expected->empty() || Expected->rbegin()->first <= UINT32_MAX)) {
    Require(TestConditioned(Output, Set, Expected));
  }
  if (Format == ".mot" && IsLegal) {
    TestConditioned(Input, Set, Expected);
  }
  return 0;
}
