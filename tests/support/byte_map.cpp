#include "support/byte_map.h"

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
  uint8_t aData[32];
  uint64_t Addr = 0;
  int64_t Num = 0;
  do {
    Num = MEMIMG_ReadData(pImage, Addr, UINT64_MAX, 0, '?', aData, nullptr, &Addr, sizeof(aData), 0, 0);
    for (int64_t i = 0; i < Num; ++i) {
      Map.emplace_hint(Map.end(), Addr++, aData[i]);
    }
  } while (Num != 0 && Addr != 0);
  return Map;
}

std::string RunsOf(const ByteMap& Map) {
  std::ostringstream Text;
  const uint64_t* pLast = nullptr;
  for (const auto& [Addr, Byte] : Map) {
    if (pLast == nullptr || *pLast + 1 != Addr) {
      Text << ' ' << std::hex << Addr << '=';
    }
    Text << static_cast<char>(Byte);
    pLast = &Addr;
  }
  return Text.str();
}

std::string MakeRecord(bool IsHex, unsigned Addr, const std::string& Data) {
  std::string Bytes = {static_cast<char>(Data.size() + (IsHex ? 0 : 3)), static_cast<char>(Addr >> 8),
                       static_cast<char>(Addr)};
  Bytes += (IsHex ? std::string(1, '\0') : "") + Data;
  Bytes += static_cast<char>((IsHex ? 0 : -1) - std::accumulate(Bytes.begin(), Bytes.end(), 0));
  std::string Text = IsHex ? ":" : "S1";
  for (const char Byte : Bytes) {
    Text += "0123456789ABCDEF"[Byte >> 4 & 0xF];
    Text += "0123456789ABCDEF"[Byte & 0xF];
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
