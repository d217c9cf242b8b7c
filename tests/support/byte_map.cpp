#include "support/byte_map.h"

#include <array>
#include <numeric>
#include <sstream>

#include "consumer.h"

bool AddBytes(ByteMap* pMap, uint64_t Addr, const std::vector<uint8_t>& Bytes) {
  const auto Next = pMap->lower_bound(Addr);
  if (Next != pMap->end() && Next->first - Addr < Bytes.size()) {
    return false;
  }
  for (size_t i = 0; i < Bytes.size(); ++i) {
    pMap->emplace_hint(Next, Addr + i, Bytes[i]);
  }
  return true;
}

std::shared_ptr<MemImage> NewImage() {
  return {MEMIMG_Create(), MEMIMG_Free};
}

ByteMap BytesOf(MemImage* pImage) {
  ByteMap Map;
  std::array<uint8_t, 32> aData{};
  uint64_t Addr = 0;
  for (;;) {
    const int64_t Num = MEMIMG_ReadData(pImage, Addr, UINT64_MAX, 0, '?', aData.data(), nullptr, &Addr, 32, 0, 0);
    for (int64_t i = 0; i < Num; ++i) {
      Map.emplace_hint(Map.end(), Addr++, aData[static_cast<size_t>(i)]);
    }
    if (Num == 0 || Addr == 0) {
      return Map;
    }
  }
}

std::string RunsOf(const ByteMap& Map) {
  std::ostringstream Text;
  uint64_t Next = 0;
  for (const auto& [Addr, Byte] : Map) {
    if (Addr != Next || Next == 0) {
      Text << ' ' << std::hex << Addr << '=';
    }
    Text << static_cast<char>(Byte);
    Next = Addr + 1;
  }
  return Text.str();
}

std::string MakeRecord(bool IsHex, unsigned Addr, const std::string& Data) {
  const size_t Count = Data.size() + (IsHex ? 0 : 3);
  std::vector<uint8_t> Bytes = {static_cast<uint8_t>(Count), static_cast<uint8_t>(Addr >> 8),
                                static_cast<uint8_t>(Addr)};
  Bytes.resize(IsHex ? 4 : 3);
  Bytes.insert(Bytes.end(), Data.begin(), Data.end());
  Bytes.push_back(static_cast<uint8_t>((IsHex ? 0 : -1) - std::accumulate(Bytes.begin(), Bytes.end(), 0)));
  std::string Text = IsHex ? ":" : "S1";
  for (const uint8_t Byte : Bytes) {
    Text += {"0123456789ABCDEF"[Byte / 16], "0123456789ABCDEF"[Byte % 16]};
  }
  return Text;
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
