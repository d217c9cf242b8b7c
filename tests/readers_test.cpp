// The readers: what they accept and refuse, also compared with independent decoders, and their window.
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

/// Reads a text, and compares the result with that of an independent decoder.
std::string ReadText(ReadFn pfRead, const std::string& Text) {
  WriteFile("f", Text);
  const std::string Result = ReadPath(pfRead, "f");
  const auto Expected = DecodeRecords(Text, pfRead == HEX_Read);
  EXPECT_TRUE(Expected ? Result == RunsOf(*Expected) : Result.starts_with('-')) << Text << Result;
  return Result;
}

const std::string AT1 = "-5 Error in line 1: ";
const std::string DIGIT = AT1 + "Expected Hex character : 0..9, A..F";

TEST(Readers, ReadTextsToTheLetter) {
  const std::string Hex = ":03003000616263A7";
  const std::string HexBad = ":03003000616263A8";
  const std::string IsHexBad = "Checksum error !\nExpected: 0xA7, found: 0xA8";
  const std::string Mot = "S1060030616263A3";
  const std::string IsMotBad = AT1 + "Checksum error! Checksum in file: ";
  const std::string NoData = "S4030000FC\nS5030001FB\nS604000001FA\nS70500000000FA\nS804000000FB\nS000FF\nS001FE\n";
  const std::tuple<ReadFn, std::string, std::string> aCase[] = {
      {HEX_Read, ":020000FF0800F7\n" + Hex, " 8000030=abc"},
      {HEX_Read, ":02000004FFFFFC\n:02FFFF0061623D\n", " ffffffff=ab"},
      {HEX_Read, ":020000040800F2\n:0300000212005594\n" + Hex, " 12030=abc"},
      {HEX_Read, ":00000001FF\n \t\r\n\n" + Hex, " 30=abc"},
      {HEX_Read, ":00003000D0\n:0400000500000000F7\n:0100000311EB\n:00000042BE\n" + Hex, " 30=abc"},
      {HEX_Read, "", "-4 Error in line 1: Not a hex file"},
      {HEX_Read, Hex + "\r\n:00000001FF\n\n" + HexBad, "-5 Error in line 3: " + IsHexBad},
      {HEX_Read, Hex + "\r\n\r\n" + HexBad, "-5 Error in line 4: " + IsHexBad},
      {HEX_Read, Hex + "\r\r" + HexBad, "-5 Error in line 2: " + IsHexBad},
      {HEX_Read, Hex + " \n", AT1 + "Expected CR or LF"},
      {HEX_Read, Hex + "\n\n;", "-5 Error in line 2: Unexpected character (Expected: :, Found: ;)"},
      {HEX_Read, Hex + "\n" + Hex, "-5 Error in line 2: Areas overlap"},
      {HEX_Read, ":0G", DIGIT},
      {HEX_Read, MakeRecord(true, 0, std::string(30, 'a')).replace(12, 1, "g"), DIGIT},
      {HEX_Read, ":0100000408F3", AT1 + "Record too short"},
      {MOT_Read, "S20512345661FD", " 123456=a"},
      {MOT_Read, "S307FFFFFFFF616239", " ffffffff=ab"},
      {MOT_Read, NoData + Mot + " S9030000FC\x1AS1060030616263A4", " 30=abc"},
      {MOT_Read, "S1031234B6S \t\r\n1060030616263A3", " 30=abc"},
      {MOT_Read, "", "-4 Error in line 1: Not a mot file"},
      {MOT_Read, "S1060030616263A4", IsMotBad + "0xA4, checksum calculated 0xA3"},
      {MOT_Read, "S900FE", IsMotBad + "0xFE, checksum calculated 0xFF"},
      {MOT_Read, Mot + "\r\rS;", AT1 + "Unexpected character"},
      {MOT_Read, Mot + "\r\nS\n\nA", "-5 Error in line 4: Unexpected character"},
      {MOT_Read, Mot + std::string(200000, '\n') + "x", "-5 Error in line 200001: Unexpected character"},
      {MOT_Read, "S1060000 010203F3", DIGIT},
      {MOT_Read, MakeRecord(false, 0, std::string(30, 'a')).replace(12, 1, "g"), DIGIT},
      {MOT_Read, Mot + "\n" + Mot, "-5 Error in line 2: Areas overlap"},
      {MOT_Read, "S10200FD", AT1 + "Record too short"},
      {MOT_Read, "S304000000FB", AT1 + "Record too short"}};
  for (const auto& [pfRead, Text, Result] : aCase) {
    EXPECT_EQ(Result, ReadText(pfRead, Text)) << Text.substr(0, 99);
  }
}

TEST(Readers, SayWhyAFileCannotBeOpened) {
  const std::string Long(300, 'm');
  const std::string CouldNot = "-1 Could not open file [";
  const std::pair<int, std::string> aReason[] = {{ENOENT, "File not found!"},
                                                 {3, "Path not found!"},
                                                 {EACCES, "Access is denied!"},
                                                 {15, "Invalid drive!"},
                                                 {123, "The filename syntax is incorrect!"},
                                                 {ENOTDIR, "Invalid file handle!"}};
  for (const auto& [Error, Reason] : aReason) {
    for (const ReadFn pfRead : {ReadBin, HEX_Read, MOT_Read}) {
      EXPECT_EQ(CouldNot + "f]\n" + Reason, ReadPath(pfRead, "f", FAULT_OPEN, {.Error = Error}));
    }
  }
  // Of the text, the caller gets 255 characters from the binary reader and 127 from the others.
  EXPECT_EQ(CouldNot + Long.substr(0, 255 - CouldNot.size() + 3), ReadPath(ReadBin, Long));
  EXPECT_EQ(CouldNot + Long.substr(0, 127 - CouldNot.size() + 3), ReadPath(HEX_Read, Long));
}

TEST(Readers, SayWhyAFileCannotBeReadOrKept) {
  const std::string CouldNotRead = "-1 Could not read file.";
  const std::tuple<ReadFn, FaultKind, int, std::string> aCase[] = {
      {ReadBin, FAULT_READ, 2, CouldNotRead},
      {ReadBin, FAULT_ALLOC, 1, CouldNotRead + " Out of memory."},
      {ReadBin, FAULT_ALLOC, 2, CouldNotRead + " Out of memory."},
      {HEX_Read, FAULT_ALLOC, 1, "-3 Error in line 1: malloc Problem"},
      {HEX_Read, FAULT_ALLOC, 2, "-3 Error in line 2: Out of memory"},
      {MOT_Read, FAULT_READ, 2, "-1 Error in line 1: Could not read file."},
      {MOT_Read, FAULT_ALLOC, 1, "-3 Error in line 1: Malloc problem"}};
  for (const auto& [pfRead, What, First, Result] : aCase) {
    WriteFile("f", pfRead == HEX_Read ? ":00000001FF\n:03003000616263A7" : "S9030000FC\nS1060030616263A3");
    EXPECT_EQ(Result, ReadPath(pfRead, "f", What, {.First = First}));
  }
  const auto pImage = NewImage();
  ReadNotes Notes;
  FAULT_Arm(FAULT_ALLOC, {.First = 2});
  EXPECT_EQ(READER_ERR_OPEN, BIN_ReadEx(pImage.get(), "f", 0, nullptr, nullptr, &Notes));
  FAULT_Disarm();
  EXPECT_EQ(READ_ERROR_MEMORY, Notes.Error);
}

/// The window's edge falls on every character of the longest record, its line end and the white space around it.
TEST(Readers, AreNotAffectedByTheEdgeOfTheirWindow) {
  for (const ReadFn pfRead : {HEX_Read, MOT_Read}) {
    const bool IsHex = pfRead == HEX_Read;
    const auto Record = [&](unsigned Addr) {
      return MakeRecord(IsHex, Addr, std::string(IsHex ? 255 : 252, 'x')) + "\r\n";
    };
    for (size_t Shift = 0; Shift < 540; ++Shift) {
      std::string Text = Record(0);
      Text.append(READ_WINDOW_SIZE - Text.size() - Shift, Shift % 2 == 0 ? '\n' : ' ');
      Text += Record(0x1000);
      Text += IsHex ? "" : "S" + std::string(Shift % 7 == 0 ? READ_WINDOW_SIZE - Shift : 5, ' ') + "9030000FC";
      Text += std::string(Shift % 5 == 0 ? 3 * READ_WINDOW_SIZE : 1, '\n') + Record(0x4000);
      ASSERT_TRUE(ReadText(pfRead, Text).starts_with(" 0=")) << Shift;
    }
  }
}

}  // namespace
