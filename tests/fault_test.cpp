// Complete runs in which one system call fails, then the next, and so on until no call is left to fail. Each run either
// writes exactly the right file or says that it failed.
#include "app/run.h"
#include "support/harness.h"

namespace {

/// An input of the given kind, several windows long: many areas, out of order (a binary file has only one).
std::string MakeInput(const std::string& Kind) {
  std::string Text;
  for (unsigned i = 0; i < 160; ++i) {
    const unsigned Slot = i * 67 % 160;
    std::string Data(250, '\0');
    std::iota(Data.begin(), Data.end(), static_cast<char>(Slot));
    Text += Kind == "bin" ? Data : MakeRecord(Kind == "hex", Slot * 300, Data) + std::string(300, '\n');
  }
  return Text;
}

class FaultSweep : public testing::TestWithParam<std::string> {};

TEST_P(FaultSweep, SucceedsOrSaysThatItFailed) {
  const std::string In = "in." + GetParam();
  const char* const aArg[] = {"Blockfit", "-o", "new/out", In.c_str()};
  WriteFile(In, MakeInput(GetParam()));
  EXPECT_EQ(0, APP_Run(4, aArg));
  const std::string Expected = ReadFile("new/out.srec");
  EXPECT_EQ(160U * 250U, ReadConditioned(Expected, 8192).value().size());
  for (const FaultKind What : {FAULT_ALLOC, FAULT_OPEN, FAULT_READ, FAULT_WRITE, FAULT_CLOSE}) {
    for (const int Error : {EIO, EINTR, ENOSPC, 0}) {
      for (const bool IsAlone : {true, false}) {  // only this call, or all later ones, too
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
          ASSERT_TRUE(Status == 0 || What != FAULT_READ || Error != 0) << "short reads are normal";
          ASSERT_EQ(What == FAULT_CLOSE && HasFired && (First == 2 || !IsAlone), What == FAULT_CLOSE && Status == 1);
          ASSERT_TRUE(HasFired || (Status == 0 && First > 2)) << "no fault is left, after at least two";
        }
      }
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Inputs, FaultSweep, testing::Values("bin", "hex", "mot"));

}  // namespace
