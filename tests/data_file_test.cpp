// Data files: an image that is read once, and names within limits.
#include "datafile/data_file.h"
#include "support/harness.h"

TEST(DataFile, IsReadOnce) {
  DataFile* pFile = DATAFILE_Create("a", ".bin", 0x30, nullptr);
  EXPECT_EQ(nullptr, DATAFILE_GetImage(pFile));
  WriteFile("a.bin", "abc");
  MemImage* pImage = DATAFILE_GetImage(pFile);
  EXPECT_EQ(" 30=abc", RunsOf(BytesOf(pImage)));
  EXPECT_EQ(pImage, DATAFILE_GetImage(pFile));
  DATAFILE_Free(pFile);
}

TEST(DataFile, IsNamedWithinLimits) {
  const std::string Name(9000, 'n');
  DataFile* pFile = DATAFILE_Create(Name.c_str(), ".srec", 0, nullptr);
  EXPECT_EQ(Name.substr(0, 8191) + ".srec", pFile->pPath);
  FAULT_Arm(FAULT_ALLOC, {});
  EXPECT_EQ(nullptr, DATAFILE_GetBaseName(pFile));
  FAULT_Disarm();
  for (int i = 0; i < 2; ++i) {  // derived the first time, then kept
    EXPECT_EQ(Name.substr(0, 255) + ".srec", DATAFILE_GetFileName(pFile));
    EXPECT_EQ(Name.substr(0, 255), DATAFILE_GetBaseName(pFile));
  }
  DATAFILE_Free(pFile);
  EXPECT_TRUE(DATAFILE_GetBaseName(nullptr) == nullptr && DATAFILE_GetFileName(nullptr) == nullptr);
  EXPECT_TRUE(DATAFILE_GetImage(nullptr) == nullptr && DATAFILE_Create(nullptr, ".s", 0, nullptr) == nullptr);
}
