// A complete run, with options, format and file from the fuzzer: it succeeds exactly when it should, and then the
// consumer finds the same bytes as an independent decoder. It reads each block by itself, or, because a line can cross
// the end of a block of fewer than 80 characters, the complete file.
#include <fuzzer/FuzzedDataProvider.h>

#include <filesystem>
#include <fstream>

#include "app/run.h"
#include "check/conditioned.h"
#include "property.h"

namespace {

/// The numeric options, in the same order as the settings that they change.
constexpr std::array<const char*, 3> OPTIONS = {"-a", "-balign", "-lalign"};
using Settings = std::array<uint32_t, OPTIONS.size()>;

/// Makes a home directory in memory. The output goes there because its name, like the input's, begins with '~'.
std::string MakeHome() {
  std::string Dir = "/dev/shm/blockfit-fuzz-XXXXXX";
  Require(mkdtemp(Dir.data()) != nullptr && setenv("HOME", (Dir += "/").c_str(), 1) == 0);
  std::atexit([] { std::filesystem::remove_all(std::getenv("HOME")); });
  Require(std::freopen("/dev/null", "w", stdout) != nullptr);
  return Dir;
}

/// Returns what the run must store, or nothing if it must fail.
std::optional<ByteMap> ExpectedBytes(const std::string& Format, const std::string& File, const Settings& Set) {
  const auto& [BaseAddr, BlockAlign, LineAlign] = Set;
  std::optional<ByteMap> Map = Format == ".hex" ? DecodeIntelHex(File) : DecodeSRecords(File);
  if (Format == ".bin") {
    AddBytes(&Map.emplace(), BaseAddr, {File.begin(), File.end()});
  }
  const bool IsLegal = BlockAlign % 2 == 0 && BlockAlign >= 34 && LineAlign % 2 == 0;
  return IsLegal ? Map : std::nullopt;
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
  const std::string File = Choices.ConsumeRemainingBytesAsString();
  std::ofstream(Input, std::ios::binary) << File;
  std::filesystem::remove(Home + "fw.srec");
  Args.push_back(Input.c_str());
  const int Status = APP_Run(static_cast<int>(Args.size()), Args.data());
  const std::optional<ByteMap> Expected = ExpectedBytes(Format, File, Set);
  Require(Status == (Expected ? 0 : 1));
  // Addresses beyond 32 bits are cut: then records are not in ascending order, and an address can occur twice.
  if (Expected && (Expected->empty() || Expected->rbegin()->first <= UINT32_MAX)) {
    std::ifstream Output(Home + "fw.srec", std::ios::binary);
    const std::string Text(std::istreambuf_iterator<char>(Output), {});
    const auto& [BaseAddr, BlockAlign, LineAlign] = Set;
    const auto Ignore = [](void*, const CheckFinding&) {};
    const ConditionedRules Rules{BlockAlign, LineAlign};
    Require(CHECK_Conditioned((Home + "fw.srec").c_str(), Rules, {Ignore, nullptr}, {}) == CHECK_GOOD);
    Require(ReadConditioned(Text, BlockAlign >= 80 ? BlockAlign : SIZE_MAX / 2) == Expected);
  }
  return 0;
}
