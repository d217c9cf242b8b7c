// Whole runs in which one system call fails, then the next, and so on until a run passes untouched. Each ends with
// exactly the right file, or says that it failed.
#include <gtest/gtest.h>

#include <cerrno>
#include <random>

#include "app/run.h"
#include "support/faults.h"
#include "support/program.h"

namespace {

std::string Record(const std::string& Kind, uint32_t Addr, const std::string& Data) {
  std::string Bytes = {static_cast<char>(Addr >> 8), static_cast<char>(Addr)};
  Bytes = Kind == "hex" ? static_cast<char>(Data.size()) + Bytes + '\0' : static_cast<char>(Data.size() + 3) + Bytes;
  Bytes += Data;
  unsigned Sum = 0;
  std::string Line = Kind == "hex" ? ":" : "S1";
  const auto Put = [&Line](unsigned Byte) {
    Line += "0123456789ABCDEF"[Byte / 16 % 16];
    Line += "0123456789ABCDEF"[Byte % 16];
  };
  for (const char c : Bytes) {
    Sum += static_cast<uint8_t>(c);
    Put(static_cast<uint8_t>(c));
  }
  Put(Kind == "hex" ? 0 - Sum : ~Sum);
  return Line + "\n";
}

/// An input of the kind with data in many areas and out of order (a binary file has but one), in several windows.
std::string MakeInput(const std::string& Kind) {
  std::mt19937 Random(7);
  std::vector<std::string> Pieces;
  for (uint32_t i = 0; i < 160; ++i) {
    std::string Data(150, '\0');
    std::generate(Data.begin(), Data.end(), [&Random] { return static_cast<char>(Random()); });
    Pieces.push_back(Kind == "bin" ? Data : Record(Kind, i * 200 + (i % 3 == 0 ? 50 : 0), Data));
  }
  std::shuffle(Pieces.begin(), Pieces.end(), Random);
  std::string Text;
  for (const std::string& Piece : Pieces) {
    Text += Piece + (Kind == "bin" ? "" : std::string(300, '\n'));
  }
  return Text;
}

class FaultSweep : public testing::TestWithParam<const char*> {
 protected:
  FaultSweep() {
    m_Dir.Write("in." + m_Kind, MakeInput(m_Kind));
  }

  /// Runs the tool within this process. Returns its exit status; the output file is there if the run came so far.
  int RunTool() {
    const std::string In = m_Dir.Path("in." + m_Kind);
    const std::string Out = m_Dir.Path("out");
    std::filesystem::remove(Out + ".srec");
    const std::array<const char*, 4> aArg = {"Blockfit", "-o", Out.c_str(), In.c_str()};
    return APP_Run(static_cast<int>(aArg.size()), aArg.data());
  }

  /// Fails one call after the other, up to the first run that makes too few calls for the fault to be met.
  void Sweep(FaultKind What, const Fault& How, bool OnlyOne) {
    for (int Number = 1;; ++Number) {
      Fault Which = How;
      Which.First = Number;
      Which.Last = OnlyOne ? Number : INT_MAX;
      testing::internal::CaptureStdout();
      FAULT_Arm(What, Which);
      const int Status = RunTool();
      const bool HasFired = FAULT_Disarm();
      const std::string Printed = testing::internal::GetCapturedStdout();
      if (Status == 0) {
        ASSERT_TRUE(m_Expected == m_Dir.Read("out.srec")) << What << ' ' << Number;
      }
      ASSERT_EQ(Status == 0, Printed.ends_with("Conditioning done.\n")) << Printed;
      ASSERT_EQ(Status != 0, Printed.find("Failed") != std::string::npos) << Printed;
      if (!HasFired) {
        EXPECT_EQ(0, Status);
        EXPECT_GT(Number, 2);
        return;
      }
    }
  }

  const std::string m_Kind = GetParam();
  const TempDir m_Dir;
  std::optional<std::string> m_Expected;
};

TEST_P(FaultSweep, EndsRightOrSaysThatItFailed) {
  ASSERT_EQ(0, RunTool());
  m_Expected = m_Dir.Read("out.srec");
  for (const bool OnlyOne : {true, false}) {
    Sweep(FAULT_ALLOC, {}, OnlyOne);
    for (const int Error : {EIO, EINTR}) {
      Sweep(FAULT_READ, {.Error = Error}, OnlyOne);
      Sweep(FAULT_WRITE, {.Error = Error}, OnlyOne);
      Sweep(FAULT_CLOSE, {.Error = Error}, OnlyOne);
    }
    Sweep(FAULT_WRITE, {.Error = ENOSPC}, OnlyOne);
    Sweep(FAULT_READ, {.IsShort = true}, OnlyOne);
    Sweep(FAULT_WRITE, {.IsShort = true}, OnlyOne);
  }
}

INSTANTIATE_TEST_SUITE_P(Inputs, FaultSweep, testing::Values("bin", "hex", "mot"),
                         [](const auto& Info) { return std::string(Info.param); });

}  // namespace
