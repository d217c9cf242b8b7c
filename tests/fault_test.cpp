// Whole runs in which one system call fails, then the next, and so on until a run passes untouched. Each ends with
// exactly the right file, or says that it failed.
#include <algorithm>
#include <numeric>
#include <random>

#include "app/run.h"
#include "support/byte_map.h"
#include "support/faults.h"
#include "support/temp_dir.h"

namespace {

/// An input of the kind, several windows of it: many areas, out of order (a binary file has but one).
std::string MakeInput(const std::string& Kind) {
  std::mt19937 Random(7);
  std::vector<unsigned> Slots(160);
  std::iota(Slots.begin(), Slots.end(), 0);
  std::shuffle(Slots.begin(), Slots.end(), Random);
  std::string Text;
  for (const unsigned Slot : Slots) {
    std::string Data(250, '\0');
    std::generate(Data.begin(), Data.end(), std::ref(Random));
    Text += Kind == "bin" ? Data : MakeRecord(Kind == "hex", Slot * 300, Data) + std::string(300, '\n');
  }
  return Text;
}

class FaultSweep : public testing::TestWithParam<std::string> {};

TEST_P(FaultSweep, EndsRightOrSaysThatItFailed) {
  const TempDir Dir;
  const std::string In = "in." + GetParam();
  const char* const aArg[] = {"Blockfit", "-o", "new/out", In.c_str()};
  WriteFile(In, MakeInput(GetParam()));
  EXPECT_EQ(0, APP_Run(4, aArg));
  const std::string Expected = ReadFile("new/out.srec");
  for (const FaultKind What : {FAULT_ALLOC, FAULT_OPEN, FAULT_READ, FAULT_WRITE, FAULT_CLOSE}) {
    for (const int Error : {EIO, EINTR, ENOSPC, 0}) {
      for (const bool IsAlone : {true, false}) {  // then with all calls that follow
        bool HasFired = true;
        for (int First = 1; HasFired; ++First) {
          std::filesystem::remove_all("new");
          testing::internal::CaptureStdout();
          FAULT_Arm(What, {First, IsAlone ? First : INT_MAX, Error});
          const int Status = APP_Run(4, aArg);
          HasFired = FAULT_Disarm();
          const std::string Printed = testing::internal::GetCapturedStdout();
          ASSERT_EQ(Status == 0, Printed.ends_with("Conditioning done.\n")) << Printed;
          ASSERT_EQ(Status == 1, Printed.find("Failed") != std::string::npos) << Printed;
          ASSERT_TRUE(Status == 1 || ReadFile("new/out.srec") == Expected) << What << ' ' << First;
          ASSERT_TRUE(HasFired || (Status == 0 && First > 2)) << "untouched, behind two faults at least";
        }
      }
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Inputs, FaultSweep, testing::Values("bin", "hex", "mot"));

}  // namespace
