// blockfit-check as a user runs it, the conditioned files that it rejects, and runs in which something fails.
#include <getopt.h>
#include <sys/stat.h>

#include "check/command.h"
#include "check/conditioned.h"
#include "support/harness.h"

namespace {

/// Runs the program through a shell, after Before, which can pipe input into it. Returns the exit status and everything
/// printed.
std::string Check(const std::string& Args, const std::string& Before = "") {
  FILE* pOutput = popen(("exec 2>&1; " + Before + CHECK_PROGRAM " " + Args).c_str(), "r");  // NOLINT(cert-env33-c)
  std::string Printed;
  for (int c = 0; (c = std::getc(pOutput)) != EOF;) {
    Printed += static_cast<char>(c);
  }
  const int Status = pclose(pOutput);
  return std::to_string(WIFEXITED(Status) ? WEXITSTATUS(Status) : -Status) + " " + Printed;
}

const std::string REC = ":03003000616263A7";
const std::string END = ":00000001FF\n";
const std::string TABLE = "       first        last        size\n";
const std::string DIGIT = "error: Expected Hex character : 0..9, A..F\n";

/// The report on an accepted file, with its runs.
std::string Accepts(const std::string& What, const std::string& Runs) {
  return What + "\n" + TABLE + Runs + "\n";
}

TEST(Check, ExplainsWhyAFileIsRefused) {
  const std::string Lines = REC + "\r\n\r\n\r\n" + ":03004000616263\r\n";
  const std::string At4 = "f.hex:4: " + DIGIT + "  :03004000616263\n                 ^\n";
  std::string CrOnly = Lines;
  std::erase(CrOnly, '\n');
  const std::string Long(500, '0');
  const std::string Wide = REC + "\n:FF000000" + Long + "\n";
  const std::string Mot = "S1060030616263A3\n";
  const std::tuple<std::string, std::string, std::string> aCase[] = {
      {"f.hex", Lines, At4},
      {"f.hex", CrOnly, At4},
      {"f.hex", REC + "\n\n\n:03004000616263", At4},
      {"f.hex", "", "f.hex:1: error: Not a hex file\n"},
      {"f.hex", "\xEF\xBB\xBF" + REC, "f.hex:1: error: Not a hex file\n  \\xEF\\xBB\\xBF:03003000616263A7\n  ^\n"},
      {"f.hex", REC + "\n:\x1B[31m~\t" + std::string(1, '\0') + "\x7F\n",
       "f.hex:2: " + DIGIT + "  :\\x1B[31m~\\x09\\x00\\x7F\n   ^\n"},
      {"f.hex", REC + "\n\x1B", "f.hex:2: error: Unexpected character (Expected: :, Found: \\x1B)\n  \\x1B\n  ^\n"},
      {"f.hex", REC.substr(0, 15) + "A8\n",
       "f.hex:1: error: Checksum error ! Expected: 0xA7, found: 0xA8\n  :03003000616263A8\n                 ^\n"},
      {"f.hex", REC + " \n", "f.hex:1: error: Expected CR or LF\n  :03003000616263A7 \n                   ^\n"},
      {"f.hex", REC + "\n\n" + REC, "f.hex:3: error: Areas overlap\n  " + REC + "\n  ^\n"},
      {"f.hex", Wide, "f.hex:2: " + DIGIT + "  " + std::string(37, '0') + "\n  " + std::string(37, ' ') + "^\n"},
      {"f.hex", ":0G" + Long, "f.hex:1: " + DIGIT + "  :0G" + std::string(72, '0') + "\n    ^\n"},
      {"f.mot", Mot + "\r\rS106004061X263A3", "f.mot:4: " + DIGIT + "  S106004061X263A3\n            ^\n"},
      {"f.mot", Mot + "S1060040616263A3",
       "f.mot:2: error: Checksum error! Checksum in file: 0xA3, checksum calculated 0x93\n  S1060040616263A3\n"
       "                ^\n"},
      {"f.mot", Mot + "S9030000FC S10200FD",
       "f.mot:2: error: Record too short\n  S9030000FC S10200FD\n             ^\n"},
      // The window moves between the S and the type of a refused record.
      {"f.mot", Mot + "S" + std::string(70000, '\n') + Mot.substr(1), "f.mot:2: error: Areas overlap\n  S\n  ^\n"},
      {"f.mot", Mot + std::string(90000, ' ') + "X",
       "f.mot:2: error: Unexpected character\n  " + std::string(37, ' ') + "X\n  " + std::string(37, ' ') + "^\n"},
  };
  for (const auto& [Name, Text, Expected] : aCase) {
    WriteFile(Name, Text);
    EXPECT_EQ("1 " + Expected, Check(Name)) << Text.substr(0, 200);
  }
  // A pipe cannot be read again, so only the reader's line number is shown, not the line.
  WriteFile("f.hex", REC + "\n" + REC);
  std::filesystem::create_symlink("/dev/stdin", "p.hex");
  EXPECT_EQ("1 p.hex: error: Error in line 2: Areas overlap\n", Check("p.hex", "cat f.hex | "));
}

TEST(Check, WarnsAboutWhatMaySurprise) {
  const std::string Run = Accepts("f.hex: Intel HEX, 3 bytes in 1 run", "  0x00000030  0x00000032           3");
  const std::string MotRun =
      Accepts("f.mot: Motorola S-record, 3 bytes in 1 run", "  0x00000030  0x00000032           3");
  const std::string Mot = "S1060030616263A3\n";
  const std::string StartText = "the output will not have the start address 0x";
  const std::tuple<std::string, std::string, std::string, std::string> aCase[] = {
      {"f.hex", REC + "\n" + END, "", Run},
      {"f.hex", REC + "\n\n", "1: no end record follows this last record: the file may have been cut off", Run},
      {"f.hex", END + REC + "\n", "2: data after the end record", Run},
      {"f.hex", REC + "\n" + END + "\x1A" + std::string("\0", 1),
       "3: a byte 0x00 or 0x1A ends the data here: what follows is not read", Run},
      {"f.hex", REC + "\n" + END + "\x1A", "", Run},
      {"f.hex", REC + "\n:0400000312345678E5\n" + END, "2: " + StartText + "000179B8", Run},
      {"f.hex", REC + "\n:0400000500000000F7\n" + END, "2: " + StartText + "00000000", Run},
      {"f.mot", Mot + "S70508000000F2", "2: " + StartText + "08000000", MotRun},
      {"f.mot", Mot + "S9031234B6", "2: " + StartText + "00001234", MotRun},
      {"f.mot", Mot + "S901FE S804000000FB", "", MotRun},
  };
  for (const auto& [Name, Text, Warning, Expected] : aCase) {
    WriteFile(Name, Text);
    const std::string Printed = Check(Name);
    const size_t Len = Printed.find('\n');
    EXPECT_EQ("0 ", Printed.substr(0, 2));
    EXPECT_TRUE(Printed.ends_with(Expected)) << Printed;
    EXPECT_EQ(Warning.empty() ? Expected.substr(0, Expected.find('\n'))
                              : std::string(Name).append(":").append(Warning).insert(
                                    Name.size() + 1 + Warning.find(':') + 1, " warning:"),
              Printed.substr(2, Len - 2));
    EXPECT_EQ(Warning.empty() ? "0" : "1", Check("--strict " + Name).substr(0, 1));
  }
}

TEST(Check, TakesOptionsAndFiles) {
  WriteFile("a.bin", "abc");
  WriteFile("-x.hex", REC + "\n" + END);
  WriteFile("bad.hex", ":");
  WriteFile("e.mot", "S9030000FC");
  std::string Many = END;
  for (unsigned i = 0; i < 23; ++i) {
    Many = MakeRecord(true, 0x100 + 2 * i, "x") + "\n" + Many;
  }
  WriteFile("many.hex", Many);
  std::filesystem::create_directories("d.hex");
  const std::string Minus = Accepts("-x.hex: Intel HEX, 3 bytes in 1 run", "  0x00000030  0x00000032           3");
  const std::string Bad = "bad.hex:1: " + DIGIT + "  :\n   ^\n";
  const std::string Beyond =
      "a.bin: warning: data beyond address 0xFFFFFFFF: the output has its address modulo 2 to the power 32\n";
  const std::string Try = "Try 'blockfit-check --help' for more information.\n";
  const std::string Same = "-x.hex: same bytes at the same addresses as a.bin\n";
  const std::pair<std::string, std::string> aCase[] = {
      {"-- -x.hex bad.hex a.bin",
       "1 " + Minus + Bad + Accepts("a.bin: raw binary, 3 bytes in 1 run", "  0x00000000  0x00000002           3")},
      {"--base 4294967294 a.bin",
       "0 " + Beyond + Accepts("a.bin: raw binary, 3 bytes in 1 run", "  0xFFFFFFFE  0x100000000           3")},
      {"--strict --base=0xFFFFFFFE --against a.bin a.bin",
       "1 " + Beyond + Beyond + "a.bin: same bytes at the same addresses as a.bin\n"},
      {"e.mot", "0 e.mot: Motorola S-record, 0 bytes in 0 runs\n"},
      {"--against a.bin --base 010 -- -x.hex",
       "1 -x.hex: differs from a.bin, first at 0x0000000A: 0 differing, 3 missing, 3 surplus bytes\n"},
      {"--against a.bin --base 0x30 -- -x.hex", "0 " + Same},
      {"--against bad.hex a.bin", "1 " + Bad},
      {"missing.hex bad.hex",
       "2 missing.hex: error: Could not open file [missing.hex] File not found! (No such file or directory)\n" + Bad},
      {"d.hex", "2 d.hex: error: Could not read file. (Is a directory)\n"},
      {"--conditioned d.hex", "2 d.hex: error: Is a directory\n"},
      {"--conditioned missing", "2 missing: error: No such file or directory\n"},
      {"x.txt ''", "2 x.txt: error: Unsupported file extension.\n: error: Unsupported file extension.\n"},
      {"--version", "0 blockfit-check " BLOCKFIT_VERSION "\n"},
      {"", "2 blockfit-check: no file is named\n" + Try},
      {"--base -1 x", "2 blockfit-check: '-1' is not a valid value for --base\n" + Try},
      {"--block 35 x", "2 blockfit-check: '35' is not a valid value for --block\n" + Try},
  };
  for (const auto& [Args, Expected] : aCase) {
    EXPECT_EQ(Expected, Check(Args)) << Args;
  }
  for (const char* pNumber : {"", "0x", "1k", "' 1'", "+1", "0x100000000", "99999999999999999999"}) {
    EXPECT_EQ('2', Check(std::string("--base ").append(*pNumber != '\0' ? pNumber : "''") + " a.bin")[0]) << pNumber;
  }
  EXPECT_EQ('2', Check("--nonsense a.bin")[0]);
  EXPECT_TRUE(Check("many.hex").ends_with("0x00000126           1\n  and 3 more (--runs lists all)\n"));
  EXPECT_TRUE(Check("--runs many.hex").ends_with("0x0000012C           1\n"));
  EXPECT_TRUE(Check("--help").starts_with("0 Usage: blockfit-check "));
  for (const char* pArgs : {"a.bin", "--help", "--version", "--runs many.hex"}) {
    EXPECT_EQ('2', Check(std::string(pArgs) + " >/dev/full")[0]) << pArgs;
  }
}

TEST(Check, CountsWhatDiffers) {
  std::string Bytes(5000, 'a');
  WriteFile("a.bin", Bytes);
  const auto HexOf = [](unsigned First, unsigned Last, unsigned Step, char Byte) {
    std::string Text;
    for (unsigned Addr = First; Addr < Last; Addr += Step) {
      Text += MakeRecord(true, Addr, std::string(1, Byte)) + "\n";
    }
    return Text + END;
  };
  const std::string Differs = "1 b.hex: differs from a.bin, first at 0x0000";
  WriteFile("b.hex", HexOf(1000, 6000, 1, 'a'));
  EXPECT_EQ(Differs + "0000: 0 differing, 1000 missing, 1000 surplus bytes\n", Check("--against a.bin b.hex"));
  WriteFile("b.hex", HexOf(0, 6000, 2, 'b'));
  EXPECT_EQ(Differs + "0000: 2500 differing, 2500 missing, 500 surplus bytes\n", Check("--against a.bin b.hex"));
  WriteFile("b.hex", HexOf(0, 5001, 1, 'a'));
  EXPECT_EQ(Differs + "1388: 0 differing, 0 missing, 1 surplus bytes\n", Check("--against a.bin b.hex"));
}

/// Checks a text as a conditioned file. Returns the text of the finding, or "".
std::string Broken(const std::string& Text, uint32_t BlockSize, uint32_t LineAlign) {
  WriteFile("c", Text);
  std::string Found;
  const auto Keep = [](void* pContext, const CheckFinding& Finding) {
    *static_cast<std::string*>(pContext) = Finding.pText;
  };
  const CheckStatus Status = CHECK_Conditioned("c", {BlockSize, LineAlign}, {Keep, &Found}, {nullptr, nullptr});
  EXPECT_EQ(Status == CHECK_GOOD, Found.empty());
  return Found;
}

/// A record, with its line end, whose data counts up from 0.
std::string Line(unsigned Addr, unsigned NumBytes) {
  std::string Data(NumBytes, '\0');
  std::iota(Data.begin(), Data.end(), '\0');
  return MakeRecord(false, Addr, Data) + "\r\n";
}

TEST(Conditioned, EveryPromiseIsTested) {
  const std::string End = "S9030000FC\r\n";
  const std::string Cut = Line(0, 32) + Line(32, 16) + Line(48, 16) + End;  // at 76 + 44 = 120
  const std::string Filled = Line(0, 32) + Line(32, 8) + "\r\n\r\n\r\n\r\n\r\n\r\n\r\n\r\n" + Line(40, 24) + End;
  const std::string CutAway = "the record before is not cut at a block's end";
  const std::string CutOdd = "the record before is not cut at a multiple of the line alignment";
  const std::string Digit = "upper-case hexadecimal digit or CR LF expected";
  const std::tuple<std::string, uint32_t, uint32_t, std::string> aCase[] = {
      {Cut, 120, 8, ""},
      {Cut, 120, 16, ""},
      {Cut, 120, 0, "offset 120: " + CutOdd},
      {Cut, 120, 12, "offset 120: " + CutOdd},
      {Cut, 164, 8, "offset 120: " + CutAway},
      {Cut, 80, 8, "offset 80: the line crosses the end of its block"},
      {Cut, 78, 8, ""},  // blocks too small for the longest line promise less
      {Filled, 120, 8, ""},
      {Filled, 240, 8, "offset 120: a record follows fill in the same block"},
      {Line(0, 32) + Line(32, 16) + Line(48, 32) + End, 120, 8,
       "offset 120: this is more than the rest of the record before"},
      {"", 120, 8, "offset 0: no end record"},
      {Line(0, 32), 120, 8, "offset 76: no end record"},
      {End + "\r\n", 120, 8, "offset 12: text after the end record"},
      {End.substr(0, 11), 120, 8, "offset 1: type 1, 2 or 3, or S9030000FC with CR LF, expected"},
      {"S9031234B6\r\n", 120, 8, "offset 1: type 1, 2 or 3, or S9030000FC with CR LF, expected"},
      {"S0030000FC\r\n" + End, 120, 8, "offset 1: type 1, 2 or 3, or S9030000FC with CR LF, expected"},
      {"S", 120, 8, "offset 1: type 1, 2 or 3, or S9030000FC with CR LF, expected"},
      {"\n" + End, 120, 8, "offset 0: record or CR LF expected"},
      {"\r\r\n" + End, 120, 8, "offset 1: LF expected"},
      {Line(0, 1).substr(0, 12) + "\n" + End, 120, 8, "offset 12: " + Digit},
      {Line(0, 1).substr(0, 6) + std::string(1, '\0') + "\r\n" + End, 120, 8, "offset 6: " + Digit},
      {"S10400000afb\r\n" + End, 120, 8, "offset 9: " + Digit},
      {"S1040000A\r\n" + End, 120, 8, "offset 2: the count does not fit the line"},
      {"S1050000F8\r\n" + End, 120, 8, "offset 2: the count does not fit the line"},
      {"S1030000FC\r\n" + End, 120, 8, "offset 2: the count does not give 1 to 32 data bytes"},
      {Line(0, 33) + End, 120, 8, "offset 2: the count does not give 1 to 32 data bytes"},
      {"S104000000FC\r\n" + End, 120, 8, "offset 10: wrong checksum"},
      {Line(0xFFFF, 1) + End, 120, 8, ""},
      {Line(0xFFFF, 2) + End, 120, 8, "offset 4: the data goes beyond the type's last address"},
      {"S307FFFFFFFF000000\r\n" + End, 120, 8, "offset 4: the data goes beyond the type's last address"},
      {Line(16, 16) + Line(0, 16) + End, 120, 8, "offset 48: the address is not above those of the record before"},
      {Line(16, 16) + Line(31, 1) + End, 120, 8, "offset 48: the address is not above those of the record before"}};
  for (const auto& [Text, BlockSize, LineAlign, Expected] : aCase) {
    EXPECT_EQ(Expected, Broken(Text, BlockSize, LineAlign)) << Text;
  }
  std::string Blocks = Filled;
  for (int i = 0; i < 30; ++i) {
    Blocks.insert(Blocks.size() - End.size(), "\r\n");
  }
  WriteFile("c", Blocks);
  EXPECT_EQ(
      "0       offset  records    bytes  cut  fill\n"
      "           0        2       40  yes    16\n"
      "         120        1       24   no    60\n"
      "         240        0        0   no     0\n"
      "c: keeps every promise of a conditioned file, block size 120, line alignment 8\n",
      Check("--blocks --block 120 c"));
}

/// If an allocation, open or read fails, the report is either unchanged or says that something failed.
TEST(Check, SaysTheSameOrThatItFails) {
  WriteFile("a.hex", REC + "\n" + END + MakeRecord(true, 0x100, "x") + "\n");
  WriteFile("b.mot", "S1060030616263A3\n");
  const auto RunIt = [](FaultKind What, const Fault& How, bool* pHasFired) {
    std::string aArg[] = {"blockfit-check", "--strict", "--runs", "--against", "a.hex", "b.mot"};
    char* apArg[7] = {};
    std::transform(std::begin(aArg), std::end(aArg), apArg, [](std::string& Arg) { return Arg.data(); });
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    optind = 0;  // getopt_long starts anew
    FAULT_Arm(What, How);
    const int Status = CHECK_Run(6, apArg);
    *pHasFired = FAULT_Disarm();
    return std::to_string(Status) + testing::internal::GetCapturedStderr() + testing::internal::GetCapturedStdout();
  };
  bool HasFired = false;
  const std::string Expected = RunIt(FAULT_NONE, {}, &HasFired);
  EXPECT_EQ('1', Expected[0]);
  for (const FaultKind What : {FAULT_ALLOC, FAULT_OPEN, FAULT_READ}) {
    for (const int Error : {EIO, ENOMEM, 0}) {
      HasFired = true;
      for (int First = 1; HasFired; ++First) {
        const std::string Printed = RunIt(What, {First, First, Error}, &HasFired);
        ASSERT_TRUE(Printed == Expected ||
                    (HasFired && Printed[0] == '2' && Printed.find("error: ") != std::string::npos))
            << What << ' ' << First << ' ' << Printed;
        ASSERT_TRUE(HasFired || First > 2);
      }
    }
  }
}

}  // namespace
