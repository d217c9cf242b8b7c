#include "support/byte_map.h"

#include <algorithm>
#include <array>

#include "consumer.h"

bool AddBytes(ByteMap* pMap, uint64_t Addr, const std::vector<uint8_t>& Bytes) {
  if (Bytes.empty()) {
    return true;
  }
  const auto Next = pMap->lower_bound(Addr);
  if (Next != pMap->end() && Next->first - Addr < Bytes.size()) {
    return false;
  }
  for (size_t i = 0; i < Bytes.size(); ++i) {
    pMap->emplace_hint(Next, Addr + i, Bytes[i]);
  }
  return true;
}

ByteMap BytesOf(MemImage* pImage) {
  ByteMap Map;
  std::array<uint8_t, 32> aData{};
  uint64_t Addr = 0;
  for (;;) {
    const int64_t Num = MEMIMG_ReadData(pImage, Addr, UINT64_MAX, 0, 0xFF, aData.data(), nullptr, &Addr, 32, 0, 0);
    for (int64_t i = 0; i < Num; ++i) {
      Map.emplace_hint(Map.end(), Addr + static_cast<uint64_t>(i), aData[static_cast<size_t>(i)]);
    }
    Addr += static_cast<uint64_t>(Num);
    if (Num == 0 || Addr == 0) {
      return Map;
    }
  }
}

std::optional<ByteMap> ReadConditioned(const std::string& Text, size_t BlockSize) {
  ByteMap Map;
  const auto Sink = [](void* pContext, uint32_t Addr, const uint8_t* pData, size_t NumBytes) {
    return AddBytes(static_cast<ByteMap*>(pContext), Addr, {pData, pData + NumBytes}) ? 0 : 1;
  };
  const size_t NumBlocks = (Text.size() + BlockSize - 1) / BlockSize;
  for (size_t i = NumBlocks; i-- > 0;) {
    const std::string Block = Text.substr(i * BlockSize, BlockSize);
    const ConsumerStatus Expected = i + 1 == NumBlocks ? CONSUMER_END : CONSUMER_MORE;
    if (CONSUMER_ReadBlock(Block.data(), Block.size(), Sink, &Map, nullptr) != Expected) {
      return std::nullopt;
    }
  }
  return NumBlocks != 0 ? std::optional(Map) : std::nullopt;
}
