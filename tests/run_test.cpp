// The program as a user runs it: exact text, exact exit status, exact bytes of the output.
#include <fcntl.h>

#include "support/harness.h"

namespace {

const std::string TITLE = "VORNEX conditioner for drag & drop programming files V" BLOCKFIT_VERSION " (compiled ";
const std::string USAGE =
    ")\n\nhttps://vornex.example/blockfit\n\n"
    "Usage: Blockfit [-BaseAddr <Addr>] <InputFile>\n"
    "Accepts hex / mot / srec / bin files as <InputFile>\n"
    "and creates a conditioned *.srec in the directory of <InputFile>.\n"
    "<Addr> is only required for *.bin input files to specify the start address.\n\n";

const std::string END_RECORD = "S9030000FC\r\n";
const std::string HEX_OUT = "S106003002337A1A\r\n" + END_RECORD;
const std::string MOT_OUT = "S1060000010203F3\r\n" + END_RECORD;

/// Starts the program through a shell. Returns a pipe from its output.
FILE* Start(const std::string& Args) {
  return popen(("exec " BLOCKFIT_PROGRAM " " + Args).c_str(), "r");  // NOLINT(cert-env33-c): a shell is wanted
}

/// Waits for a run to end, and expects its banner. Returns the exit status and what is printed after the banner.
std::string End(FILE* pOutput, const std::string& Printed = "") {
  std::string Result = Finish(pOutput, Printed);
  const size_t TextStart = Result.find(' ') + 1;
  const std::string Built = Result.substr(std::min(TextStart + TITLE.size(), Result.size()), 20);
  const std::string Banner = TITLE + Built + USAGE;
  tm BuildTime{};
  EXPECT_EQ(Banner, Result.substr(TextStart, Banner.size()));
  EXPECT_NE(nullptr, strptime(Built.c_str(), "%b %d %Y %T", &BuildTime)) << Built;
  return Result.erase(TextStart, Banner.size());
}

/// Runs in a folder of inputs.
class Run : public testing::Test {
 protected:
  Run() {
    setenv("HOME", "home", 1);
    for (const char* pName : {"fw.hex", "fw.txt", "-a", ".hex.hex"}) {
      WriteFile(pName, ":0300300002337A1E\n:00000001FF\n");
    }
    for (const char* pName : {"x.srec", "x.Mot", "x.S19", "x.s37", "x.2.S"}) {
      WriteFile(pName, "S0030000FC\nS10500000102F7\nS104000203F6\n");
    }
    std::filesystem::create_directories("in");
    WriteFile("in/fw.hex", ":0300300002337A1F\n");
    WriteFile("high.bin", std::string(17, '\x01'));
    WriteFile("empty.bin", "");
    WriteFile("in/.bin", "\x11\x22");
    std::filesystem::create_symlink("/dev/full", "full.srec");
  }

  /// Expects a run that prints these confirmations and writes these bytes.
  static void Writes(const std::string& Args, const std::string& Confirmed, const std::string& Output,
                     const std::string& Bytes) {
    Ends(Args, "0 " + Confirmed, Output, "Conditioning done.\n", Bytes);
  }

  /// Expects a run that prints these confirmations and last line, and leaves these bytes in the output file.
  static void Ends(const std::string& Args, const std::string& Begin, const std::string& Output,
                   const std::string& Last, const std::string& Bytes) {
    const std::string Reading = "Reading source file from " + Args.substr(Args.rfind(' ') + 1) + ".\n";
    const std::string Writing = "Writing destination file to " + Output.substr(Output.rfind('/') + 1) + ".\n";
    EXPECT_EQ(Begin + Reading.substr(0, 2047) + Writing + Last, End(Start(Args)));
    EXPECT_EQ(Bytes, ReadFile(Output)) << Args;
    std::filesystem::remove(Output);
  }

  /// Expects a run that fails before it creates the output file.
  static void Fails(const std::string& Args, const std::string& Messages) {
    EXPECT_EQ("1 " + Messages, End(Start(Args))) << Args;
    EXPECT_FALSE(std::filesystem::exists("fw.srec")) << Args;
  }
};

TEST_F(Run, WritesTheOutput) {
  Writes("fw.hex", "", "fw.srec", HEX_OUT);
  Writes(".hex", "", ".hex.srec", HEX_OUT);
  for (const char* pInput : {"x.srec", "x.Mot", "x.S19", "x.s37"}) {
    Writes(pInput, "", "x.srec", MOT_OUT);  // the first run replaces its own input
  }
  Writes("./x.2.S", "", "x.2.srec", MOT_OUT);
  Writes("in/.bin", "", ".bin.srec", "S10500001122C7\r\n" + END_RECORD);
  const std::string BinOut = "S307080000001122BD\r\n" + END_RECORD;
  Writes("-lalign 10 -BASEADDR ' 0x8000000k' in/.bin", "Set line alignment to 16.\n", ".bin.srec", BinOut);
  Writes("empty.bin", "", "empty.srec", END_RECORD);
  Writes("-BlockAlign 8192 fw.hex", "Set block alignment to 33170.\n", "fw.srec", HEX_OUT);
  const std::string Huge = "Set line alignment to 2147483648.\nSet block alignment to 4294967294.\n";
  Writes("-lalign 80000000 -balign fffffffe fw.hex", Huge, "fw.srec", HEX_OUT);
  Writes("-LineAlign 8 -OUT new/sub/x.srec fw.hex", "Set line alignment to 8.\n", "new/sub/x.srec.srec", HEX_OUT);
  Writes("-o '~/fw' fw.hex", "", "home/fw.srec", HEX_OUT);
  Writes("-o a/b/c/d/e/fw fw.hex", "", "a/b/c/d/e/fw.srec", HEX_OUT);
  Writes("-a -10 high.bin", "", "high.srec", "S316FFFFFFF00101010101010101010101010101010101EB\r\n" + END_RECORD);
  Writes(std::string(3000, '/').replace(0, 1, ".") + "fw.hex", "", "fw.srec", HEX_OUT);  // the message is cut
}

TEST_F(Run, SaysWhyItFails) {
  const std::string Failed = "Failed with error code -1\n";
  Ends("-lalign 7 fw.hex", "1 Set line alignment to 7.\n", "fw.srec", Failed, "");
  Ends("-balign 20 fw.hex", "1 Set block alignment to 32.\n", "fw.srec", Failed, "");
  Ends("-balign 2001 fw.hex", "1 Set block alignment to 8193.\n", "fw.srec", Failed, "");
  Fails("missing.hex", "Reading source file from missing.hex.\n" + Failed);
  Fails("in/fw.hex", "Reading source file from in/fw.hex.\n" + Failed);
  const std::string Writing = "Reading source file from fw.hex.\nWriting destination file to ";
  Fails("-o full fw.hex", Writing + "full.srec.\n" + Failed);
  Fails("-o fw.hex/x fw.hex", Writing + "x.srec.\n" + Failed);
  Fails("-a", "Failed to open source file -a.\nUnsupported file extension.\n");
  Fails("fw.txt", "Failed to open source file fw.txt.\nUnsupported file extension.\n");
  Fails("x", "Failed to open source file x.\nUnsupported file extension.\n");
  Fails("''", "Failed to open source file .\n");
  Fails("-lalign 8 -a 0", "Set line alignment to 8.\nFailed to open source file (null).\n");
  Fails("-Out '' fw.hex", "Failed to open destination file .\n");
  for (const char* pArgs : {"fw.hex -a 0", "-b 0 fw.hex", "-a +100 fw.hex", "-a 0x fw.hex", "-balign '' fw.hex"}) {
    Fails(pArgs, "Invalid argument specified.\n");
  }
  Fails("-balign 100 -lalign g1 fw.hex", "Set block alignment to 256.\nInvalid argument specified.\n");
  Fails("-a 0 -a 0 -a fw.hex", "Too many arguments.\n");
}

TEST_F(Run, KeepsMessagesOutOfItsOutput) {
  WriteFile("fw.srec", "old\n");
  std::filesystem::create_symlink("../fw.srec", "in/fw.srec");
  EXPECT_EQ("1 ", RunShell("exec " BLOCKFIT_PROGRAM " -o in/fw fw.hex >>fw.srec"));
  EXPECT_TRUE(ReadFile("fw.srec").starts_with("old\nVORNEX")) << "the old contents are kept";
  EXPECT_EQ("0 ", RunShell("exec " BLOCKFIT_PROGRAM " fw.hex >messages"));
  std::filesystem::create_symlink("/dev/null", "null.srec");
  EXPECT_EQ("0 ", RunShell("exec " BLOCKFIT_PROGRAM " -o null fw.hex >/dev/null"));
  for (const std::string Closed : {">&-", "<&- >&-", ">&- 2>&-", "<&- >&- 2>&-"}) {
    WriteFile("fw.srec", "");
    EXPECT_EQ("0 ", RunShell("exec " BLOCKFIT_PROGRAM " fw.hex " + Closed)) << Closed;
    EXPECT_EQ(HEX_OUT, ReadFile("fw.srec")) << Closed;
  }
}

TEST_F(Run, ContinuesWithoutAReaderAndReportsTheFileSizeLimit) {
  WriteFile("big.bin", std::string(100000, 'x'));
  EXPECT_EQ("1 ", RunShell("ulimit -f 8; exec " BLOCKFIT_PROGRAM " big.bin >/dev/null"));
  EXPECT_EQ("0 ", RunShell("{ sleep 0.1; " BLOCKFIT_PROGRAM " fw.hex; echo $? >status; } | :"));
  EXPECT_EQ("0\n", ReadFile("status")) << "nobody reads the messages";
  EXPECT_EQ(HEX_OUT, ReadFile("fw.srec"));
}

TEST_F(Run, WithoutArgumentsWaitsForAKey) {
  ASSERT_EQ(0, mkfifo("keys", 0600));
  const int hKeys = open("keys", O_RDWR | O_NONBLOCK);
  char Key = 'x';
  EXPECT_EQ(1, write(hKeys, &Key, 1));
  EXPECT_EQ("1 No source file specified.\n\n\nPress any key to exit", End(Start("< keys")));
  EXPECT_EQ(-1, read(hKeys, &Key, 1)) << "the key has been taken";
  close(hKeys);
}

TEST_F(Run, ShowsProgressBeforeASlowInputHasBeenRead) {
  ASSERT_EQ(0, mkfifo("slow.hex", 0600));
  FILE* pOutput = Start("slow.hex");
  std::string Printed;
  while (!Printed.ends_with("Reading source file from slow.hex.\n") && std::feof(pOutput) == 0) {
    Printed += static_cast<char>(std::getc(pOutput));
  }
  std::ofstream Pipe("slow.hex");
  Pipe << ":03003000023" << std::flush;
  usleep(10000);  // so that the rest arrives in a separate read, unless the machine is too busy
  Pipe << "37A1E" << std::flush;
  Pipe.close();
  EXPECT_EQ('0', End(pOutput, Printed)[0]);
  EXPECT_EQ(HEX_OUT, ReadFile("slow.srec"));
}

}  // namespace
