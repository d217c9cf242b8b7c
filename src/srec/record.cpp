#include "srec/record.h"

#include <algorithm>
#include <array>

#include "util/hex_digits.h"

namespace {

/// The count byte and the most bytes it can count.
constexpr uint32_t MAX_RECORD_BYTES = 256;
/// 'S' and the type, two digits per byte, CR LF.
constexpr uint32_t MAX_LINE_CHARS = 2 + 2 * MAX_RECORD_BYTES + 2;

/// Returns the number of address bytes, or 0 for a type this program does not write.
uint32_t AddressBytesOfType(uint32_t Type) {
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

}  // namespace

int32_t SREC_EncodeRecord(OutStream* pStream, uint32_t Type, uint32_t Address, int32_t NumBytes, const uint8_t* pData) {
  const uint32_t NumAddressBytes = AddressBytesOfType(Type);
  const uint32_t NumData = NumBytes > 0 ? static_cast<uint32_t>(NumBytes) : 0;
  if (NumAddressBytes == 0 || NumData > MAX_RECORD_BYTES - 2 - NumAddressBytes) {
    return 0;
  }
  std::array<uint8_t, MAX_RECORD_BYTES - 1> aByte;  // all but the checksum
  uint8_t* pByte = aByte.data();
  *pByte++ = static_cast<uint8_t>(NumAddressBytes + NumData + 1);
  for (uint32_t i = NumAddressBytes; i > 0; --i) {
    *pByte++ = static_cast<uint8_t>(Address >> 8 * (i - 1));
  }
  pByte = std::copy_n(pData, NumData, pByte);

  std::array<char, MAX_LINE_CHARS> acLine;
  acLine[0] = 'S';
  acLine[1] = static_cast<char>('0' + Type);
  uint8_t Sum = 0;
  char* pEnd = UTIL_EncodeHex(aByte.data(), static_cast<uint32_t>(pByte - aByte.data()), acLine.data() + 2, &Sum);
  const uint8_t Checksum = static_cast<uint8_t>(~Sum);  // the ones' complement of the sum of all bytes before it
  pEnd = UTIL_EncodeHex(&Checksum, 1, pEnd, &Sum);
  *pEnd++ = '\r';
  *pEnd++ = '\n';
  const uint32_t NumChars = static_cast<uint32_t>(pEnd - acLine.data());
  OUTSTREAM_Write(pStream, acLine.data(), NumChars);
  return static_cast<int32_t>(NumChars);
}
