#include "check/hints.h"

#include <algorithm>
#include <array>
#include <numeric>

#include "util/hex_digits.h"

namespace {

constexpr std::string_view BYTE_ORDER_MARK = "\xEF\xBB\xBF";
constexpr std::string_view BLANKS = " \t\r\n";

/// How much of a file shows that it is text; a shorter one is text if it has this many bytes.
constexpr size_t TEXT_SIZE = 64;
constexpr size_t MIN_TEXT_SIZE = 4;

/// What a file is that begins with certain bytes.
struct Signature {
  std::string_view Bytes;
  CheckForeign Meaning;
};

constexpr CheckForeign UTF_16 = {"it is UTF-16 text: save it as ASCII", CHECK_ERROR};

constexpr std::array<Signature, 7> SIGNATURES = {{
    {"version https://git-lfs", {"it is a Git LFS pointer: 'git lfs pull' fetches the file", CHECK_WARNING}},
    {"\x7F\x45LF", {"it is an ELF file: convert it with objcopy", CHECK_WARNING}},
    {"UF2\n", {"it is a UF2 file, which Blockfit does not read", CHECK_WARNING}},
    {"\x1F\x8B", {"it is compressed with gzip: unpack it first", CHECK_NOTE}},
    {"PK\x03\x04", {"it is a zip archive: unpack it first", CHECK_NOTE}},
    {"\xFF\xFE", UTF_16},
    {"\xFE\xFF", UTF_16},
}};

bool IsText(std::string_view Text) {
  const auto IsShown = [](char c) { return (c >= ' ' && c <= '~') || BLANKS.find(c) != std::string_view::npos; };
  Text = Text.substr(0, TEXT_SIZE);
  return Text.size() >= MIN_TEXT_SIZE && std::all_of(Text.begin(), Text.end(), IsShown);
}

/// What keeps a text from being read as records, though it may hold some.
CheckForeign NameText(std::string_view Bytes, std::string_view Text) {
  const size_t NumBlanks = std::min(Text.find_first_not_of(BLANKS), Text.size());
  if (Bytes.empty()) {
    return {"it is empty", CHECK_ERROR};
  }
  if (Text[0] == 's') {
    return {"the S of an S-record is upper-case", CHECK_ERROR};
  }
  if (CHECK_CountDigits(Text.substr(NumBlanks)).NumWanted == 0) {
    return {};
  }
  return {Text.size() != Bytes.size() ? "it begins with a byte order mark: save it without one"
                                      : "it begins with a blank line or a space: remove it",
          CHECK_ERROR};
}

}  // namespace

CheckForeign CHECK_NameForeign(std::string_view Bytes, bool IsBinary) {
  for (const Signature& Row : SIGNATURES) {
    if (Bytes.starts_with(Row.Bytes) && !(IsBinary && Row.Meaning.BinaryLevel == CHECK_ERROR)) {
      return Row.Meaning;
    }
  }
  if (CHECK_CountDigits(Bytes).IsSumRight) {
    return {
        Bytes[0] == ':' ? "it is an Intel HEX file: rename it to .hex" : "it is an S-record file: rename it to .srec",
        CHECK_WARNING};
  }
  const std::string_view Text = Bytes.substr(Bytes.starts_with(BYTE_ORDER_MARK) ? BYTE_ORDER_MARK.size() : 0);
  const CheckForeign Found = IsBinary ? CheckForeign{} : NameText(Bytes, Text);
  if (Found.pText == nullptr && IsText(Text)) {
    return {"it is text: did a download return an error page, or is it of another format?", CHECK_WARNING};
  }
  return Found;
}

CheckDigits CHECK_CountDigits(std::string_view Text) {
  constexpr uint32_t MAX_BYTES = 300;  // more than any record has
  const bool IsHex = Text.starts_with(':');
  const bool IsSRecord = Text.size() > 1 && Text[0] == 'S' && Text[1] >= '0' && Text[1] <= '9';
  if (!IsHex && !IsSRecord) {
    return {};
  }
  Text.remove_prefix(IsHex ? 1 : 2);
  const auto IsNoDigit = [](char c) { return UTIL_HexDigitValue(c) == UTIL_NO_HEX_DIGIT; };
  const auto End = std::find_if(Text.begin(), Text.end(), IsNoDigit);
  CheckDigits Found{static_cast<uint32_t>(End - Text.begin()), 0, false, false};
  Found.IsLineEnd = End == Text.end() || *End == '\r' || *End == '\n';
  std::array<uint8_t, MAX_BYTES> aByte;
  uint8_t Sum = 0;
  if (Found.NumDigits >= 2 && Found.NumDigits <= 2 * MAX_BYTES &&
      UTIL_DecodeHex(reinterpret_cast<const uint8_t*>(Text.data()), Found.NumDigits / 2, aByte.data(), &Sum)) {
    // The count of Intel HEX does not count itself, the address, the type and the checksum; that of S-records, itself.
    const uint32_t NumBytes = IsHex ? aByte[0] + 5U : std::max<uint32_t>(aByte[0], 1) + 1;
    Found.NumWanted = 2 * NumBytes;
    Sum = std::accumulate(aByte.begin(), aByte.begin() + std::min(NumBytes, Found.NumDigits / 2), uint8_t{0});
    Found.IsSumRight = Found.NumDigits >= Found.NumWanted && Sum == (IsHex ? 0x00 : 0xFF);
  }
  return Found;
}
