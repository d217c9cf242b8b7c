// Single records and the conditioned writer: types, cuts and fills, and its promise in many layouts.
#include "srec/conditioned_writer.h"

#include "srec/record.h"
#include "support/harness.h"

namespace {

const std::string END = "S9030000FC\r\n";

/// Writes bytes with the given alignments. Returns the contents of the file.
std::string Write(const ByteMap& Map, uint32_t LineAlign, uint32_t BlockAlign, int Result = 0) {
  const auto pImage = NewImage();
  for (const auto& [Addr, Value] : Map) {
    EXPECT_EQ(0, MEMIMG_WriteData(pImage.get(), Addr, 1, &Value, -1));
  }
  pImage->NumChanges = 77;
  EXPECT_EQ(Result, SREC_WriteConditionedEx(pImage.get(), "f", nullptr, nullptr, LineAlign, BlockAlign));
  EXPECT_EQ(Result == 0 ? 0U : 77U, pImage->NumChanges);
  EXPECT_EQ(1, MEMIMG_Unlock(pImage.get())) << "the lock is free again";
  return ReadFile("f");
}

ByteMap Ascending(uint64_t Addr, uint8_t NumBytes) {
  ByteMap Map;
  for (uint8_t i = 0; i < NumBytes; ++i) {
    Map[Addr + i] = i;
  }
  return Map;
}

TEST(ConditionedWriter, ChoosesTheTypeByTheLastAddress) {
  EXPECT_EQ("S105FFFE0001FC\r\n" + END, Write(Ascending(0xFFFE, 2), 8, 8192));
  EXPECT_EQ("S20600FFFF0001FA\r\n" + END, Write(Ascending(0xFFFF, 2), 8, 8192));
  EXPECT_EQ("S205FFFFFF00FD\r\n" + END, Write(Ascending(0xFFFFFF, 1), 8, 8192));
  EXPECT_EQ("S30800FFFFFE000102F8\r\n" + END, Write(Ascending(0xFFFFFE, 3), 8, 8192));
  EXPECT_EQ("S306FFFFFFFF00FD\r\n" + END, Write(Ascending(0xFFFFFFFF, 1), 8, 8192));
  EXPECT_EQ("S307FFFFFFFF0001FB\r\n" + END, Write(Ascending(0xFFFFFFFF, 2), 8, 8192)) << "the low 32 bits";
  EXPECT_EQ("S3060000001000E9\r\n" + END, Write(Ascending(0x100000010, 1), 8, 8192));
  EXPECT_EQ("S306FFFFFFFF00FD\r\n", Write(Ascending(UINT64_MAX, 1), 8, 8192, -1)) << "no next address";
}

/// The layout of NumBytes bytes at address 0: the number of data bytes in each line (0 in the end record), and '+' with
/// the number of characters in each fill.
std::string Layout(uint8_t NumBytes, uint32_t LineAlign, uint32_t BlockAlign) {
  std::istringstream Lines(Write(Ascending(0, NumBytes), LineAlign, BlockAlign));
  std::string Text;
  size_t NumFill = 0;
  for (std::string Line; std::getline(Lines, Line); NumFill = Line == "\r" ? NumFill + 2 : 0) {
    if (Line != "\r") {
      Text += (NumFill != 0 ? "+" + std::to_string(NumFill) + " " : "") + std::to_string((Line.size() - 11) / 2) + " ";
    }
  }
  return Text;
}

TEST(ConditionedWriter, CutsAndFillsAtBlockEnds) {
  EXPECT_EQ("32 0 ", Layout(32, 8, 76)) << "fits exactly; the end record begins the next block, without fill";
  EXPECT_EQ("32 +10 0 ", Layout(32, 8, 86)) << "no room for the end record";
  EXPECT_EQ("32 0 ", Layout(32, 8, 88)) << "just enough";
  EXPECT_EQ("32 +24 32 0 ", Layout(64, 8, 100)) << "less than a line group fits";
  EXPECT_EQ("32 6 26 0 ", Layout(64, 6, 100)) << "the cut fills the block to the last character";
  EXPECT_EQ("32 4 +2 28 0 ", Layout(64, 2, 98)) << "the cut leaves room for fill";
  EXPECT_EQ("32 +44 32 0 ", Layout(64, 0x80000000, 120)) << "the group never fits";
  EXPECT_EQ("32 16 16 0 ", Layout(64, 4, 120)) << "as many groups as fit";
  EXPECT_EQ("8 +6 24 +8 0 ", Layout(32, 8, 34)) << "a small block: the rest crosses its end and is not cut again";
}

TEST(ConditionedWriter, EveryBlockIsUnderstoodByItself) {
  std::mt19937 Random(4);
  for (uint32_t BlockAlign = 34; BlockAlign < 420; BlockAlign += BlockAlign < 170 ? 2 : 14) {
    for (const uint32_t LineAlign : {0U, 2U, 4U, 6U, 8U, 16U, 30U, 32U, 34U}) {
      ByteMap Map;
      for (uint64_t Addr = Random() % 3 == 0 ? 0xFFFF80 : 0xFF80; Map.size() < 800; ++Addr) {
        Addr += Random() % 64 == 0 ? 9U : 0U;
        Map[Addr] = static_cast<uint8_t>(Random());
      }
      // A line can cross the end of a block that is too small for the longest line.
      const std::string File = Write(Map, LineAlign, BlockAlign);
      const size_t BlockSize = BlockAlign >= 80 ? BlockAlign : File.size();
      ASSERT_TRUE(ReadConditioned(File, BlockSize) == Map) << LineAlign << ' ' << BlockAlign;
    }
  }
}

TEST(ConditionedWriter, CommitsPendingBytesAndReports) {
  const auto pImage = NewImage();
  char acError[64] = "";
  MEMIMG_QueueByte(pImage.get(), 1, 0x11);
  EXPECT_EQ(0, SREC_WriteConditioned(pImage.get(), "f", acError, sizeof(acError), 8, 8192));
  EXPECT_EQ("S104000111E9\r\n" + END, ReadFile("f"));
  EXPECT_EQ(-1, SREC_WriteConditioned(pImage.get(), "/dev/full", acError, sizeof(acError), 8, 8192));
  EXPECT_STREQ("Error writing file.", acError);
  EXPECT_EQ(-1, SREC_WriteConditioned(nullptr, "f", nullptr, 0, 8, 8192));
}

TEST(Record, HoldsWhatItsCountAllows) {
  const std::array<uint8_t, 255> aData{};
  EXPECT_EQ(516, SREC_EncodeRecord(nullptr, SREC_TYPE_DATA16, 0, 252, aData.data()));
  EXPECT_EQ(0, SREC_EncodeRecord(nullptr, SREC_TYPE_DATA16, 0, 253, aData.data()));
  EXPECT_EQ(0, SREC_EncodeRecord(nullptr, SREC_TYPE_DATA32, 0, 251, aData.data()));
  EXPECT_EQ(0, SREC_EncodeRecord(nullptr, 4, 0, 1, aData.data()));
}

}  // namespace
