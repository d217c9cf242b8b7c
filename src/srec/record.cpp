#include "srec/record.h"

#include <array>
#include <cstring>

#include "util/hex_digits.h"

namespace {

/// A record holds at most the count byte and the 255 bytes it can count.
constexpr uint32_t MAX_RECORD_BYTES = 256;
/// 'S' and the type, two digits a byte, CR LF.
constexpr uint32_t MAX_LINE_CHARS = 2 + 2 * MAX_RECORD_BYTES + 2;

using RecordBytes = std::array<uint8_t, MAX_RECORD_BYTES>;

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

/// S-record checksum: the ones' complement of the low byte of the sum of all bytes before it.
uint8_t ChecksumOf(const uint8_t* pBytes, uint32_t NumBytes) {
  uint8_t Sum = 0;  // no wider than needed, so that the compiler can add many at a time
  for (uint32_t i = 0; i < NumBytes; ++i) {
    Sum = static_cast<uint8_t>(Sum + pBytes[i]);
  }
  return static_cast<uint8_t>(~Sum);
}

/// Builds count, address, data and checksum. Returns how many bytes that makes.
uint32_t BuildRecord(RecordBytes* pRecord, uint32_t NumAddressBytes, uint32_t Address, uint32_t NumData,
                     const uint8_t* pData) {
  uint8_t* p = pRecord->data();
  *p++ = static_cast<uint8_t>(NumAddressBytes + NumData + 1);
  for (uint32_t i = NumAddressBytes; i > 0; --i) {
    *p++ = static_cast<uint8_t>(Address >> (8 * (i - 1)));
  }
  if (NumData != 0) {
    std::memcpy(p, pData, NumData);
  }
  const uint32_t NumSummed = 1 + NumAddressBytes + NumData;
  (*pRecord)[NumSummed] = ChecksumOf(pRecord->data(), NumSummed);
  return NumSummed + 1;
}

}  // namespace

int32_t SREC_EncodeRecord(OutStream* pStream, uint32_t Type, uint32_t Address, int32_t NumBytes, const uint8_t* pData) {
  const uint32_t NumAddressBytes = NumAddressBytesOf(Type);
  const uint32_t NumData = NumBytes > 0 ? static_cast<uint32_t>(NumBytes) : 0;
  if (NumAddressBytes == 0 || NumData > MAX_RECORD_BYTES - 2 - NumAddressBytes) {
    return 0;
  }
  RecordBytes aRecord;
  const uint32_t NumRecordBytes = BuildRecord(&aRecord, NumAddressBytes, Address, NumData, pData);

  std::array<char, MAX_LINE_CHARS> acLine;
  acLine[0] = 'S';
  acLine[1] = static_cast<char>('0' + Type);
  char* pEnd = UTIL_EncodeHex(aRecord.data(), NumRecordBytes, acLine.data() + 2);
  *pEnd++ = '\r';
  *pEnd++ = '\n';
  const uint32_t NumChars = static_cast<uint32_t>(pEnd - acLine.data());
  OUTSTREAM_Write(pStream, acLine.data(), NumChars);
  return static_cast<int32_t>(NumChars);
}
