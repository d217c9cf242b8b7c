#include "check/hints.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <numeric>
#include <string_view>

#include "util/hex_digits.h"

namespace {

/// What a file is that begins with certain bytes, letters in either case.
struct Signature {
  std::string_view Bytes;
  CheckForeign Meaning;
};

constexpr CheckForeign HTML = {"it is a web page: did a download return an error page?", CHECK_WARNING};
constexpr CheckForeign UTF_16 = {"it is UTF-16 text: save it as ASCII", CHECK_ERROR};
constexpr std::string_view BYTE_ORDER_MARK = "\xEF\xBB\xBF";

/// A web page may begin with a byte order mark or blanks.
constexpr std::array<Signature, 4> HTML_SIGNATURES = {{{"<!d", HTML}, {"<ht", HTML}, {"<he", HTML}, {"<?x", HTML}}};

constexpr std::array<Signature, 10> SIGNATURES = {{
    {"version https://git-lfs", {"it is a Git LFS pointer: 'git lfs pull' fetches the file", CHECK_WARNING}},
    {"\x7F\x45LF", {"it is an ELF file: convert it with objcopy", CHECK_WARNING}},
    {"UF2\n", {"it is a UF2 file, which Blockfit does not read", CHECK_WARNING}},
    {"\x1F\x8B", {"it is compressed with gzip: unpack it first", CHECK_NOTE}},
    {"PK\x03\x04", {"it is a zip archive: unpack it first", CHECK_NOTE}},
    {BYTE_ORDER_MARK, {"it begins with a byte order mark: save it without one", CHECK_ERROR}},
    {"\xFF\xFE", UTF_16},
    {"\xFE\xFF", UTF_16},
    {"@", {"it looks like TI-TXT, which Blockfit does not read", CHECK_ERROR}},
    {"%", {"it looks like Tektronix hex, which Blockfit does not read", CHECK_ERROR}},
}};

bool IsSpace(char c) {
  return std::isspace(static_cast<uint8_t>(c)) != 0;
}

/// Returns the meaning of the signature that a text begins with; none: null.
template <size_t Num>
CheckForeign Find(const std::array<Signature, Num>& Table, std::string_view Text) {
  const auto IsSame = [](uint8_t A, uint8_t B) { return std::tolower(A) == std::tolower(B); };
  for (const Signature& Row : Table) {
    if (Text.size() >= Row.Bytes.size() && std::equal(Row.Bytes.begin(), Row.Bytes.end(), Text.begin(), IsSame)) {
      return Row.Meaning;
    }
  }
  return {nullptr, CHECK_ERROR};
}

std::string_view WithoutMarkAndBlanks(std::string_view Text) {
  Text.remove_prefix(Text.starts_with(BYTE_ORDER_MARK) ? BYTE_ORDER_MARK.size() : 0);
  Text.remove_prefix(static_cast<size_t>(std::find_if_not(Text.begin(), Text.end(), IsSpace) - Text.begin()));
  return Text;
}

}  // namespace

CheckForeign CHECK_NameForeign(const CheckSource& Source) {
  const CheckBytes Bytes = CHECK_ReadAgain(Source, 0);
  const std::string_view Text{reinterpret_cast<const char*>(Bytes.aByte.data()), Bytes.NumBytes};
  CheckForeign Found = Find(HTML_SIGNATURES, WithoutMarkAndBlanks(Text));
  if (Found.pText != nullptr || Text.empty()) {
    return Found;
  }
  if (CHECK_CountDigits(Source, 0).IsSumRight) {
    return {
        Text[0] == ':' ? "it is an Intel HEX file: rename it to .hex" : "it is an S-record file: rename it to .srec",
        CHECK_WARNING};
  }
  if (IsSpace(Text[0])) {
    return {"it begins with a blank line or a space: remove it", CHECK_ERROR};
  }
  if (Text[0] == 's') {
    return {"the S of an S-record is upper-case", CHECK_ERROR};
  }
  return Find(SIGNATURES, Text);
}

CheckDigits CHECK_CountDigits(const CheckSource& Source, uint64_t Offset) {
  constexpr uint32_t MAX_BYTES = 300;  // more than any record has
  const CheckBytes Bytes = CHECK_ReadAgain(Source, Offset);
  const uint8_t* pText = Bytes.aByte.data();
  const uint8_t* pTextEnd = pText + Bytes.NumBytes;
  const bool IsHex = Bytes.NumBytes > 0 && pText[0] == ':';
  const bool IsSRecord = Bytes.NumBytes > 1 && pText[0] == 'S' && std::isdigit(pText[1]) != 0;
  const auto IsNoDigit = [](uint8_t c) { return UTIL_HEX_DIGIT_VALUE[c] == UTIL_NO_HEX_DIGIT; };
  const uint8_t* pDigits = pText + (IsHex ? 1 : 2);
  const uint8_t* pEnd = IsHex || IsSRecord ? std::find_if(pDigits, pTextEnd, IsNoDigit) : pDigits;
  CheckDigits Found{static_cast<uint32_t>(pEnd - pDigits), 0, false, false};
  Found.IsLineEnd = pEnd == pTextEnd || *pEnd == '\r' || *pEnd == '\n';
  std::array<uint8_t, MAX_BYTES> aByte;
  uint8_t Sum = 0;
  if (Found.NumDigits >= 2 && Found.NumDigits <= 2 * MAX_BYTES &&
      UTIL_DecodeHex(pDigits, Found.NumDigits / 2, aByte.data(), &Sum)) {
    // The count of Intel HEX does not count itself, the address, the type and the checksum; that of S-records, itself.
    const uint32_t NumBytes = IsHex ? aByte[0] + 5U : std::max<uint32_t>(aByte[0], 1) + 1;
    Found.NumWanted = 2 * NumBytes;
    Sum = std::accumulate(aByte.begin(), aByte.begin() + std::min(NumBytes, Found.NumDigits / 2), uint8_t{0});
    Found.IsSumRight = Found.NumDigits >= Found.NumWanted && Sum == (IsHex ? 0x00 : 0xFF);
  }
  return Found;
}
