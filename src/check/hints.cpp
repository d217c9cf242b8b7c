#include "check/hints.h"

#include <algorithm>
#include <array>

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

/// The digits of a record, right or wrong.
struct RecordDigits {
  uint32_t Num;        ///< Hexadecimal digits in a row, from the count on; 0: there is no record.
  uint32_t NumWanted;  ///< What the count asks for.
  bool IsLineEnd;      ///< Nothing else follows them on the line.
};

/// Counts the digits of the record that a text begins with.
RecordDigits CountDigits(std::string_view Text) {
  const bool IsHex = Text.starts_with(':');
  const bool IsSRecord = Text.size() > 1 && Text[0] == 'S' && Text[1] >= '0' && Text[1] <= '9';
  Text.remove_prefix(IsHex ? 1 : IsSRecord ? 2 : Text.size());
  const size_t Num = std::min(Text.find_first_not_of("0123456789ABCDEFabcdef"), Text.size());
  if (Num < 2) {
    return {};
  }
  const uint32_t Count = uint32_t{UTIL_HexDigitValue(Text[0])} << 4 | UTIL_HexDigitValue(Text[1]);
  // The count of Intel HEX does not count itself, the address, the type and the checksum; that of S-records, itself.
  const uint32_t NumBytes = IsHex ? Count + 5 : std::max(Count, 1U) + 1;
  return {static_cast<uint32_t>(Num), 2 * NumBytes, Num == Text.size() || Text[Num] == '\r' || Text[Num] == '\n'};
}

/// Whether a text begins with a record that has as many digits as its count asks for.
bool BeginsWithRecord(std::string_view Text) {
  const RecordDigits Digits = CountDigits(Text);
  return Digits.Num != 0 && Digits.Num == Digits.NumWanted;
}

bool IsText(std::string_view Text) {
  const auto IsShown = [](char c) { return (c >= ' ' && c <= '~') || BLANKS.find(c) != std::string_view::npos; };
  Text = Text.substr(0, TEXT_SIZE);
  return Text.size() >= MIN_TEXT_SIZE && std::all_of(Text.begin(), Text.end(), IsShown);
}

/// Names what keeps records from being read. Text: the bytes without a byte order mark.
const char* NameObstacle(std::string_view Bytes, std::string_view Text) {
  if (Bytes.empty()) {
    return "it is empty";
  }
  if (Bytes[0] == 's') {
    return "the S of an S-record is upper-case";
  }
  if (!BeginsWithRecord(Text.substr(std::min(Text.find_first_not_of(BLANKS), Text.size())))) {
    return nullptr;
  }
  return Text.size() != Bytes.size() ? "it begins with a byte order mark: save it without one"
                                     : "it begins with a blank line or a space: remove it";
}

}  // namespace

CheckForeign CHECK_NameForeign(std::string_view Bytes, bool IsBinary) {
  for (const Signature& Row : SIGNATURES) {
    if (Bytes.starts_with(Row.Bytes) && !(IsBinary && Row.Meaning.BinaryLevel == CHECK_ERROR)) {
      return Row.Meaning;
    }
  }
  if (BeginsWithRecord(Bytes)) {
    return {
        Bytes[0] == ':' ? "it is an Intel HEX file: rename it to .hex" : "it is an S-record file: rename it to .srec",
        CHECK_WARNING};
  }
  const std::string_view Text = Bytes.substr(Bytes.starts_with(BYTE_ORDER_MARK) ? BYTE_ORDER_MARK.size() : 0);
  const char* pObstacle = IsBinary ? nullptr : NameObstacle(Bytes, Text);
  if (pObstacle == nullptr && IsText(Text)) {
    return {"it is text: did a download return an error page, or is it of another format?", CHECK_WARNING};
  }
  return {pObstacle};
}

std::string CHECK_DescribeDamage(std::string_view Text) {
  const RecordDigits Digits = CountDigits(Text);
  const bool EndsEarly = Digits.Num < Digits.NumWanted && Digits.IsLineEnd;
  const std::string What =
      EndsEarly || Digits.Num > Digits.NumWanted
          ? CHECK_Format("its count asks for %u digits, the line has %u", Digits.NumWanted, Digits.Num)
          : "the line is damaged";
  return ": " + What + ". Make or fetch the file again";
}
