// The buffered output file.
#include "outstream/out_stream.h"

#include "support/harness.h"

TEST(OutStream, WritesWholeBuffersAtOnceAndTheRestAtTheEnd) {
  OutStream* pStream = OUTSTREAM_Create("f", nullptr, 0);
  OUTSTREAM_Write(pStream, nullptr, OUTSTREAM_BUFFER_SIZE - 1);
  EXPECT_EQ("", ReadFile("f"));
  OUTSTREAM_Write(pStream, "ab", 2);
  EXPECT_EQ(std::string(OUTSTREAM_BUFFER_SIZE - 1, '\xFF') + "a", ReadFile("f"));
  OUTSTREAM_Close(pStream);
  EXPECT_EQ(std::string(OUTSTREAM_BUFFER_SIZE - 1, '\xFF') + "ab", ReadFile("f"));
}

TEST(OutStream, SaysWhyItCannotBeCreated) {
  WriteFile("f", "");
  const auto MessageFor = [](const char* pPath, FaultKind What, const Fault& How, uint32_t Size = 512) {
    char acError[512];
    FAULT_Arm(What, How);
    EXPECT_EQ(nullptr, OUTSTREAM_Create(pPath, acError, Size));
    FAULT_Disarm();
    return std::string(acError);
  };
  EXPECT_EQ("Could not write file.\nf", MessageFor("f", FAULT_OPEN, {}));
  EXPECT_EQ("Could not write file. Access denied.\nf", MessageFor("f", FAULT_OPEN, {.Error = EACCES}));
  EXPECT_EQ("Could not write file. Access denied.\n~/no", MessageFor("~/no", FAULT_OPEN, {.Error = EACCES}));
  chmod("f", 0444);
  EXPECT_EQ("Could not write file. File has read only attribute.\nf", MessageFor("f", FAULT_OPEN, {.Error = EACCES}));
  EXPECT_EQ("Could not write file. F", MessageFor("f", FAULT_OPEN, {.Error = EACCES}, 24));
  EXPECT_EQ("Could not write file. Invalid filename.", MessageFor("", FAULT_NONE, {}));
  EXPECT_EQ("Could not write file. Out of memory.", MessageFor("f", FAULT_ALLOC, {}));
  EXPECT_EQ("Could not write file. Out of memory.", MessageFor("f", FAULT_ALLOC, {.First = 2}));
}
