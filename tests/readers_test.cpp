// The readers: what they accept and refuse, their window, and mutated files compared with independent decoders.
#include <sys/mman.h>
#include <unistd.h>

#include "readers/bin_reader.h"
#include "readers/hex_reader.h"
#include "readers/mot_reader.h"
#include "support/harness.h"
#include "support/reference_decoder.h"

namespace {

using ReadFn = int (*)(MemImage* pImage, const char* pPath, char* pErrText, uint32_t ErrTextSize);

int ReadBin(MemImage* pImage, const char* pPath, char* pErrText, uint32_t ErrTextSize) {
  return BIN_Read(pImage, pPath, pErrText, ErrTextSize, 0x30);
}

/// Reads a file, with a fault if one is given. Returns the runs, or the status and the error.
std::string ReadPath(ReadFn pfRead, const std::string& Path, FaultKind What = FAULT_NONE, const Fault& How = {}) {
  const auto pImage = NewImage();
  char acError[256] = "";
  FAULT_Arm(What, How);
  const int Status = pfRead(pImage.get(), Path.c_str(), acError, sizeof(acError));
  FAULT_Disarm();
  EXPECT_EQ(0U, pImage->NumChanges);
  EXPECT_EQ(1, MEMIMG_Unlock(pImage.get())) << "the lock is free again";
  EXPECT_EQ(Status == 0, acError[0] == '\0');
  return Status == 0 ? RunsOf(BytesOf(pImage.get())) : std::to_string(Status) + " " + acError;
}

/// Reads a text from a file in memory, first normally and then with short reads, and compares the result with that of
/// an independent decoder.
std::string ReadText(ReadFn pfRead, const std::string& Text) {
  const int hFile = memfd_create("input", 0);
  EXPECT_EQ(static_cast<ssize_t>(Text.size()), write(hFile, Text.data(), Text.size()));
  const std::string Path = "/proc/self/fd/" + std::to_string(hFile);
  const std::string Result = ReadPath(pfRead, Path);
  EXPECT_EQ(Result, ReadPath(pfRead, Path, FAULT_READ, {.Error = 0}));
  close(hFile);
  const auto Expected = pfRead == HEX_Read ? DecodeIntelHex(Text) : DecodeSRecords(Text);
  EXPECT_TRUE(Expected ? Result == RunsOf(*Expected) : Result.starts_with('-')) << Text << Result;
  return Result;
}

const std::string AT1 = "-5 Error in line 1: ";
const std::string DIGIT = AT1 + "Expected Hex character : 0..9, A..F";

TEST(Readers, ReadIntelHexToTheLetter) {
  const std::string Rec = ":03003000616263A7";
  const std::string Bad = ":03003000616263A8";
  const std::string IsBad = "Checksum error !\nExpected: 0xA7, found: 0xA8";
  const std::pair<std::string, std::string> aCase[] = {
      {":020000FF0800F7\n" + Rec, " 8000030=abc"},
      {":02000004FFFFFC\n:02FFFF0061623D\n", " ffffffff=ab"},
      {":020000040800F2\n:0300000212005594\n" + Rec, " 12030=abc"},
      {":00000001FF\n \t\r\n\n" + Rec, " 30=abc"},
      {":00003000D0\n:0400000500000000F7\n:0100000311EB\n:00000042BE\n" + Rec, " 30=abc"},
      {"", "-4 Error in line 1: Not a hex file"},
      {Bad, AT1 + IsBad},
      {Rec + "\r\n:00000001FF\n\n" + Bad, "-5 Error in line 3: " + IsBad},
      {Rec + "\r\n\r\n" + Bad, "-5 Error in line 4: " + IsBad},
      {Rec + " \n", AT1 + "Expected CR or LF"},
      {Rec + "\n\n;", "-5 Error in line 2: Unexpected character (Expected: :, Found: ;)"},
      {Rec + "\n" + Rec, "-5 Error in line 2: Areas overlap"},
      {":0G", DIGIT},
      {MakeRecord(true, 0, std::string(30, 'a')).replace(12, 1, "g"), DIGIT},
      {":0100000408F3", AT1 + "Record too short"}};
  for (const auto& [Text, Result] : aCase) {
    EXPECT_EQ(Result, ReadText(HEX_Read, Text)) << Text.substr(0, 99);
  }
}

TEST(Readers, ReadSRecordsToTheLetter) {
  const std::string Rec = "S1060030616263A3";
  const std::string Bad = "S1060030616263A4";
  const std::string IsBad = AT1 + "Checksum error! Checksum in file: ";
  const std::string NoData = "S4030000FC\nS5030001FB\nS604000001FA\nS70500000000FA\nS804000000FB\nS000FF\nS001FE\n";
  const std::pair<std::string, std::string> aCase[] = {
      {"S20512345661FD", " 123456=a"},
      {"S307FFFFFFFF616239", " ffffffff=ab"},
      {NoData + Rec + " S9030000FC\x1A" + Bad, " 30=abc"},
      {"S1031234B6S \t\r\n1060030616263A3", " 30=abc"},
      {"", "-4 Error in line 1: Not a mot file"},
      {Bad, IsBad + "0xA4, checksum calculated 0xA3"},
      {"S900FE", IsBad + "0xFE, checksum calculated 0xFF"},
      {Rec + "\r\rS;", AT1 + "Unexpected character"},
      {Rec + "\r\nS\n\nA", "-5 Error in line 4: Unexpected character"},
      {Rec + std::string(200000, '\n') + "x", "-5 Error in line 200001: Unexpected character"},
      {"S1060000 010203F3", DIGIT},
      {MakeRecord(false, 0, std::string(30, 'a')).replace(12, 1, "g"), DIGIT},
      {Rec + "\n" + Rec, "-5 Error in line 2: Areas overlap"},
      {"S10200FD", AT1 + "Record too short"},
      {"S304000000FB", AT1 + "Record too short"}};
  for (const auto& [Text, Result] : aCase) {
    EXPECT_EQ(Result, ReadText(MOT_Read, Text)) << Text.substr(0, 99);
  }
}

TEST(Readers, SayWhyAFileCannotBeOpenedReadOrKept) {
  for (const ReadFn pfRead : {ReadBin, HEX_Read, MOT_Read}) {
    const auto ReasonOf = [pfRead](int Error) {
      return ReadPath(pfRead, "f", FAULT_OPEN, {.Error = Error}).substr(27);
    };
    EXPECT_EQ("-1 Could not open file [f]\nFile not found!", ReadPath(pfRead, "f"));
    EXPECT_EQ("Path not found!", ReasonOf(3));
    EXPECT_EQ("Access is denied!", ReasonOf(EACCES));
    EXPECT_EQ("Invalid drive!", ReasonOf(15));
    EXPECT_EQ("The filename syntax is incorrect!", ReasonOf(123));
    EXPECT_EQ("Invalid file handle!", ReasonOf(ENOTDIR));
    EXPECT_EQ(pfRead == ReadBin ? 258 : 130, ReadPath(pfRead, std::string(300, 'm')).size()) << "cut";
  }
  WriteFile("hex", ":00000001FF\n:03003000616263A7");
  WriteFile("mot", "S9030000FC\nS1060030616263A3");
  EXPECT_EQ("-1 Could not read file.", ReadPath(ReadBin, "mot", FAULT_READ, {.First = 2}));
  EXPECT_EQ("-1 Could not read file. Out of memory.", ReadPath(ReadBin, "mot", FAULT_ALLOC));
  EXPECT_EQ("-1 Could not read file. Out of memory.", ReadPath(ReadBin, "mot", FAULT_ALLOC, {.First = 2}));
  EXPECT_EQ("-3 Error in line 1: malloc Problem", ReadPath(HEX_Read, "hex", FAULT_ALLOC));
  EXPECT_EQ("-3 Error in line 2: Out of memory", ReadPath(HEX_Read, "hex", FAULT_ALLOC, {.First = 2}));
  EXPECT_EQ("-1 Error in line 1: Could not read file.", ReadPath(MOT_Read, "mot", FAULT_READ, {.First = 2}));
  EXPECT_EQ("-3 Error in line 1: Malloc problem", ReadPath(MOT_Read, "mot", FAULT_ALLOC));
}

/// Records and white space are placed so that the window's edge falls on every character of a record, of its line end
/// and of the white space around it.
TEST(Readers, AreNotAffectedByTheEdgeOfTheirWindow) {
  std::string Data(255, '\0');
  std::iota(Data.begin(), Data.end(), '\0');
  for (const ReadFn pfRead : {HEX_Read, MOT_Read}) {
    const bool IsHex = pfRead == HEX_Read;
    const auto Record = [&](unsigned Addr) { return MakeRecord(IsHex, Addr, Data.substr(IsHex ? 0 : 3)) + "\r\n"; };
    for (size_t Shift = 0; Shift < 1100; Shift += Shift < 30 || Shift > 970 ? 1 : 17) {
      std::string Text = Record(0);
      Text.append(READ_WINDOW_SIZE - 1060 - Text.size() + Shift, Shift % 2 == 0 ? '\n' : ' ');
      Text += Record(0x1000) + Record(0x2000);
      if (!IsHex) {
        Text += "S" + std::string(Shift % 7 == 0 ? READ_WINDOW_SIZE - Shift : 5, ' ') + Record(0x3000).substr(1);
      }
      Text += std::string(Shift % 5 == 0 ? 3 * READ_WINDOW_SIZE : 1, '\n') + Record(0x4000);
      ASSERT_TRUE(ReadText(pfRead, Text).starts_with(" 0=")) << Shift;
    }
  }
}

/// A valid file with one character changed, removed or added is read as its text now says, or refused.
TEST(Readers, ReadMutatedFilesAsTheyStandOrRefuseThem) {
  const std::string Hex =
      ":020000040800F2\r\n:0300300002337A1E\r\n:020000021200EA\n:04FFFE0001020304F5\n\n:00000001FF\n";
  const std::string Mot = "S0030000FC\r\nS1060000010203F3\nS2051234565509\r\n\nS30708000000AABB8B\nS9030000FC\n";
  for (const auto& [pfRead, Valid] : {std::pair{ReadFn{HEX_Read}, Hex}, {ReadFn{MOT_Read}, Mot}}) {
    for (size_t Pos = 0; Pos <= Valid.size(); ++Pos) {
      ReadText(pfRead, std::string(Valid).erase(Pos, 1));
      for (const char c : std::string("\0\x1A\t\n\r 09AFafGg:;S137\x80\xFF/@`", 25)) {
        ReadText(pfRead, std::string(Valid).insert(Pos, 1, c));
        ReadText(pfRead, std::string(Valid).replace(Pos, 1, 1, c));
      }
    }
  }
}

}  // namespace
