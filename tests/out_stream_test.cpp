// The buffered output file and single records.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>

#include "outstream/out_stream.h"
#include "srec/record.h"
#include "support/faults.h"
#include "support/program.h"

namespace {

TEST(OutStream, WritesWholeBuffersAtOnceAndTheRestAtTheEnd) {
  const TempDir Dir;
  std::array<char, 8> acError{'?'};
  OutStream* pStream = OUTSTREAM_Create(Dir.Path("f").c_str(), acError.data(), acError.size());
  ASSERT_NE(nullptr, pStream);
  EXPECT_STREQ("", acError.data());
  const std::string Bytes(OUTSTREAM_BUFFER_SIZE - 1, 'a');
  OUTSTREAM_Write(pStream, Bytes.data(), OUTSTREAM_BUFFER_SIZE - 1);
  EXPECT_EQ("", Dir.Read("f"));
  OUTSTREAM_Write(pStream, "b", 1);
  EXPECT_EQ(Bytes + "b", Dir.Read("f"));
  OUTSTREAM_Write(pStream, nullptr, OUTSTREAM_BUFFER_SIZE + 2);
  EXPECT_EQ(2U, pStream->NumBytesInBuffer);
  OUTSTREAM_Write(pStream, "c", 0);
  OUTSTREAM_Close(pStream);
  EXPECT_EQ(Bytes + "b" + std::string(OUTSTREAM_BUFFER_SIZE + 2, '\xFF'), Dir.Read("f"));
  EXPECT_STREQ("", acError.data());

  OUTSTREAM_Close(OUTSTREAM_Create(Dir.Path("f").c_str(), nullptr, 0));
  EXPECT_EQ("", Dir.Read("f"));
  OUTSTREAM_Write(nullptr, "x", 1);
  OUTSTREAM_Close(nullptr);
}

TEST(OutStream, KeepsTheFirstMessageOnly) {
  const TempDir Dir;
  std::array<char, 64> acError{};
  for (const auto& [Kind, Last] : {std::pair{FAULT_WRITE, 1}, {FAULT_WRITE, 2}, {FAULT_CLOSE, 1}}) {
    OutStream* pStream = OUTSTREAM_Create(Dir.Path("f").c_str(), acError.data(), acError.size());
    ASSERT_NE(nullptr, pStream);
    FAULT_Arm(Kind, {.Last = Last, .Error = ENOSPC});
    OUTSTREAM_Write(pStream, nullptr, OUTSTREAM_BUFFER_SIZE + 5);
    OUTSTREAM_Close(pStream);
    EXPECT_TRUE(FAULT_Disarm());
    EXPECT_STREQ("Error writing file.", acError.data());
    EXPECT_EQ(std::string(Kind == FAULT_CLOSE ? OUTSTREAM_BUFFER_SIZE + 5 : Last == 1 ? 5 : 0, '\xFF'), Dir.Read("f"));
  }
}

TEST(OutStream, SaysWhyItCannotBeCreated) {
  const TempDir Dir;
  Dir.Write("locked", "");
  Dir.Write("dir/locked", "");
  chmod(Dir.Path("locked").c_str(), 0444);
  chmod(Dir.Path("dir").c_str(), 0000);
  chmod(Dir.Path("").c_str(), 0755);
  const bool IsRoot = geteuid() == 0;
  if (IsRoot) {
    ASSERT_EQ(0, seteuid(65534));  // root may write everywhere
  }
  std::array<char, 128> acError{};
  const auto MessageFor = [&](const char* pPath, uint32_t Size) {
    EXPECT_EQ(nullptr, OUTSTREAM_Create(pPath, acError.data(), Size));
    return std::string(acError.data());
  };
  const std::string Locked = Dir.Path("locked");
  const std::string InLocked = Dir.Path("dir/locked");
  const std::string InFile = Dir.Path("locked/x");
  EXPECT_EQ(("Could not write file. File has read only attribute.\n" + Locked).substr(0, 127),
            MessageFor(Locked.c_str(), 128));
  EXPECT_EQ(("Could not write file. Access denied.\n" + InLocked).substr(0, 127), MessageFor(InLocked.c_str(), 128));
  EXPECT_EQ(("Could not write file.\n" + InFile).substr(0, 127), MessageFor(InFile.c_str(), 128));
  EXPECT_EQ("Could not write file. Invalid filename.", MessageFor("", 128));
  EXPECT_EQ("Could not", MessageFor(nullptr, 10));
  FAULT_Arm(FAULT_ALLOC, {});
  EXPECT_EQ("Could not write file. Out of memory.", MessageFor("f", 128));
  FAULT_Arm(FAULT_ALLOC, {.First = 2});
  EXPECT_EQ("Could not write file. Out of memory.", MessageFor("f", 128));
  FAULT_Disarm();
  if (IsRoot) {
    ASSERT_EQ(0, seteuid(0));
  }
  chmod(Dir.Path("dir").c_str(), 0755);
}

TEST(Record, IsEncodedByTypeAddressAndData) {
  struct {
    uint32_t Type;
    uint32_t Address;
    std::vector<uint8_t> Data;
    std::string Line;  // without its CR LF; empty: refused
  } const aCase[] = {{1, 0x1000, {1, 2, 3, 4}, "S107100001020304DE"},
                     {2, 0x123456, {0xAA}, "S205123456AAB4"},
                     {3, 0x80000000, {0x11, 0x22}, "S30780000000112245"},
                     {9, 0, {}, "S9030000FC"},
                     {1, 0x1000, {}, "S1031000EC"},
                     {1, 0x12345, {}, "S103234594"},
                     {4, 0, {1}, ""},
                     {3, 0, std::vector<uint8_t>(251, 0), ""},
                     {3, 0, std::vector<uint8_t>(250, 0), "S3FF00000000" + std::string(500, '0') + "00"}};
  for (const auto& Case : aCase) {
    const TempDir Dir;
    OutStream* pStream = OUTSTREAM_Create(Dir.Path("f").c_str(), nullptr, 0);
    const int32_t NumChars =
        SREC_EncodeRecord(pStream, Case.Type, Case.Address, static_cast<int32_t>(Case.Data.size()), Case.Data.data());
    SREC_EncodeRecord(pStream, 9, 0, -1, nullptr);
    OUTSTREAM_Close(pStream);
    const std::string Line = Case.Line.empty() ? "" : Case.Line + "\r\n";
    EXPECT_EQ(Line + "S9030000FC\r\n", Dir.Read("f"));
    EXPECT_EQ(static_cast<int32_t>(Line.size()), NumChars);
  }
}

}  // namespace
