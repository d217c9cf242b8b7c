#include "datafile/data_file.h"

#include "readers/bin_reader.h"
#include "readers/hex_reader.h"
#include "readers/mot_reader.h"
#include "srec/conditioned_writer.h"
#include "sys/heap.h"
#include "sys/path.h"
#include "util/text.h"

namespace {

constexpr uint32_t MAX_NAME_LEN = 8191;
constexpr uint32_t NAME_PART_SIZE = 256;
constexpr uint32_t DRIVE_SIZE = 3;
constexpr uint32_t ERROR_TEXT_SIZE = 256;

const FormatHandler* FindHandler(const char* pExt) {
  for (const FormatHandler& Row : DATAFILE_EXTENSIONS) {
    if (UTIL_CompareNoCase(pExt, Row.pExt) == 0) {
      return &Row;
    }
  }
  return nullptr;
}

/// Returns a new text of pA and pB, each cut to MAX_NAME_LEN characters, which the caller frees with SYS_Free; null if
/// memory is exhausted.
[[nodiscard]] char* Concat(const char* pA, const char* pB) {
  const uint32_t LenA = UTIL_StrLenMax(pA, MAX_NAME_LEN);
  const uint32_t LenB = UTIL_StrLenMax(pB, MAX_NAME_LEN);
  char* pText = static_cast<char*>(SYS_Alloc(LenA + LenB + 1));
  if (pText != nullptr) {
    UTIL_CopyString(pText, pA, LenA + 1);
    UTIL_AppendString(pText, pB, LenA + LenB + 1);
  }
  return pText;
}

/// Returns a new copy of a text; null if the text is empty or memory is exhausted.
[[nodiscard]] char* CopyIfAny(const char* pText) {
  const uint32_t Len = UTIL_StrLenMax(pText, NAME_PART_SIZE);
  return Len != 0 ? SYS_CopyText(pText, Len) : nullptr;
}

/// Returns the index of the last '.' in the first Len characters, Len not 0; 0 if there is none after the first.
uint32_t FindLastDot(const char* pPath, uint32_t Len) {
  uint32_t Pos = Len - 1;
  while (Pos > 0 && pPath[Pos] != '.') {
    --Pos;
  }
  return Pos;
}

[[nodiscard]] DataFile* CreateWithHandler(const char* pName, const char* pExt, uint32_t BaseAddr,
                                          const FormatHandler* pHandler) {
  if (pName[0] == '\0' || pExt[0] == '\0') {
    return nullptr;
  }
  DataFile* pFile = static_cast<DataFile*>(SYS_Alloc(sizeof(DataFile)));
  if (pFile == nullptr) {
    return nullptr;
  }
  *pFile = {};
  pFile->pHandler = pHandler;
  pFile->BaseAddr = BaseAddr;
  pFile->pPath = Concat(pName, pExt);
  if (pFile->pPath == nullptr) {
    DATAFILE_Free(pFile);
    return nullptr;
  }
  return pFile;
}

}  // namespace

constinit const std::array<FormatHandler, 7> DATAFILE_EXTENSIONS = {{
    {".mot", DATAFILE_ReadMot},
    {".srec", DATAFILE_ReadMot},
    {".s19", DATAFILE_ReadMot},
    {".s37", DATAFILE_ReadMot},
    {".s", DATAFILE_ReadMot},
    {".hex", DATAFILE_ReadHex},
    {".bin", DATAFILE_ReadBin},
}};

DataFile* DATAFILE_CreateFromPath(const char* pPath, uint32_t BaseAddr, int* pStatus) {
  if (pPath == nullptr) {
    *pStatus = DATAFILE_ERR_NO_NAME;
    return nullptr;
  }
  const uint32_t Len = UTIL_StrLenMax(pPath, MAX_NAME_LEN);
  char* pName = Len != 0 ? SYS_CopyText(pPath, Len) : nullptr;
  if (pName == nullptr) {
    *pStatus = DATAFILE_ERR_CREATE;
    return nullptr;
  }
  const uint32_t ExtPos = FindLastDot(pName, Len);
  if (ExtPos != 0) {
    pName[ExtPos] = '\0';
  }
  DataFile* pFile = DATAFILE_Create(pName, pPath + ExtPos, BaseAddr, pStatus);
  SYS_Free(pName);
  return pFile;
}

DataFile* DATAFILE_Create(const char* pName, const char* pExt, uint32_t BaseAddr, int* pStatus) {
  int Ignored = 0;
  int* pResult = pStatus != nullptr ? pStatus : &Ignored;
  if (pName == nullptr) {
    *pResult = DATAFILE_ERR_NO_NAME;
    return nullptr;
  }
  const FormatHandler* pHandler = FindHandler(pExt);
  if (pHandler == nullptr) {
    *pResult = DATAFILE_ERR_UNSUPPORTED;
    return nullptr;
  }
  DataFile* pFile = CreateWithHandler(pName, pExt, BaseAddr, pHandler);
  *pResult = pFile != nullptr ? 0 : DATAFILE_ERR_CREATE;
  return pFile;
}

void DATAFILE_Free(DataFile* pFile) {
  if (pFile == nullptr) {
    return;
  }
  MEMIMG_Free(pFile->pImage);
  SYS_Free(pFile->pFileName);
  SYS_Free(pFile->pBaseName);
  SYS_Free(pFile->pDir);
  SYS_Free(pFile->pPath);
  SYS_Free(pFile);
}

MemImage* DATAFILE_GetImage(DataFile* pFile) {
  if (pFile == nullptr) {
    return nullptr;
  }
  if (pFile->pImage != nullptr) {
    return pFile->pImage;
  }
  MemImage* pImage = MEMIMG_Create();
  if (pImage == nullptr) {
    return nullptr;
  }
  std::array<char, ERROR_TEXT_SIZE> acError{};
  if (pFile->pHandler->pfRead(pFile, pImage, acError.data(), acError.size()) < 0) {
    MEMIMG_Free(pImage);
    return nullptr;
  }
  pFile->pImage = pImage;
  return pImage;
}

const char* DATAFILE_GetBaseName(DataFile* pFile) {
  if (pFile == nullptr) {
    return nullptr;
  }
  if (pFile->pBaseName == nullptr) {
    DATAFILE_SplitName(pFile);
  }
  return pFile->pBaseName;
}

const char* DATAFILE_GetFileName(DataFile* pFile) {
  if (pFile == nullptr) {
    return nullptr;
  }
  if (pFile->pFileName == nullptr) {
    DATAFILE_SplitName(pFile);
  }
  return pFile->pFileName;
}

void DATAFILE_SplitName(DataFile* pFile) {
  std::array<char, DRIVE_SIZE> acDrive{};
  std::array<char, NAME_PART_SIZE> acDir{};
  std::array<char, NAME_PART_SIZE> acBaseName{};
  std::array<char, NAME_PART_SIZE> acExt{};
  SYS_SplitPath(pFile->pPath, {acDrive.data(), DRIVE_SIZE}, {acDir.data(), NAME_PART_SIZE},
                {acBaseName.data(), NAME_PART_SIZE}, {acExt.data(), NAME_PART_SIZE});
  if (pFile->pDir == nullptr) {
    pFile->pDir = CopyIfAny(acDir.data());
  }
  if (pFile->pBaseName == nullptr) {
    pFile->pBaseName = CopyIfAny(acBaseName.data());
  }
  if (pFile->pBaseName != nullptr && pFile->pFileName == nullptr) {
    pFile->pFileName = Concat(acBaseName.data(), acExt.data());
  }
}

int DATAFILE_WriteConditioned(const DataFile* pFile, MemImage* pImage, uint32_t LineAlign, uint32_t BlockAlign) {
  std::array<char, ERROR_TEXT_SIZE> acError{};
  return SREC_WriteConditioned(pImage, pFile->pPath, acError.data(), acError.size(), LineAlign, BlockAlign);
}

int DATAFILE_ReadMot(const DataFile* pFile, MemImage* pImage, char* pErrText, uint32_t ErrTextSize) {
  return MOT_Read(pImage, pFile->pPath, pErrText, ErrTextSize);
}

int DATAFILE_ReadHex(const DataFile* pFile, MemImage* pImage, char* pErrText, uint32_t ErrTextSize) {
  return HEX_Read(pImage, pFile->pPath, pErrText, ErrTextSize);
}

int DATAFILE_ReadBin(const DataFile* pFile, MemImage* pImage, char* pErrText, uint32_t ErrTextSize) {
  return BIN_Read(pImage, pFile->pPath, pErrText, ErrTextSize, pFile->BaseAddr);
}
