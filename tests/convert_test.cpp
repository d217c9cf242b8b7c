// blockfit-convert as a user runs it: what it writes, and what it refuses; and runs in which something fails, is
// damaged or kills the program: the output is the complete new file, or as it was.
#include "convert/command.h"

#include <getopt.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include "support/harness.h"
#include "sys/file.h"
#include "sys/replace.h"

namespace {

const std::string END = "S9030000FC\r\n";
const std::string REC = "S1060030616263A3\r\n";
const std::string HIGH = "S20601000064652F\r\n";

std::string Convert(const std::string& Args, const std::string& Before = "exec ") {
  return RunShell("exec 2>&1; " + Before + CONVERT_PROGRAM " " + Args);
}

/// Runs in a folder of inputs and files that may be in the way.
class Conversion : public testing::Test {
 protected:
  Conversion() {
    WriteFile("f.hex", ":03003000616263A7\n:00000001FF\n");
    WriteFile("g.hex", ReadFile("f.hex"));
    WriteFile("high.2.HEX", ":020000040001F9\n:02000000646535\n:00000001FF\n");
    WriteFile("cut.hex", ":03003000616263A7\n");
    WriteFile("far.hex", ":02000004FFFFFC\n:02FFFF0061623D\n:00000001FF\n");
    WriteFile("empty.hex", ":00000001FF\n");
    WriteFile("a.bin", "abc");
    WriteFile("old.srec", "old");
    WriteFile("in.srec", REC + END);
    std::filesystem::create_hard_link("in.srec", "hard.srec");
    std::filesystem::create_hard_link("in.srec", "busy.part.srec");
    std::filesystem::create_symlink("in.srec", "soft.srec");
    std::filesystem::create_symlink("f.hex", "hex.srec");
    std::filesystem::create_symlink("in.srec", "led.part.srec");
    std::filesystem::create_symlink("loop.srec", "loop.srec");
    std::filesystem::create_symlink("nothing.srec", "nowhere.srec");
    std::filesystem::create_directory("folder.srec");
    EXPECT_EQ(0, mkfifo("pipe.srec", 0600));
    std::filesystem::create_symlink("/dev/stdin", "pipe.hex");
    WriteFile("locked.srec", "old");
    EXPECT_EQ(0, chmod("locked.srec", 0444));
  }
};

TEST_F(Conversion, WritesOneProvedFile) {
  const std::string One = " bytes in 1 run, 1 block of 8192 characters, proved\n";
  const std::string Cut =
      "cut.hex:1: warning: no end record follows this last record: the file may have been cut off\n"
      "  :03003000616263A7\n  ^\n";
  const std::tuple<std::string, std::string, std::string, std::string> aCase[] = {
      {"f.hex", "0 f.srec: 3" + One, "f.srec", REC + END},
      {"high.2.HEX", "0 high.2.srec: 2" + One, "high.2.srec", HIGH + END},
      {"--allow-warnings cut.hex", "0 " + Cut + "cut.srec: 3" + One, "cut.srec", REC + END},
      {"--allow-warnings empty.hex",
       "0 empty.hex: warning: the file has no data\nempty.srec: 0 bytes in 0 runs, 1 block "
       "of 8192 characters, proved\n",
       "empty.srec", END},
      // Each file's addresses are its own.
      {"-q -o '~b.S19' high.2.HEX -- f.hex", "0 ", "~b.S19", REC + HIGH + END},
      {"--base 0x40 a.bin --base=51 ./a.bin f.hex --block 0X28 --line 2 -o x.mot",
       "0 x.mot: 9 bytes in 2 runs, 2 blocks of 40 characters, proved; lines may cross the ends of blocks of fewer "
       "than 80\n",
       "x.mot", "S10900306162636162637A\r\nS10500406162F7\r\nS10400426356\r\n" + END},
      {"--within 0x30-0x32 --within 65536-65537 f.hex high.2.HEX -o old.srec",
       "0 old.srec: 5 bytes in 2 runs, 1 block of 8192 characters, proved\n", "old.srec", REC + HIGH + END},
      {"pipe.hex -o x.srec", "0 x.srec: 3" + One, "x.srec", REC + END}};
  for (const auto& [Args, Printed, Name, Text] : aCase) {
    EXPECT_EQ(Printed, Convert(Args, "cat f.hex | ")) << Args;
    EXPECT_EQ(Text, ReadFile(Name)) << Args;
  }
}

TEST_F(Conversion, LeavesTheOldFile) {
  const std::string Replaced = "cannot be replaced: ";
  const std::string Input = "an input would be lost: name another output with -o";
  const std::string Name =
      "the name of an output, and of the file that a link leads to, ends in .srec, .s19, .s37, .s or .mot";
  const std::string First = "note: first defined here\n  :03003000616263A7\n  ";
  const std::pair<std::string, std::string> aCase[] = {
      {"g.hex f.hex",
       "1 f.hex:1: error: 0x00000030 is defined by two inputs\n  :03003000616263A7\n           ^\ng.hex:1: " + First +
           "         ^\n"},
      {"f.hex --base 0x31 a.bin",
       "1 a.bin: error: 0x00000031 is defined by two inputs\nf.hex:1: " + First + "           ^\n"},
      {"cut.hex", "1 cut.hex:1: warning: no end record"},
      {"cut.hex", "blockfit-convert: not converted because of the warnings; --allow-warnings accepts them\n"},
      {"--allow-warnings far.hex", "1 far.hex:2: warning: "},
      {"--allow-warnings far.hex", "far.hex:2: error: 0x100000000-0x100000000 lies outside 0x00000000-0xFFFFFFFF"},
      {"--within 0x30-0x31 f.hex", "1 f.hex:1: error: 0x00000032-0x00000032 lies outside 0x00000030-0x00000031"},
      {"f.hex none.hex", "2 none.hex: error: No such file or directory\n"},
      {"a.bin", "2 blockfit-convert: a.bin needs --base ADDR before it, its load address\n"},
      {"a.bin --base 1", "2 blockfit-convert: a.bin needs"},
      {"f.hex --base 1", "2 blockfit-convert: --base is for .bin files that follow it, and none does\n"},
      {"--base 1 f.hex --base 2 a.bin", "2 blockfit-convert: --base is for"},
      {"pipe.hex pipe.hex", "2 blockfit-convert: pipe.hex is given twice\n"},
      {"", "2 blockfit-convert: no input file\n"},
      {"--block 35 f.hex", "2 --block takes an even number, 34 or more, decimal or with 0x, and not '35'"},
      {"--line 3 f.hex", "2 --line takes an even number, decimal or with 0x, and not '3'"},
      {"--within 3 f.hex", "2 --within takes FIRST-LAST"},
      {"f.hex -o none/x.srec", "2 none/x.part.srec: error: cannot be created: No such file or directory\n"},
      {"f.hex -o x.hex", "2 x.hex: error: " + Name},
      {"f.hex -o hex.srec", "2 hex.srec: error: " + Name},
      {"f.hex -o ''", "2 : error: " + Name},
      {"./in.srec -o in.srec", "2 in.srec: error: " + Input},
      {"in.srec -o hard.srec", "2 hard.srec: error: " + Input},
      {"in.srec -o soft.srec", "2 soft.srec: error: " + Input},
      {"in.srec -o busy.srec", "2 busy.srec: error: " + Input},
      {"f.hex -o busy.srec", "2 busy.part.srec: error: cannot be created: File exists\n"},
      {"f.hex -o led.srec", "2 led.part.srec: error: cannot be created: Too many levels of symbolic links\n"},
      {"f.hex -o loop.srec", "2 loop.srec: error: " + Replaced + "Too many levels of symbolic links\n"},
      {"f.hex -o nowhere.srec", "2 nowhere.srec: error: " + Replaced + "No such file or directory\n"},
      {"f.hex -o folder.srec", "2 folder.srec: error: " + Replaced + "Is a directory\n"},
      {"f.hex -o pipe.srec", "2 pipe.srec: error: " + Replaced + "Operation not supported\n"},
      {"f.hex -o locked.srec", "2 locked.srec: error: " + Replaced + "Permission denied\n"},
      {"f.hex -o $(printf './%.0s' $(seq 252))x.srec", "x.srec: error: the name is too long\n"},
      {"f.hex -o out.srec >out.srec", "2 out.srec: error: standard output goes to this file\n"},
  };
  for (const auto& [Args, Expected] : aCase) {
    const std::string Printed = Convert((Args.find("-o") == std::string::npos ? "-o old.srec " : "") + Args);
    EXPECT_TRUE(Expected[0] > '2' ? Printed.find(Expected) != std::string::npos : Printed.starts_with(Expected))
        << Args << '\n'
        << Printed;
    EXPECT_EQ("old", ReadFile("old.srec"));
    EXPECT_EQ(REC + END, ReadFile("in.srec"));
  }
  EXPECT_EQ("2 old.part.srec: error: cannot be written: File too large\n",
            Convert("f.hex -o old.srec", "ulimit -f 0; "));
  EXPECT_EQ("old", ReadFile("old.srec"));
  EXPECT_EQ("2 standard output: No space left on device\n", Convert("f.hex >/dev/full"));
  EXPECT_EQ(REC + END, ReadFile("f.srec"));
  EXPECT_EQ("0 2\n", RunShell("ls *.part.* | wc -l")) << "parts that were there before";
}

TEST_F(Conversion, KeepsLinksAndPermissions) {
  std::filesystem::create_symlink("old.srec", "link.srec");
  std::filesystem::create_hard_link("old.srec", "second.srec");
  EXPECT_EQ(0, chmod("old.srec", 0640));
  const int64_t hPart = SYS_OpenReplacement("old.part.srec");
  EXPECT_EQ(0, SYS_FileFlush(static_cast<uint32_t>(hPart)));
  EXPECT_TRUE(
      Convert("f.hex -o link.srec").ends_with("old.part.srec: error: another run has it: Device or resource busy\n"));
  SYS_FileClose(static_cast<uint32_t>(hPart));
  WriteFile("old.part.srec", "a longer text than the new one, left by an interrupted run");
  EXPECT_EQ("0 ", Convert("-q f.hex -o link.srec"));
  EXPECT_TRUE(std::filesystem::is_symlink("link.srec"));
  EXPECT_EQ(REC + END, ReadFile("old.srec"));
  EXPECT_EQ("old", ReadFile("second.srec"));
  EXPECT_EQ(std::filesystem::perms{0640}, std::filesystem::status("old.srec").permissions());
  EXPECT_FALSE(std::filesystem::exists("old.part.srec"));
}

/// Runs the program in this process or, if the fault kills it, in a child. Returns its exit status and what it prints.
std::string RunHere(FaultKind What, const Fault& How, bool* pHasFired) {
  std::string aArg[] = {"blockfit-convert", "-o", "out.srec", "a.hex", "--base", "0x8000", "b.bin"};
  char* apArg[8] = {};
  std::transform(std::begin(aArg), std::end(aArg), apArg, [](std::string& Arg) { return Arg.data(); });
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  int Status = 0;
  const pid_t Child = How.Error == FAULT_KILL ? fork() : 0;
  if (Child == 0) {
    optind = 0;  // getopt_long starts anew
    FAULT_Arm(What, How);
    Status = CONVERT_Run(7, apArg);
    *pHasFired = FAULT_Disarm();
    if (How.Error == FAULT_KILL) {
      _exit(Status);
    }
  } else {
    EXPECT_EQ(Child, waitpid(Child, &Status, 0));
    *pHasFired = WIFSIGNALED(Status);
  }
  return std::to_string(Status) + testing::internal::GetCapturedStderr() + testing::internal::GetCapturedStdout();
}

TEST(Convert, LeavesACompleteFileWhateverFails) {
  std::string Hex;
  for (unsigned i = 0; i < 80; ++i) {
    std::string Data(250, '\0');
    std::iota(Data.begin(), Data.end(), static_cast<char>(i));
    Hex += MakeRecord(true, i * 67 % 80 * 300, Data) + "\n";
  }
  WriteFile("a.hex", Hex + ":00000001FF\n");
  std::string Bin(20000, '\0');
  std::iota(Bin.begin(), Bin.end(), '\x80');
  WriteFile("b.bin", Bin);
  bool HasFired = false;
  const std::string Printed = RunHere(FAULT_NONE, {}, &HasFired);
  const std::string Expected = ReadFile("out.srec");
  EXPECT_EQ(80U * 250 + 20000, ReadConditioned(Expected, 8192).value().size());
  for (const FaultKind What :
       {FAULT_ALLOC, FAULT_OPEN, FAULT_READ, FAULT_WRITE, FAULT_DAMAGE, FAULT_FLUSH, FAULT_RENAME, FAULT_CLOSE}) {
    for (const int Error : {EIO, 0, FAULT_KILL}) {
      HasFired = What != FAULT_ALLOC || Error == EIO;
      for (int First = 1; HasFired; ++First) {
        WriteFile("out.srec", "old");
        const std::string Said = RunHere(What, {First, First, Error}, &HasFired);
        const std::string Left = ReadFile("out.srec");
        ASSERT_TRUE(Left == Expected || (Left == "old" && HasFired)) << What << ' ' << First;
        if (Error != FAULT_KILL) {
          ASSERT_EQ(Left == Expected, Said == Printed) << What << ' ' << First << Said;
          ASSERT_TRUE(Left == Expected || (Said[0] == '2' && Said.find(": error: ") != std::string::npos)) << Said;
          ASSERT_FALSE(std::filesystem::exists("out.part.srec"));
        }
        ASSERT_TRUE(What != FAULT_DAMAGE || !HasFired || Error == FAULT_KILL ||
                    Said.find("not what was written") != std::string::npos)
            << Said;
        ASSERT_TRUE(HasFired || First > 1);
      }
    }
  }
}

}  // namespace
