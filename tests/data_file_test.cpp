// Data files: which reader a path selects, and what is derived from it.
#include <gtest/gtest.h>

#include "datafile/data_file.h"
#include "support/faults.h"
#include "support/program.h"

namespace {

std::string OrNone(const char* pText) {
  return pText != nullptr ? pText : "none";
}

TEST(DataFile, IsCreatedByTheLastExtension) {
  struct {
    const char* pPath;
    int Status;
    const char* pExt;
    const char* pNames;  // path|directory|base name|file name
  } const aCase[] = {
      {"/work/fw/app.hex", 0, ".hex", "/work/fw/app.hex|/work/fw/|app|app.hex"},
      {"fw.rev2.HEX", 0, ".hex", "fw.rev2.HEX|none|fw.rev2|fw.rev2.HEX"},
      {"x.Mot", 0, ".mot", "x.Mot|none|x|x.Mot"},
      {"x.srec", 0, ".srec", "x.srec|none|x|x.srec"},
      {"x.S19", 0, ".s19", "x.S19|none|x|x.S19"},
      {"x.s37", 0, ".s37", "x.s37|none|x|x.s37"},
      {"x.S", 0, ".s", "x.S|none|x|x.S"},
      {"x.bin", 0, ".bin", "x.bin|none|x|x.bin"},
      {"d/.hex", 0, ".hex", "d/.hex|d/|.hex|.hex"},
      {".hex", 0, ".hex", ".hex.hex|none|.hex|.hex.hex"},
      {"app", DATAFILE_ERR_UNSUPPORTED, "", ""},
      {"app.txt", DATAFILE_ERR_UNSUPPORTED, "", ""},
      {"app.hexx", DATAFILE_ERR_UNSUPPORTED, "", ""},
      {"dir.hex/file", DATAFILE_ERR_UNSUPPORTED, "", ""},
      {"", DATAFILE_ERR_CREATE, "", ""},
      {nullptr, DATAFILE_ERR_NO_NAME, "", ""},
  };
  for (const auto& Case : aCase) {
    int Status = 99;
    DataFile* pFile = DATAFILE_CreateFromPath(Case.pPath, 0x1234, &Status);
    EXPECT_EQ(Case.Status, Status) << OrNone(Case.pPath);
    if (pFile != nullptr) {
      EXPECT_STREQ(Case.pExt, pFile->pHandler->pExt);
      EXPECT_EQ(0x1234U, pFile->BaseAddr);
      const std::string FileName = OrNone(DATAFILE_GetFileName(pFile));
      const std::string BaseName = OrNone(DATAFILE_GetBaseName(pFile));
      EXPECT_EQ(Case.pNames, std::string(pFile->pPath) + "|" + OrNone(pFile->pDir) + "|" + BaseName + "|" + FileName);
    }
    EXPECT_EQ(Case.Status == 0, pFile != nullptr);
    DATAFILE_Free(pFile);
  }
  int Status = 99;
  EXPECT_EQ(nullptr, DATAFILE_Create("", ".srec", 0, &Status));
  EXPECT_EQ(DATAFILE_ERR_CREATE, Status);
  EXPECT_EQ(nullptr, DATAFILE_Create(nullptr, ".srec", 0, nullptr));
  EXPECT_EQ(nullptr, DATAFILE_GetBaseName(nullptr));
  EXPECT_EQ(nullptr, DATAFILE_GetFileName(nullptr));
  EXPECT_EQ(nullptr, DATAFILE_GetImage(nullptr));
}

TEST(DataFile, LoadsOnceAndAgainAfterAFailure) {
  const TempDir Dir;
  int Status = 0;
  DataFile* pFile = DATAFILE_CreateFromPath(Dir.Path("a.bin").c_str(), 0x20, &Status);
  EXPECT_EQ(nullptr, DATAFILE_GetImage(pFile));
  Dir.Write("a.bin", "xy");
  FAULT_Arm(FAULT_ALLOC, {});
  EXPECT_EQ(nullptr, DATAFILE_GetImage(pFile));
  EXPECT_EQ(nullptr, DATAFILE_GetBaseName(pFile));
  FAULT_Disarm();
  EXPECT_STREQ("a", DATAFILE_GetBaseName(pFile));
  MemImage* pImage = DATAFILE_GetImage(pFile);
  ASSERT_NE(nullptr, pImage);
  EXPECT_EQ(0x20U, pImage->pFirstArea->Addr);
  Dir.Write("a.bin", "other");
  EXPECT_EQ(pImage, DATAFILE_GetImage(pFile));
  EXPECT_EQ(2U, pImage->pFirstArea->NumBytes);
  DATAFILE_Free(pFile);
  DATAFILE_Free(nullptr);
}

TEST(DataFile, CutsNamesAtTheirLimits) {
  int Status = 0;
  const std::string Long(9000, 'n');
  DataFile* pFile = DATAFILE_Create((Long + "/" + Long).c_str(), ".srec", 0, &Status);
  ASSERT_NE(nullptr, pFile);
  EXPECT_EQ(std::string(8191, 'n') + ".srec", pFile->pPath);
  EXPECT_EQ(std::string(255, 'n') + ".srec", DATAFILE_GetFileName(pFile));
  DATAFILE_Free(pFile);
}

}  // namespace
