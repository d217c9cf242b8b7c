// A whole run, with options, format and file from the fuzzer: it succeeds exactly when it should, and then the consumer
// reads the bytes that an independent decoder finds, from each block alone (below 80 a line can cross: from the whole).
#include <fuzzer/FuzzedDataProvider.h>

#include <filesystem>
#include <fstream>

#include "app/run.h"
#include "check/conditioned.h"
#include "property.h"

namespace {

/// The numeric options; the settings that they change stand in the same order.
constexpr std::array<const char*, 3> OPTIONS = {"-a", "-balign", "-lalign"};
using Settings = std::array<uint32_t, OPTIONS.size()>;

/// Makes a directory in memory the home directory. The output goes there: its name, like the input's, begins with '~'.
std::string MakeHome() {
  std::string Dir = "/dev/shm/blockfit-fuzz-XXXXXX";
  Require(mkdtemp(Dir.data()) != nullptr && setenv("HOME", (Dir += "/").c_str(), 1) == 0);
  std::atexit([] { std::filesystem::remove_all(std::getenv("HOME")); });
  Require(std::freopen("/dev/null", "w", stdout) != nullptr);
  return Dir;
}

/// Returns what the run has to store, or nothing when it has to fail.
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
  // Addresses beyond 32 bits are cut: records are then no longer in ascending order, and an address can come twice.
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
