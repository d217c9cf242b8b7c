#include "srec/conditioned_writer.h"

#include <array>

#include "outstream/out_stream.h"
#include "srec/record.h"

namespace {

constexpr uint32_t MAX_PIECE_BYTES = 32;
constexpr uint32_t MIN_BLOCK_ALIGN = 34;
constexpr std::array<char, 12> END_RECORD = {'S', '9', '0', '3', '0', '0', '0', '0', 'F', 'C', '\r', '\n'};

/// Where the write in progress reports its error. There can be only one write at a time.
constinit ReportSink WriterSink{};

/// The file being written. Numbers have 64 bits, so no product of alignments wraps.
struct ConditionedFile {
  OutStream* pStream;
  uint64_t LineAlign;
  uint64_t BlockAlign;
  uint64_t NumInBlock;  ///< Characters written to the current block, fill included; below BlockAlign.
};

/// Bytes of one stored run. They become one record, or two of the same type if the record is cut.
struct Piece {
  uint64_t Addr;
  uint32_t NumBytes;
  uint32_t Type;
  const uint8_t* pData;
};

bool AreAlignmentsLegal(uint32_t LineAlign, uint32_t BlockAlign) {
  return LineAlign % 2 == 0 && BlockAlign >= MIN_BLOCK_ALIGN && BlockAlign % 2 == 0;
}

/// Returns the type with the shortest address that reaches LastAddr. Above 32 bits none does, and S3 is used.
uint32_t TypeFor(uint64_t LastAddr) {
  if (LastAddr < 0x10000) {
    return SREC_TYPE_DATA16;
  }
  return LastAddr < 0x1000000 ? SREC_TYPE_DATA24 : SREC_TYPE_DATA32;
}

/// Returns the length of a data record's line without its data: 'S', type, count, address, checksum, CR LF.
uint64_t OverheadOf(uint32_t Type) {
  return 2 * Type + 10;
}

/// Returns the characters left in the current block: BlockAlign at a block start, never 0.
uint64_t RoomIn(const ConditionedFile& File) {
  return File.BlockAlign - File.NumInBlock;
}

/// Counts written characters. A line can cross the end of a small block, or even two ends.
void Advance(ConditionedFile* pFile, uint64_t NumChars) {
  pFile->NumInBlock = (pFile->NumInBlock + NumChars) % pFile->BlockAlign;
}

/// Writes a record with the low 32 bits of its address.
void WriteRecord(ConditionedFile* pFile, const Piece& Part) {
  const int32_t NumChars = SREC_EncodeRecord(pFile->pStream, Part.Type, static_cast<uint32_t>(Part.Addr),
                                             static_cast<int32_t>(Part.NumBytes), Part.pData);
  Advance(pFile, static_cast<uint64_t>(NumChars));
}

/// Returns how many bytes of a piece that does not fit can go before the end of the block, in complete line groups.
uint32_t BytesBeforeCut(const ConditionedFile& File, const Piece& Whole) {
  const uint64_t Room = RoomIn(File);
  const uint64_t Overhead = OverheadOf(Whole.Type);
  const uint64_t GroupChars = 2 * File.LineAlign;
  if (GroupChars == 0 || Room <= Overhead) {
    return 0;
  }
  return static_cast<uint32_t>((Room - Overhead) / GroupChars * File.LineAlign);
}

/// Fills the rest of the block with CR LF pairs; a block that has just begun stays as it is. Lines and blocks are even.
void FillBlock(ConditionedFile* pFile) {
  const uint64_t Room = RoomIn(*pFile);
  if (Room == pFile->BlockAlign) {
    return;
  }
  for (uint64_t i = 0; i < Room / 2; ++i) {
    OUTSTREAM_Write(pFile->pStream, "\r\n", 2);
  }
  Advance(pFile, Room);
}

void WritePiece(ConditionedFile* pFile, Piece Rest) {
  if (RoomIn(*pFile) < OverheadOf(Rest.Type) + 2 * uint64_t{Rest.NumBytes}) {
    const uint32_t NumCut = BytesBeforeCut(*pFile, Rest);
    if (NumCut != 0) {
      WriteRecord(pFile, {Rest.Addr, NumCut, Rest.Type, Rest.pData});
      Rest = {Rest.Addr + NumCut, Rest.NumBytes - NumCut, Rest.Type, Rest.pData + NumCut};
    }
    FillBlock(pFile);
  }
  WriteRecord(pFile, Rest);
}

void WriteEndRecord(ConditionedFile* pFile) {
  if (RoomIn(*pFile) < END_RECORD.size()) {
    FillBlock(pFile);
  }
  OUTSTREAM_Write(pFile->pStream, END_RECORD.data(), END_RECORD.size());
}

/// Reads the first bytes at or above *pAddr, at most MAX_PIECE_BYTES and of one run, and sets *pAddr to their address.
/// Returns how many there are.
int64_t ReadPiece(MemImage* pImage, uint64_t* pAddr, uint8_t* pData) {
  return MEMIMG_ReadData(pImage, *pAddr, UINT64_MAX, 0, 0xFF, pData, nullptr, pAddr, MAX_PIECE_BYTES, 0, 0);
}

/// Writes all stored bytes, piece by piece, and the end record. Returns false, without an end record, after a byte at
/// the last 64-bit address: there is no address to go on from.
[[nodiscard]] bool WriteImage(ConditionedFile* pFile, MemImage* pImage) {
  std::array<uint8_t, MAX_PIECE_BYTES> aData;
  uint64_t Addr = 0;
  for (;;) {
    const int64_t NumBytes = ReadPiece(pImage, &Addr, aData.data());
    if (NumBytes == 0) {
      WriteEndRecord(pFile);
      return true;
    }
    const uint64_t LastAddr = Addr + static_cast<uint64_t>(NumBytes - 1);
    WritePiece(pFile, {Addr, static_cast<uint32_t>(NumBytes), TypeFor(LastAddr), aData.data()});
    if (LastAddr == UINT64_MAX) {
      return false;
    }
    Addr = LastAddr + 1;
  }
}

/// Creates, fills and closes the file. Returns whether all went well. Reports the text of a failed creation or write.
[[nodiscard]] bool WriteFile(MemImage* pImage, const char* pPath, uint32_t LineAlign, uint32_t BlockAlign) {
  std::array<char, 128> acMessage{};
  OutStream* pStream = OUTSTREAM_Create(pPath, acMessage.data(), acMessage.size());
  bool IsWritten = false;
  if (pStream != nullptr) {
    if (!AreAlignmentsLegal(LineAlign, BlockAlign)) {
      OUTSTREAM_Close(pStream);
      return false;
    }
    ConditionedFile File{pStream, LineAlign, BlockAlign, 0};
    IsWritten = WriteImage(&File, pImage);
  }
  OUTSTREAM_Close(pStream);
  if (acMessage[0] != '\0') {
    UTIL_ReportError(WriterSink, acMessage.data());
    return false;
  }
  return IsWritten;
}

}  // namespace

int SREC_WriteConditionedEx(MemImage* pImage, const char* pPath, ReportFn pfReport, void* pReportContext,
                            uint32_t LineAlign, uint32_t BlockAlign) {
  if (pImage == nullptr) {
    return -1;
  }
  MEMIMG_Lock(pImage);
  WriterSink = {pfReport, pReportContext};
  const uint32_t NumChanges = pImage->NumChanges;
  MEMIMG_FlushByteCache(pImage);
  const bool IsWritten = WriteFile(pImage, pPath, LineAlign, BlockAlign);
  if (!IsWritten) {
    pImage->NumChanges = NumChanges;
  }
  MEMIMG_Unlock(pImage);
  return IsWritten ? 0 : -1;
}

int SREC_WriteConditioned(MemImage* pImage, const char* pPath, char* pErrText, uint32_t ErrTextSize, uint32_t LineAlign,
                          uint32_t BlockAlign) {
  ErrorTextBuffer Buffer{pErrText, ErrTextSize};
  return SREC_WriteConditionedEx(pImage, pPath, UTIL_CollectErrorText, &Buffer, LineAlign, BlockAlign);
}
