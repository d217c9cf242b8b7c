#include "srec/record.h"

#include <array>

#include "util/hex_digits.h"

namespace {

/// A record holds at most the count byte and the 255 bytes it can count.
constexpr uint32_t MAX_RECORD_BYTES = 256;
/// 'S' and the type, two digits a byte, CR LF.
constexpr uint32_t MAX_LINE_CHARS = 2 + 2 * MAX_RECORD_BYTES + 2;

/// Returns the number of address bytes, or 0 for a type this program does not write.
uint32_t NumAddressBytesOf(uint32_t Type) {
  switch (Type) {
    case SREC_TYPE_DATA16:
    case SREC_TYPE_END16:
      return 2;
    case SREC_TYPE_DATA24:
      return 3;
    case SREC_TYPE_DATA32:
      return 4;
    default:
      return 0;
  }
}

/// A line under construction. Bytes go into it as they come: put together first, they would have to wait to be read
/// back in vectors (bench/micro.cpp, EncodeRecord).
struct RecordLine {
  std::array<char, MAX_LINE_CHARS> acText;
  char* pEnd;   ///< Behind the last character, in acText.
  uint8_t Sum;  ///< Of the bytes in it, modulo 256.
};

void PutByte(RecordLine* pLine, uint32_t Byte) {
  *pLine->pEnd++ = "0123456789ABCDEF"[Byte >> 4 & 0xF];
  *pLine->pEnd++ = "0123456789ABCDEF"[Byte & 0xF];
  pLine->Sum = static_cast<uint8_t>(pLine->Sum + Byte);
}

void PutBytes(RecordLine* pLine, const uint8_t* pBytes, uint32_t NumBytes) {
  pLine->pEnd = UTIL_EncodeHex(pBytes, NumBytes, pLine->pEnd);
  uint8_t Sum = pLine->Sum;  // no wider than needed, so that the compiler can add many at a time
  for (uint32_t i = 0; i < NumBytes; ++i) {
    Sum = static_cast<uint8_t>(Sum + pBytes[i]);
  }
  pLine->Sum = Sum;
}

}  // namespace

int32_t SREC_EncodeRecord(OutStream* pStream, uint32_t Type, uint32_t Address, int32_t NumBytes, const uint8_t* pData) {
  const uint32_t NumAddressBytes = NumAddressBytesOf(Type);
  const uint32_t NumData = NumBytes > 0 ? static_cast<uint32_t>(NumBytes) : 0;
  if (NumAddressBytes == 0 || NumData > MAX_RECORD_BYTES - 2 - NumAddressBytes) {
    return 0;
  }
  RecordLine Line;
  Line.pEnd = Line.acText.data();
  Line.Sum = 0;
  *Line.pEnd++ = 'S';
  *Line.pEnd++ = static_cast<char>('0' + Type);
  PutByte(&Line, NumAddressBytes + NumData + 1);
  for (uint32_t i = NumAddressBytes; i > 0; --i) {
    PutByte(&Line, Address >> (8 * (i - 1)) & 0xFF);
  }
  PutBytes(&Line, pData, NumData);
  PutByte(&Line, static_cast<uint8_t>(~Line.Sum));  // the checksum: the ones' complement of the sum of all before it
  *Line.pEnd++ = '\r';
  *Line.pEnd++ = '\n';
  const uint32_t NumChars = static_cast<uint32_t>(Line.pEnd - Line.acText.data());
  OUTSTREAM_Write(pStream, Line.acText.data(), NumChars);
  return static_cast<int32_t>(NumChars);
}
