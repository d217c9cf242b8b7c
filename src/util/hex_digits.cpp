#include "util/hex_digits.h"

#include <bit>
#include <cstring>

// Both directions take eight bytes and their sixteen digits at a time: a few vector operations for what would be eight
// rounds of table look-ups, three to four times as fast (bench/micro.cpp). These are the compilers' portable vectors;
// where the target has none, they become plain code.

namespace {

constexpr uint32_t BLOCK_BYTES = 8;

using Bytes8 = uint8_t __attribute__((vector_size(8)));
using Bytes16 = uint8_t __attribute__((vector_size(16)));
using Pairs8 = uint16_t __attribute__((vector_size(16)));  ///< Eight lanes that hold two neighbouring bytes each.

constexpr bool IS_FIRST_LOW = std::endian::native == std::endian::little;

/// The first and the second byte of each pair, in memory order.
Pairs8 FirstOf(Pairs8 Pairs) {
  return IS_FIRST_LOW ? Pairs & 0xFF : Pairs >> 8;
}

Pairs8 SecondOf(Pairs8 Pairs) {
  return IS_FIRST_LOW ? Pairs >> 8 : Pairs & 0xFF;
}

Pairs8 MakePairs(Pairs8 First, Pairs8 Second) {
  return IS_FIRST_LOW ? First | Second << 8 : First << 8 | Second;
}

/// Decodes sixteen digits. *pBad gets bits set in the places of those that are none.
Bytes8 DecodeBlock(const uint8_t* pDigits, Bytes16* pBad) {
  Bytes16 Text;
  std::memcpy(&Text, pDigits, sizeof(Text));
  const Bytes16 Digit = Text - '0';
  const Bytes16 Letter = (Text | 0x20) - 'a';
  const Bytes16 IsDigit = reinterpret_cast<Bytes16>(Digit < 10);
  const Bytes16 IsLetter = reinterpret_cast<Bytes16>(Letter < 6);
  *pBad |= ~(IsDigit | IsLetter);
  const Pairs8 Nibbles = reinterpret_cast<Pairs8>((Digit & IsDigit) | ((Letter + 10) & IsLetter));
  return __builtin_convertvector(FirstOf(Nibbles) << 4 | SecondOf(Nibbles), Bytes8);
}

void EncodeBlock(const uint8_t* pBytes, char* pDigits) {
  Bytes8 Block;
  std::memcpy(&Block, pBytes, sizeof(Block));
  const Pairs8 Wide = __builtin_convertvector(Block, Pairs8);
  const Bytes16 Nibbles = reinterpret_cast<Bytes16>(MakePairs(Wide >> 4, Wide & 0xF));
  const Bytes16 IsLetter = reinterpret_cast<Bytes16>(Nibbles > 9);
  const Bytes16 Text = Nibbles + '0' + (IsLetter & ('A' - '0' - 10));
  std::memcpy(pDigits, &Text, sizeof(Text));
}

bool IsAnySet(const Bytes16& Vector) {
  std::array<uint64_t, 2> aHalf;
  std::memcpy(aHalf.data(), &Vector, sizeof(aHalf));
  return (aHalf[0] | aHalf[1]) != 0;
}

/// Returns the sum of the bytes modulo 256, added up by a multiplication once they have 16 bits each.
uint8_t SumOf(const Bytes8& Vector) {
  constexpr uint64_t LOW_BYTES = 0x00FF00FF00FF00FF;
  uint64_t Bytes = 0;
  std::memcpy(&Bytes, &Vector, sizeof(Bytes));
  const uint64_t Sums = (Bytes & LOW_BYTES) + (Bytes >> 8 & LOW_BYTES);
  return static_cast<uint8_t>(Sums * 0x0001000100010001 >> 48);
}

}  // namespace

bool UTIL_DecodeHex(const uint8_t* pDigits, uint32_t NumBytes, uint8_t* pBytes, uint8_t* pSum) {
  Bytes16 Bad{};
  Bytes8 BlockSum{};
  uint32_t i = 0;
  for (; i + BLOCK_BYTES <= NumBytes; i += BLOCK_BYTES) {
    const Bytes8 Block = DecodeBlock(pDigits + 2 * size_t{i}, &Bad);
    BlockSum += Block;
    std::memcpy(pBytes + i, &Block, sizeof(Block));
  }
  unsigned AllNibbles = 0;
  unsigned Sum = SumOf(BlockSum);
  for (; i < NumBytes; ++i) {
    const unsigned High = UTIL_HEX_DIGIT_VALUE[pDigits[2 * size_t{i}]];
    const unsigned Low = UTIL_HEX_DIGIT_VALUE[pDigits[2 * size_t{i} + 1]];
    const unsigned Value = High << 4 | Low;
    AllNibbles |= High | Low;
    pBytes[i] = static_cast<uint8_t>(Value);
    Sum += Value;
  }
  *pSum = static_cast<uint8_t>(*pSum + Sum);
  return AllNibbles <= 0xF && !IsAnySet(Bad);
}

char* UTIL_EncodeHex(const uint8_t* pBytes, uint32_t NumBytes, char* pDigits) {
  uint32_t i = 0;
  for (; i + BLOCK_BYTES <= NumBytes; i += BLOCK_BYTES) {
    EncodeBlock(pBytes + i, pDigits + 2 * size_t{i});
  }
  for (; i < NumBytes; ++i) {
    pDigits[2 * size_t{i}] = "0123456789ABCDEF"[pBytes[i] >> 4];
    pDigits[2 * size_t{i} + 1] = "0123456789ABCDEF"[pBytes[i] & 0xF];
  }
  return pDigits + 2 * size_t{NumBytes};
}
