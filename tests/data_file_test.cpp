// Data files: their names, and the image that they keep.
#include "datafile/data_file.h"
#include "support/byte_map.h"
#include "support/faults.h"
#include "support/temp_dir.h"

TEST(DataFile, IsNamedWithinLimits) {
  const std::string Name(9000, 'n');
  DataFile* pFile = DATAFILE_Create(Name.c_str(), ".srec", 0, nullptr);
  ASSERT_NE(nullptr, pFile);
  EXPECT_EQ(Name.substr(0, 8191) + ".srec", pFile->pPath);
  FAULT_Arm(FAULT_ALLOC, {});
  EXPECT_EQ(nullptr, DATAFILE_GetBaseName(pFile));
  FAULT_Disarm();
  for (int i = 0; i < 2; ++i) {  // derived at first, kept then
    EXPECT_EQ(Name.substr(0, 255) + ".srec", DATAFILE_GetFileName(pFile));
    EXPECT_EQ(Name.substr(0, 255), DATAFILE_GetBaseName(pFile));
  }
  DATAFILE_Free(pFile);
}

TEST(DataFile, IsReadOnceAndAgainAfterAFailure) {
  const TempDir Dir;
  int Status = 99;
  DataFile* pFile = DATAFILE_CreateFromPath("a.bin", 0x30, &Status);
  EXPECT_EQ(nullptr, DATAFILE_GetImage(pFile));
  WriteFile("a.bin", "abc");
  MemImage* pImage = DATAFILE_GetImage(pFile);
  ASSERT_NE(nullptr, pImage);
  WriteFile("a.bin", "");
  EXPECT_EQ(pImage, DATAFILE_GetImage(pFile));
  EXPECT_EQ(" 30=abc", RunsOf(BytesOf(pImage)));
  DATAFILE_Free(pFile);
}
