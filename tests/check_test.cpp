// blockfit-check as a user runs it, the conditioned files that it rejects, and runs in which something fails.

#include "check/command.h"
#include "check/conditioned.h"
#include "check/input.h"
#include "check/terminal.h"
#include "support/harness.h"

namespace {

/// Runs the program through a shell, after Before, which can pipe input into it.
std::string Check(const std::string& Args, const std::string& Before = "") {
  return RunShell("exec 2>&1; " + Before + CHECK_PROGRAM " " + Args);
}

const std::string REC = ":03003000616263A7";
const std::string END = ":00000001FF\n";
const std::string MOT = "S1060030616263A3\n";
const std::string MOT_END = "S9030000FC\n";
const std::string TABLE = "       first        last        size\n";
const std::string DAMAGED = ": the line is damaged. Make or fetch the file again\n";
const std::string DIGIT = "error: hexadecimal digit expected" + DAMAGED;

/// CR LF pairs.
std::string Pairs(int Num) {
  std::string Text;
  while (Num-- > 0) {
    Text += "\r\n";
  }
  return Text;
}

/// Checks a text as a data file. Returns the findings, each with its line and column, the first letter of its level,
/// its text and, of an overlap, the line and column where the address was first defined.
std::string Findings(const std::string& Name, const std::string& Text) {
  WriteFile(Name, Text);
  std::string Found;
  const CheckSink Keep = [&](const CheckFinding& Finding) {
    const auto Show = [](const CheckPlace& At) {
      return std::to_string(At.Line) + ":" + std::to_string(At.MarkColumn);
    };
    Found += Show(Finding.Place) + " " + "nwe"[Finding.Level] + " " + Finding.Text +
             (Finding.FirstPlace.Line != 0 ? " <" + Show(Finding.FirstPlace) : "") + "\n";
  };
  CheckInput Input;
  EXPECT_NE(CHECK_UNREADABLE, CHECK_OpenInput(&Input, {Name.c_str(), Keep}, {}));
  return Found;
}

TEST(Check, ExplainsWhyAFileIsRefused) {
  const std::string Again = " Make or fetch the file again\n";
  const std::string Damaged = ": the line is damaged." + Again;
  const std::string Digit = " e hexadecimal digit expected";
  const std::string Short = " e the line ends too early: was the file cut off? Make or fetch it again\n";
  const std::string Mark = " e a record begins with a colon" + Damaged;
  const std::string Checksum = " e wrong checksum, 0x";
  const std::string Twice = " is defined twice: is a line doubled, or do two sections or joined files overlap? <";
  const std::tuple<std::string, std::string, std::string> aCase[] = {
      {"f.hex", REC + "\r\n\r\n\r\n:03004000616263\r\n", "4:15" + Short},
      {"f.hex", REC + "\r\r\r:03004000616263\r", "4:15" + Short},
      {"f.hex", REC + "\n\n\n:03004000616263", "4:15" + Short},
      {"f.hex", ":03003000 616263A7", "1:9" + Digit + Damaged},
      {"f.hex", REC + "\n\x1B", "2:0" + Mark},
      {"f.hex", REC + "\r:01004000615E\nx", "3:0" + Mark},
      // The file is read again in pieces of 32768 bytes.
      {"f.hex", REC + Pairs(16376) + "x", "16377:0" + Mark},
      {"f.hex", ":03003000616263A8\n", "1:15" + Checksum + "A7 expected" + Damaged},
      {"f.mot", "S1060030616263A4\n", "1:14" + Checksum + "A3 expected" + Damaged},
      {"f.hex", ":0300300061626361A7\n", "1:15" + Checksum + "A7 expected" + Damaged},
      {"f.hex", ":000000\n", "1:7" + Short},
      {"f.hex", REC + " \n", "1:17 e line end expected after the checksum" + Damaged},
      {"f.hex", REC + "00\n", "1:17 e line end expected after the checksum" + Damaged},
      {"f.hex", ":0100000408F3\n", "1:0 e the record is too short for its type" + Damaged},
      {"f.mot", MOT + "\r\rS106004061X263A3", "4:10" + Digit + Damaged},
      {"f.mot", MOT + "S 10600406162\n", "2:13" + Short},
      {"f.mot", "S00\n", "1:3" + Short},
      {"f.mot", "S1060030616263A300\n", "1:16 e a record begins with S and a digit" + Damaged},
      {"f.hex", REC + "\n:020031006278F3", "2:9 e 0x00000031" + Twice + "1:11\n"},
      {"f.hex", REC + "\n:03002F007A7A7A60", "2:11 e 0x00000030" + Twice + "1:9\n"},
      {"f.hex", REC + "\n:02002F007A61F4", "2:11 e 0x00000030" + Twice + "1:9\n"},
      {"f.hex", ":0200300061620B\n:02003400636403\n:0600300061627A7A63644C", "3:9 e 0x00000030" + Twice + "1:9\n"},
      {"f.hex", ":03002D0078797A65\n" + REC + "\n:01003000715E", "3:9 e 0x00000030" + Twice + "2:9\n"},
      // The window moves between the S and the type of the refused record.
      {"f.mot", MOT + "S" + std::string(70000, '\n') + MOT.substr(1), "70002:7 e 0x00000030" + Twice + "1:8\n"},
  };
  for (const auto& [Name, Text, Expected] : aCase) {
    EXPECT_EQ(Expected, Findings(Name, Text)) << Text.substr(0, 200);
  }
}

TEST(Check, ShowsTheLine) {
  const std::string Zeros(500, '0');
  const std::string Digit = "f.hex:1: " + DIGIT + "  ";
  const std::string Mark = "f.mot:2: error: a record begins with S and a digit" + DAMAGED + "  ";
  const std::tuple<std::string, std::string, std::string> aCase[] = {
      {"f.hex", REC + "\n" + REC,
       "f.hex:2: error: 0x00000030 is defined twice: is a line doubled, or do two sections or joined files overlap?\n "
       " " +
           REC + "\n           ^\nf.hex:1: note: first defined here\n  " + REC + "\n           ^\n"},
      {"f.hex", REC + "\n:\x1B[31m~\t" + std::string(1, '\0') + "\x7F\xC3\n",
       "f.hex:2: " + DIGIT + "  :?[31m~????\n   ^\n"},
      {"f.hex", ":0G" + Zeros, Digit + ":0G" + Zeros.substr(0, 91) + "...\n    ^\n"},
      {"f.hex", ":0G" + Zeros.substr(0, 91), Digit + ":0G" + Zeros.substr(0, 91) + "\n    ^\n"},
      {"f.mot", MOT + std::string(90000, ' ') + "X",
       Mark + "..." + std::string(80, ' ') + "X\n" + std::string(85, ' ') + "^\n"},
      {"f.mot", MOT + std::string(80, ' ') + "X\n", Mark + std::string(80, ' ') + "X\n" + std::string(82, ' ') + "^\n"},
  };
  for (const auto& [Name, Text, Expected] : aCase) {
    WriteFile(Name, Text);
    EXPECT_EQ("1 " + Expected, Check(Name)) << Text.substr(0, 200);
  }
}

TEST(Check, NamesWhatAFileIsInstead) {
  const std::string Elf = "it is an ELF file: convert it with objcopy\n";
  const std::string Gzip = "it is compressed with gzip: unpack it first\n";
  const std::string Zip = "it is a zip archive: unpack it first\n";
  const std::string Utf16 = "it is UTF-16 text: save it as ASCII\n";
  const std::string HexName = "it is an Intel HEX file: rename it to .hex\n";
  const std::string Page = "it is other text: fetch it again if it is an error page, or convert its format\n";
  const std::string Not = "1:0 e not Intel HEX: ";
  const std::string Bom = "\xEF\xBB\xBF";
  const std::string Text(64, '~');
  const std::tuple<std::string, std::string, std::string> aCase[] = {
      {"f.hex", "", Not + "it is empty: make or fetch it again\n"},
      {"f.hex", "\r\n" + REC, Not + "it begins with a blank line or a space: remove it\n"},
      {"f.hex", Bom + REC, Not + "it begins with a byte order mark: save it without one\n"},
      {"f.hex", "\xFF\xFE:", Not + Utf16},
      {"f.hex", std::string("\xFE\xFF\0:", 4), Not + Utf16},
      {"f.hex", "\x7F\x45LF", Not + Elf},
      {"f.hex", "\x1F\x8B\x08", Not + Gzip},
      {"f.hex", Bom + "\n<!DocType", Not + Page},
      {"f.hex", "@00000000", Not + Page},
      {"f.hex", MOT, Not + "it is an S-record file: rename it to .srec\n"},
      {"f.hex", "\x80", Not + "a record begins with a colon\n"},
      {"f.mot", "s1060030616263A3\n",
       "1:0 e not Motorola S-record: it begins with a lower-case s: change it to S in every line\n"},
      {"f.mot", REC, "1:0 e not Motorola S-record: " + HexName},
      {"f.bin", "", "0:0 w the file has no data: is it the right one?\n"},
      {"f.bin", "\x7F\x45LF", "0:0 w " + Elf},
      {"f.bin", "\x1F\x8B\x08", "0:0 n " + Gzip},
      {"f.bin", "PK\x03\x04", "0:0 n " + Zip},
      {"f.bin", "\xFF\xFE:", ""},
      {"f.bin", REC + "\n", "0:0 w " + HexName},
      {"f.bin", "404: Not Found", "0:0 w " + Page},
      {"f.bin", Bom + "\t\r\n ", "0:0 w " + Page},
      {"f.bin", Bom + "abc", ""},
      {"f.bin", "abc", ""},
      {"f.bin", Text + "\x80", "0:0 w " + Page},
      {"f.bin", Text.substr(1) + "\x7F", ""}};
  for (const auto& [Name, Bytes, Expected] : aCase) {
    EXPECT_EQ(Expected, Findings(Name, Bytes));
  }
}

TEST(Check, WarnsOfDataThatMayBeMissing) {
  const std::string CutOff =
      ":0 w no end record follows this last record: the file may have been cut off. Make or fetch it again\n";
  const std::string After =
      ":0 w a record after the end record: were two files joined? blockfit-convert joins them correctly\n";
  const std::string EndMark =
      ":0 w a byte 0x00 or 0x1A ends the data here: what follows is not read. Make or fetch the file again\n";
  const std::string Unused =
      ":0 w this record has bytes that are not used: its type or length is wrong. Make or fetch the file again\n";
  const std::string Start = ":0 n the start address 0x";
  const std::string Written = " is not written to the output\n";
  const std::string Leaves =
      ":0 w data beyond the end of its 64 KiB segment: other tools may put it at the segment's start. Records of type "
      "04 avoid that\n";
  const std::string Beyond =
      ":0 w data beyond 0xFFFFFFFF: in the output, its addresses start again at 0. Is the load address right?\n";
  const auto Count = [](const std::string& Said, const std::string& Read) {
    return ":0 w the count record says " + Said + " data records, " + Read +
           " were read: some are missing or doubled. Make or fetch the file again\n";
  };
  const std::tuple<std::string, std::string, std::string> aCase[] = {
      {"f.hex", REC + "\n\n", "1" + CutOff},
      {"f.hex", REC + "\n" + END + END + END, "3" + After},
      {"f.hex", REC + "\n" + std::string(1, '\0') + "x", "2" + EndMark},
      {"f.hex", REC + "\n\x1A\n", "1" + CutOff},
      {"f.hex", REC + "\n" + END + ":01004000615E\n", "3" + After},
      {"f.hex", ":020000FF0800F7\n:020000021000EC\n" + REC + "\n" + END, ""},
      {"f.hex", REC + "\n:04000005FFFFFFFFFB\n" + END, "2" + Start + "FFFFFFFF" + Written},
      {"f.hex", REC + "\n" + END + "\x1A x", "3" + EndMark},
      {"f.hex", REC + "\n" + END + std::string(5000, '\0') + "x", "3" + EndMark},
      {"f.hex", REC + "\n" + END + "\x1A" + std::string("\0\x1A \t\r\n", 6), ""},
      {"f.hex", REC + "\n:0400000312345678E5\n" + END, "2" + Start + "000179B8" + Written},
      {"f.hex", REC + "\n:0400000500000000F7\n" + END, "2" + Start + "00000000" + Written},
      {"f.hex", REC + "\n:0300000508000EE2\n" + END, "2" + Unused},
      {"f.hex", REC + "\n:0500000308000EFF00E3\n" + END, "2" + Unused},
      {"f.hex", ":020000021000EC\n:02FFFE000102FE\n" + END, ""},
      {"f.hex", ":020000021000EC\n:02FFFF000304F9\n" + END, "2" + Leaves},
      {"f.hex", ":020000021000EC\n:020000040001F9\n:02FFFF000304F9\n" + END, ""},
      {"f.hex", ":02FFFF000304F9\n" + END, ""},
      {"f.hex", REC + "\n:00000006FA\n:03000004080000F1\n" + END, "2" + Unused},
      {"f.hex", ":03000004080000F1\n" + END, "1" + Unused + "0:0 w the file has no data: is it the right one?\n"},
      {"f.hex", ":02000004FFFFFC\n:02FFFE000102FE\n" + END, ""},
      {"f.hex", ":02000004FFFFFC\n:03FFFE00010203FA\n" + END, "2:13" + Beyond.substr(2)},
      {"f.mot", MOT + "S901FE", ""},
      {"f.mot", MOT + "S70508000000F2", "2" + Start + "08000000" + Written},
      {"f.mot", MOT + "S9040001FFFB\n" + MOT_END, "2" + Unused},
      {"f.mot", MOT + "S404000041BA\n" + MOT_END, "2" + Unused},
      {"f.mot", MOT + "S5060030616263A3\n" + MOT_END, "2" + Unused},
      {"f.mot", MOT + "S50400027881\n", "2" + Unused + "2" + CutOff},
      {"f.mot", MOT + "S804000000FB\n", ""},
      {"f.mot", MOT + "S50201FC\n" + MOT_END, "2" + Unused},
      {"f.mot", MOT + "S00400001BE0\n" + MOT_END, "2" + Unused},
      {"f.mot", MOT + "S0040000FFFC\n" + MOT_END, "2" + Unused},
      {"f.mot", MOT + "S5030000FC\n" + MOT_END, "2" + Count("0", "1")},
      {"f.mot", MOT + "S0050000C3A98E\n" + MOT_END, ""},
      {"f.mot", MOT + "S0030001FB\n" + MOT_END, "2" + Unused},
      {"f.mot", "S0030001FB\n" + MOT + MOT_END, "1" + Unused},
      {"f.mot", "S00400001BE0\n" + MOT + MOT_END, ""},
      {"f.mot", MOT + "S004000041BA\n" + MOT_END, ""},
      {"f.mot", MOT + "S5030001FB\n", ""},  // a right count is as good as an end record
      {"f.mot", MOT + "S604000001FA\n", ""},
      {"f.mot", MOT + "S5030001FB\nS1030040BC\n", "3" + CutOff},
      {"f.mot", MOT + "S5030002FA\n", "2" + Count("2", "1") + "2" + CutOff},
      {"f.mot", MOT + "S5030001FB\nS1040040615A\nS5030001FB\nS1040050614A\nS5030003F9\n", ""},
      {"f.mot", MOT + "S5030001FB\nS1040040615A\nS5030005F7\n" + MOT_END, "4" + Count("5", "1")},
      {"f.mot", MOT + "S0030000FC\nS1040040615A\nS5030001FB\n", ""},
      {"f.mot", "S308FFFFFFFE616263D6\n" + MOT_END, "1:16" + Beyond.substr(2)},
      {"f.mot", "S5030001FB\nS10200FD", "1" + Count("1", "0") + "2:0 e the record is too short for its type" + DAMAGED},
  };
  for (const auto& [Name, Text, Expected] : aCase) {
    EXPECT_EQ(Expected, Findings(Name, Text)) << Text;
  }
}

TEST(Check, TakesOptionsAndFiles) {
  const std::string Kept = "c: keeps every promise of a conditioned file, block size 8192, line alignment 8\n";
  WriteFile("a.bin", "abc");
  WriteFile("-x.hex", REC + "\n" + END);
  WriteFile("\x1B\xC3\x89\xC2\x9B\x7F.hex", REC + "\n" + END);
  WriteFile("bad.hex", ":");
  WriteFile("cut.hex", REC + "\n");
  WriteFile("note.mot", MOT + "S9031234B6");
  WriteFile("long.bin", std::string(70000, '\0'));
  WriteFile("c", "S9030000FC\r\n");
  WriteFile("c.srec", "S10400006100\r\nS9030000FC\r\n");
  WriteFile("cut", "S1060030616263A3\r\n");
  std::string Many = END;
  for (unsigned i = 0; i < 23; ++i) {
    Many = MakeRecord(true, 0x100 + 2 * i, "x") + "\n" + Many;
  }
  WriteFile("many.hex", Many);
  std::filesystem::create_directories("d.hex");
  std::filesystem::create_symlink("/dev/stdin", "p.hex");
  const std::string Runs = TABLE + "  0x00000030  0x00000032           3\n";
  const std::string Abc = "a.bin: raw binary, 3 bytes in 1 run\n" + TABLE;
  const std::string Bad =
      "bad.hex:1: error: the line ends too early: was the file cut off? Make or fetch it again\n  :\n   ^\n";
  const std::string Beyond =
      "warning: data beyond 0xFFFFFFFF: in the output, its addresses start again at 0. Is the load address right?\n";
  const std::string Try = "Try 'blockfit-check --help' for more information.\n";
  const std::string Known = ": error: unknown file extension: Blockfit reads .mot .srec .s19 .s37 .s .hex .bin\n";
  const std::pair<std::string, std::string> aCase[] = {
      {"-- -x.hex bad.hex a.bin",
       "1 -x.hex: Intel HEX, 3 bytes in 1 run\n" + Runs + Bad + Abc + "  0x00000000  0x00000002           3\n"},
      {"./??????.hex", "0 ./?\xC3\x89\xC2??.hex: Intel HEX, 3 bytes in 1 run\n" + Runs},
      {"--base 4294967293 a.bin", "0 " + Abc + "  0xFFFFFFFD  0xFFFFFFFF           3\n"},
      {"--base 0xFFFFF000 long.bin", "0 long.bin: " + Beyond + "long.bin: raw binary, 70000 bytes in 1 run\n" + TABLE +
                                         "  0xFFFFF000  0x10001016F       70000\n"},
      {"--base=0XFFFFFFFE --against a.bin a.bin",
       "0 a.bin: " + Beyond + "a.bin: " + Beyond + "a.bin: same bytes at the same addresses as a.bin\n"},
      {"--against a.bin --base 10 -- -x.hex",
       "1 -x.hex: differs from a.bin, first at 0x0000000A: 0 differing, 3 missing, 3 surplus bytes\n"},
      {"--against a.bin --base 0x30 -- -x.hex", "0 -x.hex: same bytes at the same addresses as a.bin\n"},
      {"--against bad.hex a.bin", "1 " + Bad},
      {"missing.hex bad.hex", "2 missing.hex: error: No such file or directory\n" + Bad},
      {"bad.hex missing.hex", "2 " + Bad + "missing.hex: error: No such file or directory\n"},
      {"d.hex", "2 d.hex: error: Is a directory\n"},
      {"x.ihex ''", "2 x.ihex" + Known + Known},
      {"note.mot 2>&1 | head -n 1", "0 note.mot:2: note: the start address 0x00001234 is not written to the output\n"},
      {"--conditioned d.hex", "2 d.hex: error: Is a directory\n"},
      {"--conditioned missing", "2 missing: error: No such file or directory\n"},
      {"--conditioned --against a.bin c", "2 " + Kept + "c" + Known},
      {"--conditioned c.srec", "1 c.srec:1: error: offset 10: wrong checksum\n  S10400006100\n            ^\n"},
      {"--conditioned cut", "1 cut:2: error: offset 18: no end record\n"},
      {"--conditioned --against a.bin c.srec 2>/dev/null", "1 "},
      {"--line 8 c", "0 " + Kept},
      {"--blocks c", "0       offset  records    bytes  cut  fill\n           0        0        0   no     0\n" + Kept},
      {"--version", "0 blockfit-check " BLOCKFIT_VERSION "\n"},
      {"", "2 blockfit-check: no input file\n" + Try},
      {"--block 35 x", "2 --block takes an even number, 34 or more, decimal or with 0x, and not '35'\n" + Try},
      {"--line 3 x", "2 --line takes an even number, decimal or with 0x, and not '3'\n" + Try},
  };
  for (const auto& [Args, Expected] : aCase) {
    EXPECT_EQ(Expected, Check(Args)) << Args;
  }
  // A pipe cannot be read again: there are only the errors with their offsets, and no padding.
  EXPECT_EQ(
      "1 p.hex: error: offset 27: 0x00000030 is defined twice: is a line doubled, or do two sections or joined files "
      "overlap?\n",
      Check("p.hex", "echo '" + REC + "\n" + REC + "' | "));
  EXPECT_EQ("1 p.hex: error: offset 0: not Intel HEX: a record begins with a colon\n", Check("p.hex", "echo x | "));
  EXPECT_EQ('1', Check("--strict p.hex", "printf '" + REC + "\n:00000001FF\n\\032x' | ")[0]);
  EXPECT_EQ('0', Check("--strict p.hex", "printf '" + REC + "\n:00000001FF\n\\032' | ")[0]);
  EXPECT_EQ('0', Check("--strict note.mot")[0]);
  EXPECT_EQ('1', Check("--strict cut.hex note.mot")[0]);
  for (const std::string Args :
       {"--block 32 c", "--base '' a.bin", "--base -1 a.bin", "--base 0x a.bin", "--base 010 a.bin", "--base 1k a.bin",
        "--base ' 1' a.bin", "--base +1 a.bin", "--base 0x100000000 a.bin", "--base 99999999999999999999 a.bin",
        "--nonsense a.bin", "a.bin >/dev/full", "--help >/dev/full", "a.bin bad.hex >/dev/full"}) {
    EXPECT_EQ('2', Check(Args)[0]) << Args;
  }
  EXPECT_TRUE(Check(std::string(3000, '\x01') + ".hex").ends_with("?.hex: error: File name too long\n"));
  EXPECT_TRUE(Check("many.hex").ends_with("0x0000012C           1\n"));
  EXPECT_TRUE(Check("-h").starts_with("0 Usage: blockfit-check "));
  EXPECT_EQ('0', Check("a.bin a.bin a.bin a.bin a.bin a.bin a.bin a.bin", "ulimit -n 8; ")[0]) << "files are closed";
}

TEST(Check, FindsDataOutsideTheMemory) {
  const std::string Hex = REC + "\n:020000042000DA\n:040000006162636472\n" + END;
  WriteFile("f.hex", Hex);
  WriteFile("g.hex", Hex);
  WriteFile("c.srec", "S104000000FB\r\nS9030000FC\r\n");
  WriteFile("a.bin", "abc");
  std::filesystem::create_symlink("/dev/stdin", "p.hex");
  const std::string Held = "f.hex: Intel HEX, 7 bytes in 2 runs\n" + TABLE +
                           "  0x00000030  0x00000032           3\n  0x20000000  0x20000003           4\n";
  const std::string Ram = ": is RAM data in the file?\n  :040000006162636472\n           ^\n";
  const std::string Both =
      ".hex:3: error: 0x20000001-0x20000001 lies outside 0x00000000-0x20000000, "
      "0x20000002-0x20000003: is RAM data in the file?\n  :040000006162636472\n             ^\n";
  const std::pair<std::string, std::string> aCase[] = {
      {"--within 48-50 --within=0x20000000-0X20000003 f.hex", "0 " + Held},
      {"--within 48-50 f.hex",
       "1 f.hex:3: error: 0x20000000-0x20000003 lies outside 0x00000030-0x00000032" + Ram + Held},
      // Ranges that touch, overlap, and are nested in others, in any order.
      {"--within 0x20000002-0x20000003 --within 0x31-0x31 --within 0-0x31 --within 0x32-0x20000001 f.hex", "0 " + Held},
      {"--within 0-4294967295 --within 0x31-0x31 f.hex", "0 " + Held},
      {"--within 0x31-0x31 --within 0-0xFFFFFFFF f.hex", "0 " + Held},
      {"--within 0-0x20000000 --within 0x20000002-0x20000003 --against g.hex f.hex",
       "1 g" + Both + "f" + Both + "f.hex: same bytes at the same addresses as g.hex\n"},
      {"--within 1-1 --conditioned c.srec",
       "1 c.srec: keeps every promise of a conditioned file, block size 8192, line alignment 8\n"
       "c.srec:1: error: 0x00000000-0x00000000 lies outside 0x00000001-0x00000001: is RAM data in the file?\n"
       "  S104000000FB\n          ^\n"},
      {"--within 5-4 a.bin",
       "2 --within takes FIRST-LAST, two addresses of 32 bits, decimal or with 0x, and not '5-4'\n"
       "Try 'blockfit-check --help' for more information.\n"},
      {"--within 49-49 --base 48 a.bin",
       "1 a.bin: error: 0x00000030-0x00000030 lies outside 0x00000031-0x00000031: is its load address right?\n"
       "a.bin: raw binary, 3 bytes in 1 run\n" +
           TABLE + "  0x00000030  0x00000032           3\n"},
  };
  for (const auto& [Args, Expected] : aCase) {
    EXPECT_EQ(Expected, Check(Args)) << Args;
  }
  EXPECT_EQ("1 p.hex: error: 0x20000000-0x20000003 lies outside 0x00000000-0x00000032: is RAM data in the file?\np" +
                Held.substr(1),
            Check("--within 0-0x32 p.hex", "cat f.hex | "));
}

TEST(Check, CountsWhatDiffers) {
  WriteFile("a.bin", std::string(5000, '\1'));
  const std::string Differs = "1 b.bin: differs from a.bin, first at 0x0000";
  WriteFile("b.bin", std::string(2500, '\1') + std::string(2000, '\2'));
  EXPECT_EQ(Differs + "09C4: 2000 differing, 500 missing, 0 surplus bytes\n", Check("--against a.bin b.bin"));
  WriteFile("b.bin", std::string(5001, '\1'));
  EXPECT_EQ(Differs + "1388: 0 differing, 0 missing, 1 surplus bytes\n", Check("--against a.bin b.bin"));
  WriteFile("a.hex", MakeRecord(true, 0x2F, "zab") + "\n" + END);
  WriteFile("b.hex", REC + "\n" + END);
  EXPECT_EQ("1 a.hex: differs from b.hex, first at 0x0000002F: 0 differing, 1 missing, 1 surplus bytes\n",
            Check("--against b.hex a.hex"));
  EXPECT_EQ("1 b.hex: differs from a.hex, first at 0x0000002F: 0 differing, 1 missing, 1 surplus bytes\n",
            Check("--against a.hex b.hex"));
}

/// Checks a text as a conditioned file. Returns the text of the finding, or "".
std::string Broken(const std::string& Text, const ConditionedRules& Rules) {
  WriteFile("c", Text);
  std::string Found;
  const CheckSink Keep = [&](const CheckFinding& Finding) { Found = Finding.Text; };
  const CheckStatus Status = CHECK_Conditioned({"c", Keep}, Rules, {});
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
  const std::string Filled = Line(0, 32) + Line(32, 8) + Pairs(8) + Line(40, 24) + End;
  const std::string Late = Line(0, 32) + Line(32, 16) + "\r\n" + Line(48, 16) + End;
  const std::string Another =
      " characters: name another block size with --block. Blockfit's -BlockAlign is hexadecimal";
  const std::string CutAway = "the record before is cut in the middle of a block of 164" + Another;
  const std::string CutOdd = "the record before is not cut at a multiple of the line alignment";
  const std::string Crosses = "the line crosses the end of its block of 80" + Another;
  const std::string Digit = "upper-case hexadecimal digit or CR LF expected";
  const std::string Lf =
      "the line ends in LF, not CR LF: an editor or git has changed it. Make or fetch the file again";
  const std::tuple<std::string, ConditionedRules, std::string> aCase[] = {
      {Cut, {120, 8}, ""},
      {Cut, {120, 16}, ""},
      {Cut, {120, 0}, "offset 120: " + CutOdd},
      {Cut, {120, 12}, "offset 120: " + CutOdd},
      {Cut, {164, 8}, "offset 120: " + CutAway},
      {Cut, {80, 8}, "offset 80: " + Crosses},
      {Line(0, 32) + End, {80, 8}, "offset 80: " + Crosses},
      {Cut, {78, 8}, ""},  // blocks too small for the longest line promise less
      {Filled, {120, 8}, ""},
      {Filled, {240, 8}, "offset 120: a record follows fill within a block of 240" + Another},
      {Late, {120, 8}, "offset 122: a record follows fill within a block of 120" + Another},
      {Line(0, 32) + Line(32, 16) + Line(48, 32) + End,
       {120, 8},
       "offset 120: this is more than the rest of the record before"},
      {"", {120, 8}, "offset 0: no end record"},
      {Line(0, 32), {120, 8}, "offset 76: no end record"},
      {End + "\r\n", {120, 8}, "offset 12: text after the end record"},
      {End.substr(0, 11),
       {120, 8},
       "offset 1: a data record (S1, S2, S3) or the complete end record (S9030000FC) expected"},
      {"S0030000FC\r\n" + End,
       {120, 8},
       "offset 1: a data record (S1, S2, S3) or the complete end record (S9030000FC) expected"},
      {"S4030000FC\r\n" + End,
       {120, 8},
       "offset 1: a data record (S1, S2, S3) or the complete end record (S9030000FC) expected"},
      {"x\r\n" + End, {120, 8}, "offset 0: record or CR LF expected"},
      {"\r\n" + End, {72, 8}, "offset 0: a record expected: the file begins with fill"},
      {Line(0, 1) + "\r\r\n" + End, {120, 8}, "offset 15: LF expected"},
      {Line(0, 1).substr(0, 12) + "\n" + End, {120, 8}, "offset 12: " + Lf},
      {Line(0, 1).substr(0, 6) + std::string(1, '\0') + "\r\n" + End, {120, 8}, "offset 6: " + Digit},
      {"S10400000afb\r\n" + End, {120, 8}, "offset 9: " + Digit},
      {"S1040000A\r\n" + End, {120, 8}, "offset 2: the count does not fit the line"},
      {"S1050000F8\r\n" + End, {120, 8}, "offset 2: the count does not fit the line"},
      {"S1030000FC\r\n" + End, {120, 8}, "offset 2: the count does not give 1 to 32 data bytes"},
      {Line(0, 33) + End, {120, 8}, "offset 2: the count does not give 1 to 32 data bytes"},
      {"S104000000FC\r\n" + End, {120, 8}, "offset 10: wrong checksum"},
      {Line(0xFFFF, 1) + End, {120, 8}, ""},
      {Line(0xFFFF, 2) + End, {120, 8}, "offset 4: the data goes beyond the type's last address"},
      {"S307FFFFFFFF000000\r\n" + End, {120, 8}, "offset 4: the data goes beyond the type's last address"},
      {Line(16, 16) + Line(0, 16) + End, {120, 8}, "offset 48: the address is not above those of the record before"},
      {Line(16, 16) + Line(31, 1) + End, {120, 8}, "offset 48: the address is not above those of the record before"}};
  for (const auto& [Text, Rules, Expected] : aCase) {
    EXPECT_EQ(Expected, Broken(Text, Rules)) << Text;
  }
}

TEST(Conditioned, BlocksAreListed) {
  const std::string End = "S9030000FC\r\n";
  const std::string Title = "0       offset  records    bytes  cut  fill\n           0        ";
  // Pieces that end with their block, and a block of fill alone.
  WriteFile("c", Line(0, 32) + Line(32, 8) + Pairs(8) + Line(40, 24) + Pairs(30 + 60) + Line(0x100, 16) + End);
  EXPECT_EQ(Title +
                "2       40  yes    16\n"
                "         120        1       24   no    60\n"
                "         240        0        0   no   120\n"
                "         360        1       16   no     0\n"
                "c: keeps every promise of a conditioned file, block size 120, line alignment 8\n",
            Check("--blocks --block 120 c"));
  // Lines that cross one block, and two.
  WriteFile("c", Line(0, 32) + Line(32, 8) + Line(40, 24) + End);
  EXPECT_EQ(Title +
                "1       32   no     0\n"
                "          34        0        0   no     0\n"
                "          68        1        8  yes     0\n"
                "         102        1       24   no     0\n"
                "         136        0        0   no     0\n"
                "c: keeps every promise of a conditioned file, block size 34, line alignment 8\n",
            Check("--blocks --block 34 c"));
  WriteFile("c", Line(0, 28) + Line(28, 4) + End);
  EXPECT_TRUE(
      Check("--blocks --block 34 c").starts_with(Title + "1       28  yes     0\n          34        0        0   no"));
  WriteFile("c", Line(0, 32) + Line(32, 16) + Line(48, 16) + End);
  WriteFile("lf.srec", Line(0, 1).substr(0, 12) + "\n");
  EXPECT_EQ('1', Check("--conditioned --against lf.srec lf.srec")[0]) << "the worse of two results";
  EXPECT_EQ('0', Check("--block 0X78 c c c c c c c c", "ulimit -n 8; ")[0]) << "files are closed";
  EXPECT_EQ('1', Check("--conditioned c /dev/null")[0]);
  EXPECT_EQ('1', Check("--conditioned /dev/null c")[0]);
  ASSERT_EQ(0, mkfifo("p.srec", 0600));
  for (const char* pArgs : {"--against p.srec p.srec", "p.srec p.srec"}) {
    EXPECT_TRUE(Check(pArgs, "cat c >p.srec & ")
                    .ends_with("p.srec: error: a pipe cannot be read twice: ask for one thing at a time\n"));
  }
}

/// If an allocation, open or read fails, the report is either unchanged or says that something failed.
TEST(Check, SaysTheSameOrThatItFails) {
  WriteFile("a.hex", REC + "\n" + END + MakeRecord(true, 0x100, "x") + "\n");
  WriteFile("b.mot", "S1060030616263A3\n");
  const auto RunIt = [](FaultKind What, const Fault& How, bool* pHasFired) {
    return RunWithFault(CHECK_Run, {"blockfit-check", "--strict", "--within=1-0x200", "--against", "a.hex", "b.mot"},
                        What, How, pHasFired);
  };
  bool HasFired = false;
  const std::string Expected = RunIt(FAULT_NONE, {}, &HasFired);
  EXPECT_EQ('1', Expected[0]);
  for (const FaultKind What : {FAULT_ALLOC, FAULT_OPEN, FAULT_READ}) {
    for (const int Error : What == FAULT_ALLOC ? std::vector{ENOMEM} : std::vector{EIO, ENOENT, 0}) {
      const std::string Reason = What == FAULT_ALLOC ? "error: out of memory" : "error: ";
      HasFired = true;
      for (int First = 1; HasFired; ++First) {
        const std::string Printed = RunIt(What, {First, First, Error}, &HasFired);
        ASSERT_TRUE(Printed == Expected || (HasFired && Printed[0] == '2' && Printed.find(Reason) != std::string::npos))
            << What << ' ' << First << ' ' << Printed;
        ASSERT_TRUE(HasFired || First > 2);
      }
    }
  }
}

TEST(Check, KnowsTheLargestRawBinary) {
  std::string Found;
  const CheckSink Keep = [&](const CheckFinding& Finding) { Found = Finding.Text; };
  CheckInput Input;
  for (const unsigned NumBytes : {0x7FFFFFFFU, 0x80000000U}) {
    WriteFile("big.bin", "");
    std::filesystem::resize_file("big.bin", NumBytes);
    FAULT_Arm(FAULT_READ, {1, 1, EIO});  // it would take long
    const CheckStatus Status = CHECK_OpenInput(&Input, {"big.bin", Keep}, {});
    FAULT_Disarm();
    EXPECT_EQ(NumBytes == 0x80000000 ? CHECK_BAD : CHECK_UNREADABLE, Status);
    EXPECT_EQ(NumBytes == 0x80000000 ? "the file is larger than 2147483647 bytes, the limit for a .bin"
                                     : "Input/output error",
              Found);
  }
}

}  // namespace
