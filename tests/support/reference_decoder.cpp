#include "support/reference_decoder.h"

#include <algorithm>
#include <numeric>
#include <string_view>

namespace {

/// A text that is consumed from the front. Once anything expected is missing, it stays wrong.
struct Scanner {
  std::string_view Rest;
  bool IsRight = true;

  void Require(bool IsMet) {
    IsRight = IsRight && IsMet;
  }
  /// Takes a character, which must be one of these.
  char Take(std::string_view AnyOf) {
    const char c = Rest.empty() ? '\0' : Rest.front();
    Require(c != '\0' && AnyOf.find(c) != std::string_view::npos);
    Rest.remove_prefix(IsRight ? 1 : 0);
    return c;
  }
  [[nodiscard]] bool IsAtEnd() const {
    return !IsRight || Rest.empty() || Rest.front() == '\0' || Rest.front() == '\x1A';
  }
  bool SkipSpaceToEnd() {
    Rest.remove_prefix(std::min(Rest.find_first_not_of(" \t\r\n"), Rest.size()));
    return IsAtEnd();
  }
  uint8_t TakeByte() {
    constexpr const char* DIGITS = "0123456789ABCDEFabcdef";
    const std::string Pair{Take(DIGITS), Take(DIGITS)};
    return static_cast<uint8_t>(IsRight ? std::stoul(Pair, nullptr, 16) : 0);
  }
  /// Takes a record: a first byte, then NumUncounted bytes and as many as the first byte counts, together at least one.
  std::vector<uint8_t> TakeRecord(size_t NumUncounted, uint8_t Sum) {
    std::vector<uint8_t> Record{TakeByte()};
    const size_t NumBytes = 1 + std::max<size_t>(Record[0] + NumUncounted, 1);
    while (Record.size() < NumBytes) {
      Record.push_back(TakeByte());
    }
    Require(static_cast<uint8_t>(std::accumulate(Record.begin(), Record.end(), 0U)) == Sum);
    return Record;
  }
};

uint32_t BigEndian(const uint8_t* pBegin, const uint8_t* pEnd) {
  return std::accumulate(pBegin, pEnd, 0U, [](uint32_t Sum, uint8_t Byte) { return Sum << 8 | Byte; });
}

}  // namespace

std::optional<ByteMap> DecodeRecords(const std::string& Text, bool IsHex) {
  Scanner File{Text};
  ByteMap Map;
  uint32_t Upper = 0;
  File.Require(Text.starts_with(IsHex ? ':' : 'S'));
  while (!File.SkipSpaceToEnd()) {
    File.Take(IsHex ? ":" : "S");
    if (!IsHex) {
      File.SkipSpaceToEnd();
    }
    const char Type = IsHex ? '1' : File.Take("0123456789");
    const std::vector<uint8_t> Record = File.TakeRecord(IsHex ? 4 : 0, IsHex ? 0 : 0xFF);
    const size_t NumAddr = static_cast<size_t>(Type - '0') + 1;
    const size_t NumFrame = 1 + NumAddr + (IsHex ? 1 : 0);  // count, address and type
    const bool IsData = IsHex ? Record[3] == 0 : Type >= '1' && Type <= '3';
    if (File.IsRight && IsData) {
      File.Require(Record.size() > NumFrame && AddBytes(&Map, Upper + BigEndian(&Record[1], &Record[1 + NumAddr]),
                                                        {&Record[NumFrame], &Record.back()}));
    } else if (IsHex && (Record[3] == 2 || Record[3] == 4 || Record[3] == 0xFF)) {
      File.Require(Record[0] >= 2);
      Upper = File.IsRight ? BigEndian(&Record[4], &Record[6]) * (Record[3] == 2 ? 0x10 : 0x10000) : 0;
    }
    if (IsHex && !File.IsAtEnd()) {
      File.Take("\r\n");
    }
  }
  return File.IsRight ? std::optional(Map) : std::nullopt;
}
