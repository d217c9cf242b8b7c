#include "support/reference_decoder.h"

#include <numeric>

namespace {

/// A text that is taken from the front; at its end there is nothing but NULs.
class Scanner {
 public:
  explicit Scanner(const std::string& Text) : m_Text(Text) {}

  [[nodiscard]] char Peek() const {
    return m_Pos < m_Text.size() ? m_Text[m_Pos] : '\0';
  }
  bool Take(const std::string& AnyOf) {
    const bool IsTaken = Peek() != '\0' && AnyOf.find(Peek()) != std::string::npos;
    m_Pos += IsTaken ? 1 : 0;
    return IsTaken;
  }
  void SkipSpace() {
    while (Take(" \t\r\n")) {
    }
  }
  [[nodiscard]] bool IsAtEnd() const {
    return Peek() == '\0' || Peek() == '\x1A';
  }
  /// Takes Num bytes of two digits; returns nothing when that is not what stands there.
  std::optional<std::vector<uint8_t>> TakeBytes(size_t Num) {
    std::vector<uint8_t> Bytes;
    for (size_t i = 0; i < Num; ++i) {
      const std::string Pair = m_Pos + 2 <= m_Text.size() ? m_Text.substr(m_Pos, 2) : "";
      if (Pair.empty() || Pair.find_first_not_of("0123456789ABCDEFabcdef") != std::string::npos) {
        return std::nullopt;
      }
      Bytes.push_back(static_cast<uint8_t>(std::stoul(Pair, nullptr, 16)));
      m_Pos += 2;
    }
    return Bytes;
  }

 private:
  const std::string& m_Text;
  size_t m_Pos = 0;
};

uint8_t SumOf(const std::vector<uint8_t>& Bytes) {
  return static_cast<uint8_t>(std::accumulate(Bytes.begin(), Bytes.end(), 0U));
}

uint32_t BigEndian(const std::vector<uint8_t>& Bytes) {
  return std::accumulate(Bytes.begin(), Bytes.end(), 0U, [](uint32_t Sum, uint8_t Byte) { return Sum << 8 | Byte; });
}

/// Takes a record's bytes: NumFrame and what the first byte counts beyond them.
std::optional<std::vector<uint8_t>> TakeRecord(Scanner* pText, size_t NumFrame) {
  Scanner Ahead = *pText;
  const auto Count = Ahead.TakeBytes(1);
  return Count ? pText->TakeBytes(NumFrame + Count->front()) : std::nullopt;
}

bool ApplyHexRecord(const std::vector<uint8_t>& Record, uint32_t* pUpper, ByteMap* pMap) {
  const std::vector<uint8_t> Data(Record.begin() + 4, Record.end() - 1);
  const uint32_t Offset = BigEndian({Record[1], Record[2]});
  const uint8_t Type = Record[3];
  if (Type == 0) {
    return AddBytes(pMap, static_cast<uint32_t>(*pUpper + Offset), Data);
  }
  if (Type == 2 || Type == 4 || Type == 0xFF) {
    if (Data.size() < 2) {
      return false;
    }
    *pUpper = BigEndian({Data[0], Data[1]}) * (Type == 2 ? 0x10 : 0x10000);
  }
  return true;
}

}  // namespace

std::optional<ByteMap> DecodeIntelHex(const std::string& Text) {
  Scanner Rest(Text);
  ByteMap Map;
  uint32_t Upper = 0;
  if (Rest.Peek() != ':') {
    return std::nullopt;
  }
  for (Rest.SkipSpace(); !Rest.IsAtEnd(); Rest.SkipSpace()) {
    if (!Rest.Take(":")) {
      return std::nullopt;
    }
    const auto Record = TakeRecord(&Rest, 5);
    if (!Record || SumOf(*Record) != 0 || !ApplyHexRecord(*Record, &Upper, &Map) ||
        !(Rest.Take("\r\n") || Rest.IsAtEnd())) {
      return std::nullopt;
    }
  }
  return Map;
}

std::optional<ByteMap> DecodeSRecords(const std::string& Text) {
  Scanner Rest(Text);
  ByteMap Map;
  if (Rest.Peek() != 'S') {
    return std::nullopt;
  }
  for (Rest.SkipSpace(); !Rest.IsAtEnd(); Rest.SkipSpace()) {
    if (!Rest.Take("S")) {
      return std::nullopt;
    }
    Rest.SkipSpace();
    const size_t Type = static_cast<size_t>(Rest.Peek() - '0');
    if (!Rest.Take("0123456789")) {
      return std::nullopt;
    }
    auto Record = TakeRecord(&Rest, 1);
    if (Record && Record->front() == 0) {
      const auto Checksum = Rest.TakeBytes(1);  // a count of 0 has a checksum all the same
      Record = Checksum ? std::optional(std::vector<uint8_t>{0, Checksum->front()}) : std::nullopt;
    }
    if (!Record || SumOf(*Record) != 0xFF) {
      return std::nullopt;
    }
    if (Type >= 1 && Type <= 3) {
      if (Record->front() < Type + 2) {
        return std::nullopt;
      }
      const auto DataBegin = Record->begin() + 2 + static_cast<std::ptrdiff_t>(Type);
      if (!AddBytes(&Map, BigEndian({Record->begin() + 1, DataBegin}), {DataBegin, Record->end() - 1})) {
        return std::nullopt;
      }
    }
  }
  return Map;
}
