/// A file path, the reader that its extension selects, and the memory image that the reader fills.
#pragma once

#include <array>
#include <cstdint>

#include "memimage/mem_image.h"

struct DataFile;

/// One row of the extension table.
struct FormatHandler {
  const char* pExt;  ///< With the leading '.'; letter case does not matter.
  /// Reads the file into the image. Returns 0 or more; or a negative value, with a text in pErrText. It is one of the
  /// three functions below, so it also identifies the format.
  int (*pfRead)(const DataFile* pFile, MemImage* pImage, char* pErrText, uint32_t ErrTextSize);
};

/// The extension table.
extern const std::array<FormatHandler, 7> DATAFILE_EXTENSIONS;

/// The record owns its texts. All but pPath are derived on first request and may be null.
struct DataFile {
  char* pPath;                    ///< Name and extension, joined at creation.
  char* pDir;                     ///< Directory with its final '/'.
  char* pBaseName;                ///< File name without directory and extension.
  char* pFileName;                ///< Base name followed by the extension.
  const FormatHandler* pHandler;  ///< Borrowed from the extension table.
  uint32_t BaseAddr;              ///< Load address of a raw binary file.
  MemImage* pImage;               ///< Owned; null until the file has been read.
};

/// Creation statuses; 0 means success.
constexpr int DATAFILE_ERR_UNSUPPORTED = -1;  ///< The table has no such extension.
constexpr int DATAFILE_ERR_CREATE = -2;       ///< The name or extension is empty, or memory is exhausted.
constexpr int DATAFILE_ERR_NO_NAME = -3;      ///< No name or path was given.

/// Creates a DataFile for pPath (may be null). The extension begins at the last '.' after the first character; if there
/// is none, the whole path is both name and extension. BaseAddr: load address of a raw binary file. *pStatus receives
/// the status.
/// Returns the DataFile, owned by the caller until DATAFILE_Free, or null.
[[nodiscard]] DataFile* DATAFILE_CreateFromPath(const char* pPath, uint32_t BaseAddr, int* pStatus);

/// Creates a DataFile whose path is pName (may be null) followed by pExt. pStatus may be null.
[[nodiscard]] DataFile* DATAFILE_Create(const char* pName, const char* pExt, uint32_t BaseAddr, int* pStatus);

/// Releases the DataFile and its image. Null is ignored.
void DATAFILE_Free(DataFile* pFile);

/// Returns the image, which the DataFile owns. The first request reads the file. Returns null if that fails (the next
/// request tries again) or pFile is null.
[[nodiscard]] MemImage* DATAFILE_GetImage(DataFile* pFile);

/// Returns the file name without directory and extension, owned by the DataFile; null if there is none.
const char* DATAFILE_GetBaseName(DataFile* pFile);

/// Returns the file name with its extension, owned by the DataFile; null if there is none.
const char* DATAFILE_GetFileName(DataFile* pFile);

/// Derives directory, base name and file name from the path, unless they are already there. Takes at most 255
/// characters of each part.
void DATAFILE_SplitName(DataFile* pFile);

/// The read operations of the extension table: Motorola S-records, Intel HEX and raw binary. Each reads the file at the
/// DataFile's path into the image. Returns the reader's result; pErrText receives the text of an error.
[[nodiscard]] int DATAFILE_ReadMot(const DataFile* pFile, MemImage* pImage, char* pErrText, uint32_t ErrTextSize);
[[nodiscard]] int DATAFILE_ReadHex(const DataFile* pFile, MemImage* pImage, char* pErrText, uint32_t ErrTextSize);
[[nodiscard]] int DATAFILE_ReadBin(const DataFile* pFile, MemImage* pImage, char* pErrText, uint32_t ErrTextSize);

/// Writes an image as a conditioned file to the DataFile's path. Returns SREC_WriteConditioned's result.
[[nodiscard]] int DATAFILE_WriteConditioned(const DataFile* pFile, MemImage* pImage, uint32_t LineAlign,
                                            uint32_t BlockAlign);
