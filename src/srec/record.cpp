#include "srec/record.h"

#include <array>
#include <cstddef>

#include "util/hex_digits.h"

namespace {

/// A record holds at most the count byte and the 255 bytes it can count.
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

/// Puts the count and the address as digits and adds their bytes to the sum. Returns the end of the line so far.
char* PutHead(char* pEnd, uint32_t Count, uint32_t Address, uint32_t NumAddressBytes, uint8_t* pSum) {
  std::array<uint8_t, 5> aHead{static_cast<uint8_t>(Count)};
  for (uint32_t i = 0; i < NumAddressBytes; ++i) {
    aHead[1 + i] = static_cast<uint8_t>(Address >> 8 * (NumAddressBytes - 1 - i));
  }
  return UTIL_EncodeHex(aHead.data(), 1 + NumAddressBytes, pEnd, pSum);
}

}  // namespace

int32_t SREC_EncodeRecord(OutStream* pStream, uint32_t Type, uint32_t Address, int32_t NumBytes, const uint8_t* pData) {
  const uint32_t NumAddressBytes = AddressBytesOfType(Type);
  const uint32_t NumData = NumBytes > 0 ? static_cast<uint32_t>(NumBytes) : 0;
  if (NumAddressBytes == 0 || NumData > MAX_RECORD_BYTES - 2 - NumAddressBytes) {
    return 0;
  }
  std::array<char, MAX_LINE_CHARS> acLine;
  uint8_t Sum = 0;
  char* pEnd = acLine.data();
  *pEnd++ = 'S';
  *pEnd++ = static_cast<char>('0' + Type);
  pEnd = PutHead(pEnd, NumAddressBytes + NumData + 1, Address, NumAddressBytes, &Sum);
  pEnd = UTIL_EncodeHex(pData, NumData, pEnd, &Sum);
  const uint8_t Checksum = static_cast<uint8_t>(~Sum);  // the ones' complement of the sum of all bytes before it
  pEnd = UTIL_EncodeHex(&Checksum, 1, pEnd, &Sum);
  *pEnd++ = '\r';
  *pEnd++ = '\n';
  const uint32_t NumChars = static_cast<uint32_t>(pEnd - acLine.data());
  OUTSTREAM_Write(pStream, acLine.data(), NumChars);
  return static_cast<int32_t>(NumChars);
}
