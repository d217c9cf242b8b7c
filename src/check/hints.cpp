#include "check/hints.h"

#include <algorithm>
#include <array>

namespace {

constexpr std::string_view BYTE_ORDER_MARK = "\xEF\xBB\xBF";
constexpr std::string_view BLANKS = " \t\r\n";

/// How much of a file shows that it is text; a shorter one is text if it has this many bytes.
constexpr size_t TEXT_SIZE = 64;
constexpr size_t MIN_TEXT_SIZE = 4;

bool IsText(std::string_view Text) {
  const auto IsShown = [](char c) { return (c >= ' ' && c <= '~') || BLANKS.find(c) != std::string_view::npos; };
  Text = Text.substr(0, TEXT_SIZE);
  return Text.size() >= MIN_TEXT_SIZE && std::all_of(Text.begin(), Text.end(), IsShown);
}

/// Whether a text begins with the mark of a record and the eight digits that each record has.
bool IsRecord(std::string_view Text, char Mark) {
  return Text.size() > 8 && Text[0] == Mark &&
         Text.substr(1, 8).find_first_not_of("0123456789ABCDEFabcdef") == std::string_view::npos;
}

}  // namespace

CheckForeign CHECK_NameForeign(std::string_view Bytes, bool IsBinary) {
  const std::string_view Text = Bytes.substr(Bytes.starts_with(BYTE_ORDER_MARK) ? BYTE_ORDER_MARK.size() : 0);
  const std::string_view Rest = Text.substr(std::min(Text.find_first_not_of(BLANKS), Text.size()));
  const bool HoldsRecords = IsRecord(Rest, ':') || IsRecord(Rest, 'S');
  const std::array<CheckForeign, 14> aForeign = {{
      {Bytes.empty(), "it is empty: make or fetch it again", CHECK_ERROR},
      {Bytes.starts_with("version https://git-lfs"), "it is a Git LFS pointer: 'git lfs pull' fetches the file",
       CHECK_WARNING},
      {Bytes.starts_with("\x7F\x45LF"), "it is an ELF file: convert it with objcopy", CHECK_WARNING},
      {Bytes.starts_with("UF2\n"), "it is a UF2 file, which Blockfit does not read", CHECK_WARNING},
      {Bytes.starts_with("\x1F\x8B"), "it is compressed with gzip: unpack it first", CHECK_NOTE},
      {Bytes.starts_with("PK\x03\x04"), "it is a zip archive: unpack it first", CHECK_NOTE},
      {Bytes.starts_with("\xFF\xFE"), "it is UTF-16 text: save it as ASCII", CHECK_ERROR},
      {Bytes.starts_with("\xFE\xFF"), "it is UTF-16 text: save it as ASCII", CHECK_ERROR},
      {IsRecord(Bytes, ':'), "it is an Intel HEX file: rename it to .hex", CHECK_WARNING},
      {IsRecord(Bytes, 'S'), "it is an S-record file: rename it to .srec", CHECK_WARNING},
      {IsRecord(Bytes, 's'), "it begins with a lower-case s: change it to S in every line", CHECK_ERROR},
      {HoldsRecords && Text.size() < Bytes.size(), "it begins with a byte order mark: save it without one",
       CHECK_ERROR},
      {HoldsRecords, "it begins with a blank line or a space: remove it", CHECK_ERROR},
      {IsText(Text), "it is other text: fetch it again if it is an error page, or convert its format", CHECK_WARNING},
  }};
  const auto IsIt = [&](const CheckForeign& Row) { return Row.Applies && !(IsBinary && Row.Level == CHECK_ERROR); };
  const auto* pRow = std::find_if(aForeign.begin(), aForeign.end(), IsIt);
  return pRow != aForeign.end() ? *pRow : CheckForeign{};
}
