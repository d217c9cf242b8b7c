// The program as a user runs it: exact text, exact exit status, exact bytes of the output.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "support/byte_map.h"
#include "support/program.h"

namespace {

constexpr const char* END = "S9030000FC\r\n";

const std::string HEX_INPUT = ":0300300002337A1E\n:00000001FF\n";
const std::string HEX_OUTPUT = std::string("S106003002337A1A\r\n") + END;
const std::string BIN_INPUT = "\x11\x22";
const std::string BIN_OUTPUT_AT_0 = std::string("S10500001122C7\r\n") + END;
const std::string BIN_OUTPUT_AT_8000000 = std::string("S307080000001122BD\r\n") + END;

std::string Done(const std::string& Input, const std::string& Output) {
  return "Reading source file from " + Input + ".\nWriting destination file to " + Output + ".\nConditioning done.\n";
}

struct RunCase {
  std::vector<std::string> Args;
  int Status;
  std::string Messages;
  std::string OutputName;  ///< Empty: no file comes into being.
  std::string OutputBytes;
};

void PrintTo(const RunCase& Case, std::ostream* pStream) {
  for (const std::string& Arg : Case.Args) {
    *pStream << '[' << Arg << "] ";
  }
}

class RunTable : public testing::TestWithParam<RunCase> {};

TEST_P(RunTable, PrintsAndWritesExactly) {
  const RunCase& Case = GetParam();
  const TempDir Dir;
  Dir.Write("fw.hex", HEX_INPUT);
  Dir.Write("FW.Rev2.S19", "S1060000010203F3\r\n");
  Dir.Write("in/fw.bin", BIN_INPUT);
  Dir.Write("fw.txt", HEX_INPUT);
  Dir.Write("bad.hex", ":0300300002337A1F\n");
  Dir.Write("high.bin", std::string(33, 'x'));
  Dir.Write("-a", "");
  const auto Entries = [&] { return std::distance(std::filesystem::recursive_directory_iterator(Dir.Path("")), {}); };
  const auto NumBefore = Entries();

  Program Run(Dir, Case.Args);
  EXPECT_EQ(Case.Status, Run.Finish());
  EXPECT_EQ(Case.Messages, Run.Messages());
  if (Case.OutputName.empty()) {
    EXPECT_EQ(NumBefore, Entries());
  } else {
    EXPECT_EQ(Case.OutputBytes, Dir.Read(Case.OutputName).value_or("no file"));
  }
}

const std::string INVALID = "Invalid argument specified.\n";
const std::string FAILED = "Failed with error code -1\n";
const std::string FAILED_WRITE = "Reading source file from fw.hex.\nWriting destination file to fw.srec.\n" + FAILED;

INSTANTIATE_TEST_SUITE_P(
    Run, RunTable,
    testing::Values(
        RunCase{{"fw.hex"}, 0, Done("fw.hex", "fw.srec"), "fw.srec", HEX_OUTPUT},
        RunCase{{"./FW.Rev2.S19"},
                0,
                Done("./FW.Rev2.S19", "FW.Rev2.srec"),
                "FW.Rev2.srec",
                std::string("S1060000010203F3\r\n") + END},
        RunCase{{"in/fw.bin"}, 0, Done("in/fw.bin", "fw.srec"), "fw.srec", BIN_OUTPUT_AT_0},
        RunCase{{"-a", "8000000", "in/fw.bin"}, 0, Done("in/fw.bin", "fw.srec"), "fw.srec", BIN_OUTPUT_AT_8000000},
        RunCase{{"-lalign", "10", "-BASEADDR", " 0x8000000k", "in/fw.bin"},
                0,
                "Set line alignment to 16.\n" + Done("in/fw.bin", "fw.srec"),
                "fw.srec",
                BIN_OUTPUT_AT_8000000},
        RunCase{{"-BlockAlign", "8192", "fw.hex"},
                0,
                "Set block alignment to 33170.\n" + Done("fw.hex", "fw.srec"),
                "fw.srec",
                HEX_OUTPUT},
        RunCase{{"-balign", "100", "-blockalign", "2000", "fw.hex"},
                0,
                "Set block alignment to 256.\nSet block alignment to 8192.\n" + Done("fw.hex", "fw.srec"),
                "fw.srec",
                HEX_OUTPUT},
        RunCase{{"-lalign", "80000000", "-balign", "fffffffe", "fw.hex"},
                0,
                "Set line alignment to 2147483648.\nSet block alignment to 4294967294.\n" + Done("fw.hex", "fw.srec"),
                "fw.srec",
                HEX_OUTPUT},
        RunCase{
            {"-OUT", "new/sub/x.srec", "fw.hex"}, 0, Done("fw.hex", "x.srec.srec"), "new/sub/x.srec.srec", HEX_OUTPUT},
        RunCase{{"-o", "-a", "fw.hex"}, 0, Done("fw.hex", "-a.srec"), "-a.srec", HEX_OUTPUT},
        RunCase{{"-a", "-10", "high.bin"},
                1,
                "Reading source file from high.bin.\nWriting destination file to high.srec.\n" + FAILED,
                "high.srec",
                ""},
        RunCase{{"-lalign", "7", "fw.hex"}, 1, "Set line alignment to 7.\n" + FAILED_WRITE, "fw.srec", ""},
        RunCase{{"-balign", "20", "fw.hex"}, 1, "Set block alignment to 32.\n" + FAILED_WRITE, "fw.srec", ""},
        RunCase{{"-balign", "2001", "fw.hex"}, 1, "Set block alignment to 8193.\n" + FAILED_WRITE, "fw.srec", ""},
        RunCase{{"-a"}, 1, "Failed to open source file -a.\nUnsupported file extension.\n", "", ""},
        RunCase{{"fw.txt"}, 1, "Failed to open source file fw.txt.\nUnsupported file extension.\n", "", ""},
        RunCase{{""}, 1, "Failed to open source file .\n", "", ""},
        RunCase{{"-a", "0"}, 1, "Failed to open source file (null).\n", "", ""},
        RunCase{
            {"-lalign", "8", "-a", "0"}, 1, "Set line alignment to 8.\nFailed to open source file (null).\n", "", ""},
        RunCase{{"missing.hex"}, 1, "Reading source file from missing.hex.\n" + FAILED, "", ""},
        RunCase{{"bad.hex"}, 1, "Reading source file from bad.hex.\n" + FAILED, "", ""},
        RunCase{{"-Out", "", "fw.hex"}, 1, "Failed to open destination file .\n", "", ""},
        RunCase{{"fw.hex", "-a", "0"}, 1, INVALID, "", ""}, RunCase{{"-b", "0", "fw.hex"}, 1, INVALID, "", ""},
        RunCase{{"-a", "+100", "fw.hex"}, 1, INVALID, "", ""}, RunCase{{"-a", "0x", "fw.hex"}, 1, INVALID, "", ""},
        RunCase{{"-balign", "", "fw.hex"}, 1, INVALID, "", ""},
        RunCase{{"-balign", "100", "-lalign", "g1", "fw.hex"}, 1, "Set block alignment to 256.\n" + INVALID, "", ""},
        RunCase{{"-a", "0", "-a", "0", "-a", "0", "fw.hex"}, 1, "Too many arguments.\n", "", ""}));

TEST(Run, WithoutArgumentsWaitsForAKey) {
  const TempDir Dir;
  Program Run(Dir, {});
  EXPECT_TRUE(Run.WaitForOutput("Press any key to exit"));
  Run.SendInput("x");
  EXPECT_EQ(1, Run.Finish());
  EXPECT_EQ("No source file specified.\n\n\nPress any key to exit", Run.Messages());
}

TEST(Run, ShowsProgressBeforeASlowInputHasBeenRead) {
  const TempDir Dir;
  ASSERT_EQ(0, mkfifo(Dir.Path("slow.bin").c_str(), 0600));
  Program Run(Dir, {"slow.bin"});
  ASSERT_TRUE(Run.WaitForOutput("Reading source file from slow.bin.\n"));
  std::ofstream Pipe(Dir.Path("slow.bin"));
  Pipe << '\x11' << std::flush;
  usleep(10000);  // so that the second byte comes in a read of its own, if the machine is not too busy
  Pipe << '\x22' << std::flush;
  Pipe.close();
  EXPECT_EQ(0, Run.Finish());
  EXPECT_EQ(BIN_OUTPUT_AT_0, Dir.Read("slow.srec"));
}

TEST(Run, CutsTheMessageOfALongPathAndGoesOn) {
  const TempDir Dir;
  Dir.Write("fw.hex", HEX_INPUT);
  std::string Path;
  while (Path.size() < 3000) {
    Path += "./";
  }
  Path += "fw.hex";
  Program Run(Dir, {Path});
  EXPECT_EQ(0, Run.Finish());
  const std::string Cut = ("Reading source file from " + Path).substr(0, 2047);
  EXPECT_EQ(Cut + "Writing destination file to fw.srec.\nConditioning done.\n", Run.Messages());
  EXPECT_EQ(HEX_OUTPUT, Dir.Read("fw.srec"));
}

TEST(Run, FailsWhenTheOutputCannotBeCreatedOrWritten) {
  const TempDir Dir;
  Dir.Write("fw.hex", HEX_INPUT);
  std::filesystem::create_directory(Dir.Path("dir.srec"));
  std::filesystem::create_symlink("/dev/full", Dir.Path("full.srec"));
  for (const char* pBase : {"dir", "fw.hex/x", "full"}) {
    Program Run(Dir, {"-o", pBase, "fw.hex"});
    EXPECT_EQ(1, Run.Finish()) << pBase;
    EXPECT_TRUE(Run.Messages().ends_with(".srec.\nFailed with error code -1\n")) << Run.Messages();
  }
}

TEST(Run, WritesToTheHomeDirectory) {
  const TempDir Dir;
  Dir.Write("fw.hex", HEX_INPUT);
  Program Run(Dir, {"-o", "~/fw", "fw.hex"}, {"HOME=" + Dir.Path("home")});
  EXPECT_EQ(0, Run.Finish());
  EXPECT_EQ(HEX_OUTPUT, Dir.Read("home/fw.srec"));
}

TEST(Run, ReplacesAnInputOfTheOutputsName) {
  const TempDir Dir;
  Dir.Write("fw.srec", "S0030000FC\nS1060000010203F3\nS1060003040506E7\n");
  Program Run(Dir, {"fw.srec"});
  EXPECT_EQ(0, Run.Finish());
  EXPECT_EQ(std::string("S1090000010203040506E1\r\n") + END, Dir.Read("fw.srec"));
}

}  // namespace
