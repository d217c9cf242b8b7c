// blockfit-convert as a user runs it: what it writes, and what it refuses; and runs in which something fails, is
// damaged or kills the program: the output is the complete new file, or as it was.
#include "convert/command.h"

#include "support/harness.h"
#include "sys/file.h"
#include "sys/replace.h"

namespace {

const std::string END = "S9030000FC\r\n";
const std::string REC = "S1060030616263A3\r\n";
const std::string HIGH = "S20601000064652F\r\n";

std::string Convert(const std::string& Args) {
  return RunShell("exec 2>&1; " CONVERT_PROGRAM " " + Args);
}

/// Makes inputs, and files that may be in the way.
void MakeFiles() {
  WriteFile("f.hex", ":03003000616263A7\n:00000001FF\n");
  WriteFile("high.2.HEX", ":020000040001F9\n:02000000646535\n:00000001FF\n");
  WriteFile("far.hex", ":02000004FFFFFC\n:02FFFF0061623D\n:00000001FF\n");
  WriteFile("in.srec", REC + END);
  EXPECT_EQ("0 ",
            RunShell("cp f.hex g.hex; head -n 1 f.hex >cut.hex; tail -n 1 f.hex >empty.hex; printf abc >a.bin;"
                     "printf old | tee old.srec >locked.srec; chmod 444 locked.srec; mkdir folder.srec;"
                     "mkfifo pipe.srec; ln -s /dev/stdin pipe.hex; ln in.srec hard.srec; ln in.srec busy.part.srec;"
                     "ln -s in.srec soft.srec; ln -s in.srec led.part.srec; ln -s f.hex hex.srec;"
                     "ln -s loop.srec loop.srec; ln -s none.srec nowhere.srec"));
}

TEST(Convert, WritesOneProvedFile) {
  MakeFiles();
  const std::string One = " bytes in 1 run, 1 block of 8192 characters, proved\n";
  const std::string Cut = "S10900306162636162637A\r\nS10500406162F7\r\nS10400426356\r\n";
  const std::pair<std::string, std::string> aCase[] = {
      {"f.hex; cat f.srec", "f.srec: 3" + One + REC + END},
      {"high.2.HEX; cat high.2.srec", "high.2.srec: 2" + One + HIGH + END},
      {"pipe.hex -o x.srec <f.hex; cat x.srec", "x.srec: 3" + One + REC + END},
      {"--allow-warnings empty.hex; cat empty.srec",
       "empty.hex: warning: the file has no data: is it the right one?\nempty.srec: 0 bytes in 0 runs, 1 block of 8192 "
       "characters, proved\n" +
           END},
      // Each file's addresses are its own.
      {"-q -o '~b.S19' high.2.HEX -- f.hex; cat '~b.S19'", REC + HIGH + END},
      {"--within 0x30-0x32 --within 65536-65537 f.hex high.2.HEX -o old.srec",
       "old.srec: 5 bytes in 2 runs, 1 block of 8192 characters, proved\n"},
      {"--base 0x40 a.bin --base=51 ./a.bin f.hex --block 0X28 --line 2 -o x.mot; cat x.mot",
       "x.mot: 9 bytes in 2 runs, 2 blocks of 40 characters, proved; lines may cross the ends of blocks of fewer than "
       "80\n" +
           Cut + END},
  };
  for (const auto& [Args, Expected] : aCase) {
    EXPECT_EQ("0 " + Expected, Convert(Args));
  }
}

TEST(Convert, LeavesTheOldFile) {
  MakeFiles();
  const std::string Name = "the name of an output, and of the file that a link leads to, ends in";
  const std::string First = ":1: note: first defined here\n  :03003000616263A7\n           ^\n";
  const std::pair<std::string, std::string> aCase[] = {
      {"g.hex f.hex -o old.srec",
       "1 f.hex:1: error: 0x00000030 is defined by two inputs\n  :03003000616263A7\n           ^\ng.hex" + First},
      {"--base 0x2E a.bin f.hex", "1 f.hex:1: error: 0x00000030 is defined by two inputs\n"},
      {"far.hex", "far.hex:2: error: 0x100000000-0x100000000 lies outside 0x00000000-0xFFFFFFFF"},
      {"a.bin --base 1", "2 blockfit-convert: a.bin needs --base ADDR before it, its load address\n"},
      {"--base 1 f.hex --base 2 a.bin", "2 blockfit-convert: --base is for .bin files that follow it, and none does\n"},
      {"--base 1 a.bin --base 1 f.hex", "2 blockfit-convert: --base is for"},
      {"pipe.hex pipe.hex", "2 blockfit-convert: pipe.hex is given twice\n"},
      {"", "2 blockfit-convert: no input file\n"},
      {"--block 35 f.hex", "2 --block takes an even number, 34 or more"},
      {"f.hex -o none/x.srec", "2 none/x.part.srec: error: cannot be created: No such file or directory\n"},
      {"f.hex -o x.hex", "2 x.hex: error: " + Name},
      {"f.hex -o hex.srec", "2 hex.srec: error: " + Name},
      {"f.hex -o f.PART.srec",
       "2 f.PART.srec: error: a name with .part before its extension is for unfinished files: name another"},
      {"in.srec", "2 in.srec: error: an input would be lost: name another output with -o\n"},
      {"in.srec -o hard.srec", "hard.srec: error: an input would be lost"},
      {"in.srec -o soft.srec", "soft.srec: error: an input would be lost"},
      {"in.srec -o busy.srec", "busy.srec: error: an input would be lost"},
      {"f.hex -o busy.srec", "2 busy.part.srec: error: cannot be created: File exists\n"},
      {"f.hex -o led.srec", "2 led.part.srec: error: cannot be created: Too many levels of symbolic links\n"},
      {"f.hex -o loop.srec", "2 loop.srec: error: cannot be replaced: Too many levels of symbolic links\n"},
      {"f.hex -o nowhere.srec", "2 nowhere.srec: error: cannot be replaced: No such file or directory\n"},
      {"f.hex -o folder.srec", "2 folder.srec: error: cannot be replaced: Is a directory\n"},
      {"f.hex -o pipe.srec", "2 pipe.srec: error: cannot be replaced: Operation not supported\n"},
      {"f.hex -o locked.srec", "2 locked.srec: error: cannot be replaced: Permission denied\n"},
      {"f.hex -o $(printf './%.0s' $(seq 252))x.srec", "x.srec: error: the name is too long\n"},
      {"f.hex -o out.srec >out.srec", "2 out.srec: error: standard output goes to this file\n"},
  };
  for (const auto& [Args, Expected] : aCase) {
    const std::string Printed = Convert("--allow-warnings " + Args);
    EXPECT_NE('0', Printed[0]);
    EXPECT_NE(std::string::npos, Printed.find(Expected)) << Args << '\n' << Printed;
  }
  EXPECT_TRUE(Convert("cut.hex -o old.srec").ends_with("because of the warnings; --allow-warnings accepts them\n"));
  // A build that counts coverage cannot write its counts, and says so.
  const std::string Limited = RunShell("ulimit -f 0;" CONVERT_PROGRAM " f.hex -o old.srec 2>&1");
  EXPECT_TRUE(Limited.starts_with("2 old.part.srec: error: cannot be written: File too large\n")) << Limited;
  EXPECT_EQ("0 oldold2\n", RunShell("cat old.srec locked.srec; cmp in.srec hard.srec; ls *.part.* | wc -l"));
  EXPECT_EQ(REC + END, ReadFile("in.srec"));
  EXPECT_EQ("2 standard output: No space left on device\n", Convert("f.hex >/dev/full"));
  EXPECT_EQ(REC + END, ReadFile("f.srec"));
}

TEST(Convert, KeepsLinksAndPermissions) {
  MakeFiles();
  const int64_t hPart = SYS_OpenReplacement("old.part.srec", "old.srec");  // as another run does
  EXPECT_EQ("2 old.part.srec: error: another run has it: Device or resource busy\n", Convert("f.hex -o old.srec"));
  SYS_FileClose(static_cast<uint32_t>(hPart));
  FAULT_Arm(FAULT_OPEN, {1, 1, FAULT_AWAY});  // another run ends between the open and the lock
  EXPECT_EQ(SYS_NO_FILE, SYS_OpenReplacement("old.part.srec", "old.srec"));
  EXPECT_EQ(EBUSY, SYS_GetLastError());
  FAULT_Disarm();
  EXPECT_EQ(
      "0 ",
      RunShell(
          "printf '%0200d' 0 >old.part.srec; ln -s old.srec link.srec; ln old.srec second.srec; chmod 640 old.srec"));
  EXPECT_EQ(
      "0 old.srec\n" + REC + END + "old640\nold.srec\n",
      Convert("-q f.hex -o link.srec; readlink link.srec; cat old.srec second.srec; stat -c %a old.srec; ls old.*"));
}

TEST(Convert, LeavesACompleteFileWhateverFails) {
  std::string Hex;
  std::string Bin(9000, '\0');
  std::iota(Bin.begin(), Bin.end(), '\x80');
  for (unsigned i = 0; i < 80; ++i) {
    Hex += MakeRecord(true, i * 67 % 80 * 300, Bin.substr(i, 250)) + "\n";
  }
  WriteFile("a.hex", Hex + ":00000001FF\n");
  WriteFile("b.bin", Bin);
  const auto RunIt = [](FaultKind What, const Fault& How, bool* pHasFired) {
    return RunWithFault(CONVERT_Run, {"blockfit-convert", "-o", "out.srec", "a.hex", "--base", "0x8000", "b.bin"}, What,
                        How, pHasFired);
  };
  bool HasFired = false;
  const std::string Printed = RunIt(FAULT_NONE, {}, &HasFired);
  const std::string Expected = ReadFile("out.srec");
  EXPECT_EQ(80U * 250 + 9000, ReadConditioned(Expected, 8192).value().size());
  for (const FaultKind What : {FAULT_ALLOC, FAULT_OPEN, FAULT_READ, FAULT_WRITE, FAULT_MOVE, FAULT_CLOSE}) {
    for (const int Error :
         What == FAULT_ALLOC ? std::vector{EIO} : std::vector{EIO, 0, FAULT_KILL, FAULT_DAMAGE, FAULT_LINE_END}) {
      const std::string Reason = What != FAULT_WRITE       ? ""
                                 : Error == FAULT_DAMAGE   ? "not what was written"
                                 : Error == FAULT_LINE_END ? "ends in LF"
                                                           : "";
      int First = 1;
      for (HasFired = true; HasFired; ++First) {
        WriteFile("out.srec", "old");
        const std::string Said = RunIt(What, {First, First, Error}, &HasFired);
        const std::string Left = ReadFile("out.srec");
        const bool IsOld = Left == "old" || What == FAULT_ALLOC;  // perhaps only the result cannot be printed
        const bool HasFailed = IsOld && Said[0] == '2' && Said.size() > 9 && Said.find(Reason) != std::string::npos &&
                               !std::filesystem::exists("out.part.srec");
        const bool IsDone = Left == Expected && Said == Printed;
        ASSERT_TRUE(Left == Expected || Left == "old") << What << ' ' << Error << ' ' << First;
        ASSERT_TRUE(IsDone || (HasFired && (HasFailed || Error == FAULT_KILL))) << What << ' ' << First << Said;
      }
      // The file is flushed, moved, and its folder flushed, before a run in which nothing fails.
      EXPECT_LT(What == FAULT_ALLOC ? 50 : What == FAULT_MOVE ? 4 : 3, First) << What;
    }
  }
}

}  // namespace
