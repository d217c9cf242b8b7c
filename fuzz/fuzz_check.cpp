// What blockfit-check says about a file, with the format and the rules from the fuzzer: it accepts what the independent
// decoder accepts and counts lines as an editor does, and the consumer can read any file that keeps the promises.
#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "check/compare.h"
#include "check/conditioned.h"
#include "check/input.h"
#include "property.h"

namespace {

/// The findings of a check.
struct Findings {
  unsigned NumErrors = 0;
  uint64_t MaxLine = 0;  ///< Lines of the file.
};

void TestFinding(void* pContext, const CheckFinding& Finding) {
  Findings* pFindings = static_cast<Findings*>(pContext);
  pFindings->NumErrors += Finding.Level == CHECK_ERROR ? 1 : 0;
  const std::string Excerpt = Finding.pExcerpt;
  Require(Excerpt.size() <= std::max(78U, Finding.MarkColumn) && Finding.MarkColumn <= Excerpt.size() &&
          std::strchr(Finding.pText, '\n') == nullptr);
  Require(std::all_of(Excerpt.begin(), Excerpt.end(), [](char c) { return c >= ' ' && c <= '~'; }));
  Require(Finding.Line >= 1 && Finding.Line <= pFindings->MaxLine);
}

/// Returns how many lines an editor shows, including an empty one after the last line end.
uint64_t CountLines(const std::string& Text) {
  uint64_t Num = 1;
  for (size_t i = 0; i < Text.size(); ++i) {
    Num += Text[i] == '\r' || (Text[i] == '\n' && (i == 0 || Text[i - 1] != '\r')) ? 1 : 0;
  }
  return Num;
}

std::string MakeFolder() {
  std::string Dir = "/dev/shm/blockfit-check-XXXXXX";
  Require(mkdtemp(Dir.data()) != nullptr && setenv("FUZZ_FOLDER", Dir.c_str(), 1) == 0);
  std::atexit([] { std::filesystem::remove_all(std::getenv("FUZZ_FOLDER")); });
  return Dir;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t Size) {
  static const std::string Folder = MakeFolder();
  FuzzedDataProvider Choices(pData, Size);
  const bool IsHex = Choices.ConsumeBool();
  const uint32_t BlockSize = 34 + 2 * uint32_t{Choices.ConsumeIntegral<uint8_t>()};
  const uint32_t LineAlign = 2 * Choices.ConsumeIntegralInRange<uint32_t>(0, 16);
  const std::string File = Choices.ConsumeRemainingBytesAsString();
  const std::string Path = Folder + (IsHex ? "/f.hex" : "/f.srec");
  std::ofstream(Path, std::ios::binary) << File;

  Findings Found{0, CountLines(File)};
  const std::optional<ByteMap> Expected = IsHex ? DecodeIntelHex(File) : DecodeSRecords(File);
  CheckInput Input;
  const CheckStatus Status = CHECK_OpenInput(&Input, Path.c_str(), 0, {TestFinding, &Found});
  Require(Status == (Expected ? CHECK_GOOD : CHECK_BAD) && Found.NumErrors == (Expected ? 0U : 1U));
  if (Expected) {
    uint64_t NumBytes = 0;
    for (CheckRun Run = CHECK_RunFrom(Input.pImage, 0); Run.NumBytes != 0; Run = CHECK_RunAfter(Input.pImage, Run)) {
      NumBytes += Run.NumBytes;
    }
    Require(NumBytes == Expected->size() && CHECK_IsSame(CHECK_Compare(Input.pImage, Input.pImage)));
  }
  CHECK_CloseInput(&Input);

  Found.NumErrors = 0;
  const CheckStatus Kept =
      CHECK_Conditioned(Path.c_str(), {BlockSize, LineAlign}, {TestFinding, &Found}, {nullptr, nullptr});
  Require(Found.NumErrors == (Kept == CHECK_GOOD ? 0U : 1U));
  if (Kept == CHECK_GOOD && !IsHex) {
    Require(ReadConditioned(File, BlockSize >= 80 ? BlockSize : SIZE_MAX / 2) == Expected);
  }
  return 0;
}
