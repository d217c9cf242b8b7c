// The conditioned writer: its worked example byte for byte, and its promise for many layouts.
#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <random>

#include "srec/conditioned_writer.h"
#include "support/byte_map.h"
#include "support/program.h"

namespace {

constexpr const char* END = "S9030000FC\r\n";

MemImage* NewImage(const ByteMap& Map) {
  MemImage* pImage = MEMIMG_Create();
  for (const auto& [Addr, Value] : Map) {
    EXPECT_EQ(0, MEMIMG_WriteData(pImage, Addr, 1, &Value, -1));
  }
  return pImage;
}

struct Written {
  int Result;
  std::string Text;
};

/// Writes the bytes with the given alignments; what is reported would show in the text.
Written Write(const ByteMap& Map, uint32_t LineAlign, uint32_t BlockAlign) {
  const TempDir Dir;
  MemImage* pImage = NewImage(Map);
  pImage->NumChanges = 77;
  std::array<char, 256> acError{};
  const int Result =
      SREC_WriteConditioned(pImage, Dir.Path("f").c_str(), acError.data(), acError.size(), LineAlign, BlockAlign);
  EXPECT_EQ(Result == 0 ? 0U : 77U, pImage->NumChanges);
  MEMIMG_Free(pImage);
  return {Result, Dir.Read("f").value_or("no file") + acError.data()};
}

ByteMap Ascending(uint64_t Addr, size_t NumBytes, int First = 0) {
  std::vector<uint8_t> Bytes(NumBytes);
  std::iota(Bytes.begin(), Bytes.end(), static_cast<uint8_t>(First));
  ByteMap Map;
  AddBytes(&Map, Addr, Bytes);
  return Map;
}

TEST(ConditionedWriter, WritesTheWorkedExample) {
  ByteMap Map = Ascending(0x1000, 48);
  const std::string Lines =
      "S11B1000000102030405060708090A0B0C0D0E0F1011121314151617C0\r\n"
      "\r\n\r\n"
      "S10B101818191A1B1C1D1E1FF0\r\n"
      "S10B10202021222324252627A8\r\n"
      "\r\n\r\n\r\n\r\n"
      "S10B102828292A2B2C2D2E2F60\r\n";
  EXPECT_EQ(Lines + END, Write(Map, 8, 64).Text);
  AddBytes(&Map, 0x20000, {0xAA, 0xAA, 0xAA, 0xAA});
  EXPECT_EQ(Lines + "S208020000AAAAAAAA4D\r\n" + END, Write(Map, 8, 64).Text);
}

TEST(ConditionedWriter, ChoosesTheTypeByTheLastAddress) {
  const std::pair<ByteMap, const char*> aCase[] = {
      {{}, ""},
      {Ascending(0xFFFE, 2), "S105FFFE0001FC\r\n"},
      {Ascending(0xFFFF, 2), "S20600FFFF0001FA\r\n"},
      {Ascending(0xFFFFFF, 1), "S205FFFFFF00FD\r\n"},
      {Ascending(0xFFFFFE, 3), "S30800FFFFFE000102F8\r\n"},
      {Ascending(0xFFFFFFFF, 1, 9), "S306FFFFFFFF09F4\r\n"},
      {{{1, 0x11}, {3, 0x33}}, "S104000111E9\r\nS104000333C5\r\n"},
  };
  for (const auto& [Map, pLines] : aCase) {
    EXPECT_EQ(std::string(pLines) + END, Write(Map, 8, 8192).Text);
  }
}

/// The layout of a file: data bytes of each record, '+' and characters of each fill, E for the end record.
std::string LayoutOf(const std::string& Text) {
  std::string Layout;
  for (size_t Pos = 0; Pos < Text.size();) {
    const size_t FillEnd = std::min(Text.find_first_not_of("\r\n", Pos), Text.size());
    const size_t LineEnd = Text.find("\r\n", Pos) + 2;
    if (FillEnd != Pos) {
      Layout += "+" + std::to_string(FillEnd - Pos) + " ";
    } else if (Text.compare(Pos, LineEnd - Pos, END) == 0) {
      Layout += "E";
    } else {
      const size_t NumCounted = std::stoul(Text.substr(Pos + 2, 2), nullptr, 16);
      Layout += std::to_string(NumCounted - static_cast<size_t>(Text[Pos + 1] - '0') - 2) + " ";
    }
    Pos = FillEnd != Pos ? FillEnd : LineEnd;
  }
  return Layout;
}

TEST(ConditionedWriter, CutsAndFillsAtBlockEnds) {
  struct {
    size_t NumBytes;
    uint32_t LineAlign;
    uint32_t BlockAlign;
    const char* pLayout;
  } const aCase[] = {
      {32, 8, 76, "32 E"},                   // fits exactly; the end record begins a block without a fill
      {32, 8, 86, "32 +10 E"},               // no room for the end record
      {32, 8, 88, "32 E"},                   // just enough
      {64, 8, 100, "32 +24 32 E"},           // less than a line group fits
      {64, 12, 100, "32 +24 32 E"},          // room is the overhead and 12 characters: half a group
      {64, 6, 100, "32 6 26 E"},             // the cut fills the block to the last character
      {64, 2, 98, "32 4 +2 28 E"},           // the cut leaves a fill
      {64, 0, 120, "32 +44 32 E"},           // never cut
      {64, 0x80000000, 120, "32 +44 32 E"},  // never useful
      {64, 4, 120, "32 16 16 E"},            // as many groups as fit
      {32, 8, 34, "8 +6 24 +8 E"},           // a small block: the rest crosses, and is not cut again
      {0, 8, 34, "E"},
  };
  for (const auto& Case : aCase) {
    EXPECT_EQ(Case.pLayout, LayoutOf(Write(Ascending(0, Case.NumBytes), Case.LineAlign, Case.BlockAlign).Text))
        << Case.LineAlign << ' ' << Case.BlockAlign;
  }
}

TEST(ConditionedWriter, RefusesWhatItCannotWrite) {
  for (const auto& [LineAlign, BlockAlign] : {std::pair{7U, 8192U}, {8U, 32U}, {8U, 33U}, {8U, 8193U}, {8U, 0U}}) {
    const Written File = Write(Ascending(0, 1), LineAlign, BlockAlign);
    EXPECT_EQ(-1, File.Result);
    EXPECT_EQ("", File.Text);
  }
  const Written Beyond = Write(Ascending(0xFFFFFFF0, 17), 8, 8192);
  EXPECT_EQ(-1, Beyond.Result);
  EXPECT_EQ("", Beyond.Text);
  EXPECT_EQ(-1, SREC_WriteConditioned(nullptr, "f", nullptr, 0, 8, 8192));

  const TempDir Dir;
  std::array<char, 256> acError{};
  MemImage* pImage = NewImage({});
  const std::string Path = Dir.Path("");
  EXPECT_EQ(-1, SREC_WriteConditioned(pImage, Path.c_str(), acError.data(), acError.size(), 8, 8192));
  EXPECT_EQ("Could not write file.\n" + Path, acError.data());
  EXPECT_EQ(-1, SREC_WriteConditionedEx(pImage, Path.c_str(), nullptr, nullptr, 8, 8192));
  MEMIMG_QueueByte(pImage, 1, 0x11);
  EXPECT_EQ(0, SREC_WriteConditioned(pImage, Dir.Path("f").c_str(), acError.data(), 1, 8, 8192));
  EXPECT_EQ(std::string("S104000111E9\r\n") + END, Dir.Read("f"));
  MEMIMG_Free(pImage);
}

TEST(ConditionedWriter, EveryBlockIsUnderstoodAlone) {
  std::mt19937 Random(4);
  for (uint32_t BlockAlign = 34; BlockAlign < 420; BlockAlign += BlockAlign < 170 ? 2 : 14) {
    for (const uint32_t LineAlign : {0U, 2U, 4U, 6U, 8U, 16U, 30U, 32U, 34U}) {
      ByteMap Map;
      uint64_t Addr = Random() % 3 == 0 ? 0xFFFF80 : 0xFF80;
      for (int Area = 0; Area < 12; ++Area) {
        std::vector<uint8_t> Bytes(Random() % 130 + 1);
        std::generate(Bytes.begin(), Bytes.end(), [&Random] { return static_cast<uint8_t>(Random()); });
        AddBytes(&Map, Addr, Bytes);
        Addr += Bytes.size() + 1 + Random() % 9;
      }
      const Written File = Write(Map, LineAlign, BlockAlign);
      EXPECT_EQ(0, File.Result);
      // A line can cross the boundary of a block that is too small for the longest line.
      const auto Back = ReadConditioned(File.Text, BlockAlign >= 80 ? BlockAlign : File.Text.size());
      ASSERT_TRUE(Back == Map) << LineAlign << ' ' << BlockAlign;
    }
  }
}

}  // namespace
