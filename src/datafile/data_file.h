/// A file path bound to the reader that its extension selects, and to the memory image that this reads.
#pragma once

#include <array>
#include <cstdint>

#include "memimage/mem_image.h"

struct DataFile;

/// One row of the extension table.
struct FormatHandler {
  const char* pExt;  ///< With its leading '.', compared without regard to letter case.
  /// Reads the file into the image. Returns 0 or above; negative on failure, with a text in pErrText. It also tells the
  /// format: it is one of the three below.
  int (*pfRead)(const DataFile* pFile, MemImage* pImage, char* pErrText, uint32_t ErrTextSize);
};

/// The extension table.
extern const std::array<FormatHandler, 7> DATAFILE_EXTENSIONS;

/// Texts are owned by the record; those but pPath are derived on first request and may be absent.
struct DataFile {
  char* pPath;                    ///< Name followed by extension, as composed at creation.
  char* pDir;                     ///< Directory with its final '/'.
  char* pBaseName;                ///< File name without directory and extension.
  char* pFileName;                ///< Base name followed by the extension.
  const FormatHandler* pHandler;  ///< Borrowed from the extension table.
  uint32_t BaseAddr;              ///< Load address of a raw binary file.
  MemImage* pImage;               ///< Owned; null until the file has been read.
};

/// Statuses of a creation; 0 means created.
constexpr int DATAFILE_ERR_UNSUPPORTED = -1;  ///< The extension matches no row of the table.
constexpr int DATAFILE_ERR_CREATE = -2;       ///< Empty name or extension, or no memory.
constexpr int DATAFILE_ERR_NO_NAME = -3;      ///< No name or path was given.

/// Creates a DataFile for pPath (may be null), whose extension begins at its last '.'; one that is the path's first
/// character does not count. BaseAddr: load address for raw binary files. *pStatus receives the status.
/// Returns the DataFile, owned by the caller until DATAFILE_Free, or null.
[[nodiscard]] DataFile* DATAFILE_CreateFromPath(const char* pPath, uint32_t BaseAddr, int* pStatus);

/// Creates a DataFile whose path is pName (may be null) followed by pExt. pStatus may be null.
[[nodiscard]] DataFile* DATAFILE_Create(const char* pName, const char* pExt, uint32_t BaseAddr, int* pStatus);

/// Releases the DataFile with its image. Null is ignored.
void DATAFILE_Free(DataFile* pFile);

/// Returns the image, still owned by the DataFile, reading the file on the first request; null when that fails (the
/// next request reads again) or pFile is null.
[[nodiscard]] MemImage* DATAFILE_GetImage(DataFile* pFile);

/// Returns the file name without directory and extension, owned by the DataFile; null when there is none.
const char* DATAFILE_GetBaseName(DataFile* pFile);

/// Returns the file name with its extension, owned likewise; null when there is none.
const char* DATAFILE_GetFileName(DataFile* pFile);

/// Derives what is still missing of directory, base name and file name from the path, each part at most 255 characters.
void DATAFILE_SplitName(DataFile* pFile);

/// The read operations of the extension table: Motorola S-records, Intel HEX and raw binary. Each reads the DataFile's
/// path into the image. Returns the reader's result, with the text of an error in pErrText.
[[nodiscard]] int DATAFILE_ReadMot(const DataFile* pFile, MemImage* pImage, char* pErrText, uint32_t ErrTextSize);
[[nodiscard]] int DATAFILE_ReadHex(const DataFile* pFile, MemImage* pImage, char* pErrText, uint32_t ErrTextSize);
[[nodiscard]] int DATAFILE_ReadBin(const DataFile* pFile, MemImage* pImage, char* pErrText, uint32_t ErrTextSize);

/// Writes an image as a conditioned file to the DataFile's path. Returns SREC_WriteConditioned's result.
[[nodiscard]] int DATAFILE_WriteConditioned(const DataFile* pFile, MemImage* pImage, uint32_t LineAlign,
                                            uint32_t BlockAlign);
