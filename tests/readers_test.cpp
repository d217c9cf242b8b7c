// The readers: what they accept and refuse, their window, and mutated files against independent decoders.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <random>
#include <thread>

#include "readers/bin_reader.h"
#include "readers/hex_reader.h"
#include "readers/mot_reader.h"
#include "support/faults.h"
#include "support/program.h"
#include "support/reference_decoder.h"

namespace {

enum Format { BIN, HEX, MOT };

struct ReadResult {
  int Status;
  std::string Error;
  ByteMap Bytes;
};

ReadResult ReadPath(Format Kind, const std::string& Path, uint32_t ErrorSize = 256) {
  MemImage* pImage = MEMIMG_Create();
  std::array<char, 256> acError{};
  const int Status = Kind == HEX   ? HEX_Read(pImage, Path.c_str(), acError.data(), ErrorSize)
                     : Kind == MOT ? MOT_Read(pImage, Path.c_str(), acError.data(), ErrorSize)
                                   : BIN_Read(pImage, Path.c_str(), acError.data(), ErrorSize, 0x08000000);
  EXPECT_EQ(0U, pImage->NumChanges);
  ReadResult Result{Status, acError.data(), BytesOf(pImage)};
  MEMIMG_Free(pImage);
  return Result;
}

/// Reads a text from a file in memory.
ReadResult ReadText(Format Kind, const std::string& Text) {
  const int hFile = memfd_create("input", 0);
  EXPECT_EQ(static_cast<ssize_t>(Text.size()), write(hFile, Text.data(), Text.size()));
  ReadResult Result = ReadPath(Kind, "/proc/self/fd/" + std::to_string(hFile));
  close(hFile);
  return Result;
}

struct TextCase {
  std::string Text;
  int Status;
  const char* pError;
  ByteMap Bytes;
};

void ExpectReads(Format Kind, const std::vector<TextCase>& Cases) {
  for (const TextCase& Case : Cases) {
    const ReadResult Result = ReadText(Kind, Case.Text);
    EXPECT_EQ(Case.Status, Result.Status) << Case.Text;
    EXPECT_EQ(Case.pError, Result.Error) << Case.Text;
    if (Case.Status == 0) {
      EXPECT_EQ(Case.Bytes, Result.Bytes) << Case.Text;
      EXPECT_EQ(Case.Bytes, (Kind == HEX ? DecodeIntelHex : DecodeSRecords)(Case.Text)) << Case.Text;
    } else {
      EXPECT_EQ(std::nullopt, (Kind == HEX ? DecodeIntelHex : DecodeSRecords)(Case.Text)) << Case.Text;
    }
  }
}

const std::string NUL(1, '\0');

TEST(HexReader, ReadsToTheLetter) {
  const ByteMap AtOffset{{0x30, 2}, {0x31, 0x33}, {0x32, 0x7A}};
  const auto Moved = [&AtOffset](uint64_t By) {
    ByteMap Map;
    for (const auto& [Addr, Byte] : AtOffset) {
      Map[Addr + By] = Byte;
    }
    return Map;
  };
  const std::string Rec = ":0300300002337A1E";
  const std::string Wrong = ":0300300002337A1F";
  const std::string DigitText = "Expected Hex character : 0..9, A..F";
  const char* const pChecksum1 = "Error in line 1: Checksum error !\nExpected: 0x1E, found: 0x1F";
  const char* const pChecksum3 = "Error in line 3: Checksum error !\nExpected: 0x1E, found: 0x1F";
  const char* const pDigit1 = "Error in line 1: Expected Hex character : 0..9, A..F";
  const char* const pCrLf = "Error in line 1: Expected CR or LF";
  const std::string End = ":00000001FF\n";
  ExpectReads(HEX,
              {{Rec, 0, "", AtOffset},
               {":0300300002337a1e\r\n" + End, 0, "", AtOffset},
               {":020000040800F2\n" + Rec, 0, "", Moved(0x08000000)},
               {":02000004FFFFFC\n" + Rec, 0, "", Moved(0xFFFF0000)},
               {":020000FF0800F7\n" + Rec, 0, "", Moved(0x08000000)},
               {":020000021200EA\n" + Rec, 0, "", Moved(0x12000)},
               {":03000002120055"
                "94\n" +
                    Rec,
                0, "", Moved(0x12000)},
               {":020000040800F2\n:020000021200EA\n" + Rec, 0, "", Moved(0x12000)},
               {":04FFFE00010203"
                "04F5\n",
                0,
                "",
                {{0xFFFE, 1}, {0xFFFF, 2}, {0x10000, 3}, {0x10001, 4}}},
               {":02000004FFFFFC\n:02FFFF00AABB9B\n", 0, "", {{0xFFFFFFFF, 0xAA}, {0x100000000, 0xBB}}},
               {":02000002FFFFFE\n:0104000011EA\n", 0, "", {{0x1003F0, 0x11}}},
               {End + " \t\r\n\n" + Rec + "\n", 0, "", AtOffset},
               {":00003000"
                "D0\n:0400000500000000F7\n:0100000311EB\n:00000042BE\n" +
                    Rec,
                0, "", AtOffset},
               {Rec + "\n\x1A" + Wrong, 0, "", AtOffset},
               {Rec + "\x1A" + Wrong, 0, "", AtOffset},
               {Rec + NUL + Wrong, 0, "", AtOffset},
               {Rec + "\n" + NUL + Wrong, 0, "", AtOffset},
               {"", -4, "Error in line 1: Not a hex file", {}},
               {"\n" + Rec, -4, "Error in line 1: Not a hex file", {}},
               {"\xEF\xBB\xBF" + Rec, -4, "Error in line 1: Not a hex file", {}},
               {Wrong, -5, pChecksum1, {}},
               {Rec + "\n:00000001FF\r\n" + Wrong, -5, pChecksum3, {}},
               {Rec + "\r\n\r\n" + Wrong, -5, "Error in line 4: Checksum error !\nExpected: 0x1E, found: 0x1F", {}},
               {Rec + "\n\n\n" + Wrong, -5, pChecksum3, {}},
               {":00000001FE", -5, "Error in line 1: Checksum error !\nExpected: 0xFF, found: 0xFE", {}},
               {Rec + " \n", -5, pCrLf, {}},
               {Rec + Rec, -5, pCrLf, {}},
               {Rec + "\n\n;", -5, "Error in line 2: Unexpected character (Expected: :, Found: ;)", {}},
               {Rec + "\n" + Rec, -5, "Error in line 2: Areas overlap", {}},
               {":0300300002337A\n1E", -5, pDigit1, {}},
               {":03003000 02337A1E", -5, pDigit1, {}},
               {":G3", -5, pDigit1, {}},
               {":0G", -5, pDigit1, {}},
               {":", -5, pDigit1, {}},
               {":0300300002337A1" + NUL, -5, pDigit1, {}},
               {":0100000408F3\n", -5, "Error in line 1: Record too short", {}},
               {":00000002FE\n", -5, "Error in line 1: Record too short", {}},
               {":010000FF08F8\n", -5, "Error in line 1: Record too short", {}}});
}

TEST(MotReader, ReadsToTheLetter) {
  const ByteMap At0{{0, 1}, {1, 2}, {2, 3}};
  const std::string Rec = "S1060000010203F3";
  const std::string Wrong = "S1060000010203F4";
  const char* const pDigit1 = "Error in line 1: Expected Hex character : 0..9, A..F";
  ExpectReads(MOT,
              {{Rec, 0, "", At0},
               {"S2051234565509", 0, "", {{0x123456, 0x55}}},
               {"S30708000000aabb8b\n", 0, "", {{0x08000000, 0xAA}, {0x08000001, 0xBB}}},
               {"S307FFFFFFFFAABB97\n", 0, "", {{0xFFFFFFFF, 0xAA}, {0x100000000, 0xBB}}},
               {"S \t\r\n1060000010203F3", 0, "", At0},
               {"S0030000FC" + Rec + " S9030000FC\x1A" + Wrong, 0, "", At0},
               {"S4030000FC\nS5030001FB\nS6040000"
                "01FA\nS70500000000FA\nS804000000FB\nS000FF\nS001FE\n" +
                    Rec,
                0, "", At0},
               {"S1031234B6\n" + Rec, 0, "", At0},
               {Rec + NUL + Wrong, 0, "", At0},
               {Rec + "\n" + NUL + Wrong, 0, "", At0},
               {"", -4, "Error in line 1: Not a mot file", {}},
               {"s1060000010203F3", -4, "Error in line 1: Not a mot file", {}},
               {" " + Rec, -4, "Error in line 1: Not a mot file", {}},
               {Wrong, -5, "Error in line 1: Checksum error! Checksum in file: 0xF4, checksum calculated 0xF3", {}},
               {"S900FE", -5, "Error in line 1: Checksum error! Checksum in file: 0xFE, checksum calculated 0xFF", {}},
               {Rec + "\r\rS;", -5, "Error in line 1: Unexpected character", {}},
               {Rec + "\r\n\n\nx", -5, "Error in line 4: Unexpected character", {}},
               {Rec + "\nS\n\nA", -5, "Error in line 4: Unexpected character", {}},
               {"S", -5, "Error in line 1: Unexpected character", {}},
               {"S1", -5, pDigit1, {}},
               {"S1060000 010203F3", -5, pDigit1, {}},
               {"S1060000010203F", -5, pDigit1, {}},
               {"S10600000102G3F3", -5, pDigit1, {}},
               {Rec + "\n" + Rec, -5, "Error in line 2: Areas overlap", {}},
               {"S10200FD", -5, "Error in line 1: Record too short", {}},
               {"S100FF", -5, "Error in line 1: Record too short", {}},
               {"S2030000FC", -5, "Error in line 1: Record too short", {}},
               {"S304000000FB", -5, "Error in line 1: Record too short", {}}});
}

TEST(Readers, SayWhyAFileCannotBeOpened) {
  const TempDir Dir;
  const std::string Missing = Dir.Path(std::string(150, 'm'));
  const std::string Text = "Could not open file [" + Missing + "]\nFile not found!";
  EXPECT_EQ(Text, ReadPath(BIN, Missing).Error);
  EXPECT_EQ(Text.substr(0, 127), ReadPath(HEX, Missing).Error);
  EXPECT_EQ(Text.substr(0, 127), ReadPath(MOT, Missing).Error);
  EXPECT_EQ("Could", ReadPath(MOT, Missing, 6).Error);
  EXPECT_EQ("Could not open file [a\n]\nFile not found!", ReadPath(HEX, "a\n").Error);
  Dir.Write("f", "");
  EXPECT_EQ("Could not open file [" + Dir.Path("f/x") + "]\nInvalid file handle!",
            ReadPath(BIN, Dir.Path("f/x")).Error);
  chmod(Dir.Path("f").c_str(), 0);
  if (geteuid() != 0) {
    EXPECT_EQ("Could not open file [" + Dir.Path("f") + "]\nAccess is denied!", ReadPath(BIN, Dir.Path("f")).Error);
  }
  MemImage* pImage = MEMIMG_Create();
  EXPECT_EQ(READER_ERR_OPEN, HEX_ReadEx(pImage, Missing.c_str(), nullptr, nullptr));
  MEMIMG_Free(pImage);
}

TEST(Readers, FailWhenTheFileCannotBeReadOrKept) {
  struct {
    Format Kind;
    FaultKind What;
    int First;
    int Status;
    const char* pError;
  } const aCase[] = {{BIN, FAULT_READ, 1, -1, "Could not read file."},
                     {HEX, FAULT_READ, 1, -1, "Error in line 1: Could not read file."},
                     {MOT, FAULT_READ, 2, -1, "Error in line 1: Could not read file."},
                     {BIN, FAULT_ALLOC, 1, -1, "Could not read file. Out of memory."},
                     {BIN, FAULT_ALLOC, 2, -1, "Could not read file. Out of memory."},
                     {HEX, FAULT_ALLOC, 1, -3, "Error in line 1: malloc Problem"},
                     {MOT, FAULT_ALLOC, 1, -3, "Error in line 1: Malloc problem"},
                     {HEX, FAULT_ALLOC, 2, -3, "Error in line 2: Out of memory"},
                     {MOT, FAULT_ALLOC, 2, -3, "Error in line 2: Out of memory"}};
  for (const auto& Case : aCase) {
    const TempDir Dir;
    const std::string Path = Dir.Path("f");
    Dir.Write("f", Case.Kind == HEX ? ":00000001FF\n:0300300002337A1E" : "S9030000FC\nS1060000010203F3");
    FAULT_Arm(Case.What, {.First = Case.First, .Error = EIO});
    MemImage Img{};
    Img.CursorIndex = -1;
    std::array<char, 256> acError{};
    const int Status = Case.Kind == HEX   ? HEX_Read(&Img, Path.c_str(), acError.data(), 256)
                       : Case.Kind == MOT ? MOT_Read(&Img, Path.c_str(), acError.data(), 256)
                                          : BIN_Read(&Img, Path.c_str(), acError.data(), 256, 0);
    EXPECT_TRUE(FAULT_Disarm());
    EXPECT_EQ(Case.Status, Status);
    EXPECT_STREQ(Case.pError, acError.data());
    SYS_DestroyMutex(&Img.hLock);
    POOL_Clear(&Img.Pool);
  }
}

std::string HexByte(unsigned Value) {
  std::array<char, 3> acText{};
  snprintf(acText.data(), acText.size(), "%02X", Value & 0xFF);
  return acText.data();
}

/// One data record of either format, as long as records get, with its line end.
std::string LongRecord(Format Kind, uint32_t Addr, unsigned NumData) {
  std::string Body = Kind == HEX ? HexByte(NumData) + HexByte(Addr >> 8) + HexByte(Addr) + "00"
                                 : HexByte(NumData + 3) + HexByte(Addr >> 8) + HexByte(Addr);
  for (unsigned i = 0; i < NumData; ++i) {
    Body += HexByte(Addr * 7 + i);
  }
  unsigned Sum = 0;
  for (size_t i = 0; i < Body.size(); i += 2) {
    Sum += static_cast<unsigned>(std::stoul(Body.substr(i, 2), nullptr, 16));
  }
  return (Kind == HEX ? ":" + Body + HexByte(0 - Sum) : "S1" + Body + HexByte(~Sum)) + "\r\n";
}

/// Records and white space laid across the window's edge so that it falls on every character of a record, a line end
/// and the white space around; the same bytes through a pipe that delivers odd pieces.
TEST(Readers, WindowEdgesDoNotShow) {
  std::mt19937 Random(5);
  for (const Format Kind : {HEX, MOT}) {
    const unsigned MaxData = Kind == HEX ? 255 : 252;
    const std::string Head = LongRecord(Kind, 0, 16);
    for (size_t Shift = 0; Shift < 1100; Shift += Shift < 30 || Shift > 970 ? 1 : 17) {
      std::string Text = Head + std::string(READ_WINDOW_SIZE - 1060 - Head.size() + Shift, Shift % 2 == 0 ? '\n' : ' ');
      Text += LongRecord(Kind, 0x1000, MaxData) + LongRecord(Kind, 0x2000, MaxData);
      if (Kind == MOT) {
        Text +=
            "S" + std::string(Shift % 7 == 0 ? 60000 - Shift : 5, ' ') + LongRecord(Kind, 0x3000, MaxData).substr(1);
      }
      Text += std::string(Shift % 5 == 0 ? 3 * READ_WINDOW_SIZE : 1, '\n') + LongRecord(Kind, 0x4000, 4);
      const auto Expected = (Kind == HEX ? DecodeIntelHex : DecodeSRecords)(Text);
      ASSERT_TRUE(Expected.has_value());
      const ReadResult Result = ReadText(Kind, Text);
      ASSERT_EQ("", Result.Error) << Shift;
      ASSERT_TRUE(*Expected == Result.Bytes) << Shift;
      if (Shift % 50 != 0) {
        continue;
      }
      const TempDir Dir;
      const std::string Pipe = Dir.Path("pipe");
      ASSERT_EQ(0, mkfifo(Pipe.c_str(), 0600));
      std::thread Writer([&] {
        const int hPipe = open(Pipe.c_str(), O_WRONLY);
        for (size_t Pos = 0; Pos < Text.size();) {
          const ssize_t Num = write(hPipe, Text.data() + Pos, std::min<size_t>(Random() % 4999 + 1, Text.size() - Pos));
          Pos += static_cast<size_t>(std::max<ssize_t>(Num, 0));
        }
        close(hPipe);
      });
      const ReadResult FromPipe = ReadPath(Kind, Pipe);
      Writer.join();
      ASSERT_EQ("", FromPipe.Error) << Shift;
      ASSERT_TRUE(*Expected == FromPipe.Bytes) << Shift;
    }
  }
  // An error behind several windows still has its line.
  const ReadResult Late = ReadText(MOT, "S9030000FC" + std::string(200000, '\n') + "x");
  EXPECT_EQ("Error in line 200001: Unexpected character", Late.Error);
}

/// A valid file with any one character changed, removed or added is read to what its text now says, or refused.
TEST(Readers, MutatedFilesAreReadAsTheyStandOrRefused) {
  const std::string Hex =
      ":020000040800F2\r\n:0300300002337A1E\r\n:020000021200EA\n:04FFFE0001020304F5\n\n:00000001FF\n";
  const std::string Mot = "S0030000FC\r\nS1060000010203F3\nS2051234565509\r\n\nS30708000000AABB8B\nS9030000FC\n";
  const std::string Characters = NUL + "\x1A\t\n\r 09AFafGg:;S137\x80\xFF/@`";
  for (const Format Kind : {HEX, MOT}) {
    const std::string& Valid = Kind == HEX ? Hex : Mot;
    for (size_t Pos = 0; Pos <= Valid.size(); ++Pos) {
      for (size_t i = 0; i <= 2 * Characters.size(); ++i) {
        std::string Text = Valid;
        if (i == 2 * Characters.size()) {
          Text.erase(Pos, 1);
        } else {
          Text.replace(Pos, i % 2, 1, Characters[i / 2]);
        }
        const ReadResult Result = ReadText(Kind, Text);
        const auto Expected = (Kind == HEX ? DecodeIntelHex : DecodeSRecords)(Text);
        ASSERT_EQ(Expected.has_value(), Result.Status == 0) << Text << Result.Error;
        ASSERT_EQ(Result.Status == 0, Result.Error.empty());
        ASSERT_TRUE(!Expected || *Expected == Result.Bytes) << Text;
      }
    }
  }
}

TEST(BinReader, StoresTheWholeFile) {
  EXPECT_EQ(ByteMap{}, ReadText(BIN, "").Bytes);
  std::string Bytes(70000, '\0');
  std::mt19937 Random(6);
  std::generate(Bytes.begin(), Bytes.end(), [&Random] { return static_cast<char>(Random()); });
  ByteMap Expected;
  AddBytes(&Expected, 0x08000000, {Bytes.begin(), Bytes.end()});
  EXPECT_TRUE(Expected == ReadText(BIN, Bytes).Bytes);
}

}  // namespace
