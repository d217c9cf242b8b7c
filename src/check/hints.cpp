#include "check/hints.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <numeric>
#include <string_view>

#include "util/hex_digits.h"

namespace {

/// What a file is that begins with certain bytes.
struct Signature {
  std::string_view Bytes;
  const char* pText;
  bool IsForBinary;        ///< No raw binary file begins so by chance.
  CheckLevel BinaryLevel;  ///< How one that does is reported.
};

constexpr const char* HTML = "it is a web page: did a download return an error page?";
constexpr const char* UTF_16 = "it is UTF-16 text: save it as ASCII";
constexpr const char* BLANK = "it begins with a blank line or a space: remove it";

constexpr std::array<Signature, 19> SIGNATURES = {{
    {"<!DOCTYPE", HTML, true, CHECK_WARNING},
    {"<!doctype", HTML, true, CHECK_WARNING},
    {"<html", HTML, true, CHECK_WARNING},
    {"<HTML", HTML, true, CHECK_WARNING},
    {"version https://git-lfs", "it is a Git LFS pointer: 'git lfs pull' fetches the file", true, CHECK_WARNING},
    {"\x7F\x45LF", "it is an ELF file: convert it with objcopy", true, CHECK_WARNING},
    {"UF2\n", "it is a UF2 file, which Blockfit does not read", true, CHECK_WARNING},
    {"\x1F\x8B", "it is compressed with gzip: unpack it first", true, CHECK_NOTE},
    {"PK\x03\x04", "it is a zip archive: unpack it first", true, CHECK_NOTE},
    {"\xEF\xBB\xBF", "it begins with a byte order mark: save it without one", false, CHECK_NOTE},
    {"\xFF\xFE", UTF_16, false, CHECK_NOTE},
    {"\xFE\xFF", UTF_16, false, CHECK_NOTE},
    {"@", "it looks like TI-TXT, which Blockfit does not read", false, CHECK_NOTE},
    {"%", "it looks like Tektronix hex, which Blockfit does not read", false, CHECK_NOTE},
    {"s", "the S of an S-record is upper-case", false, CHECK_NOTE},
    {" ", BLANK, false, CHECK_NOTE},
    {"\t", BLANK, false, CHECK_NOTE},
    {"\r", BLANK, false, CHECK_NOTE},
    {"\n", BLANK, false, CHECK_NOTE},
}};

const Signature* FindSignature(const CheckBytes& Bytes) {
  const std::string_view Text{reinterpret_cast<const char*>(Bytes.aByte.data()), Bytes.NumBytes};
  const auto Matches = [&](const Signature& Row) { return Text.starts_with(Row.Bytes); };
  const Signature* pFound = std::find_if(SIGNATURES.begin(), SIGNATURES.end(), Matches);
  return pFound != SIGNATURES.end() ? pFound : nullptr;
}

/// Returns what a file is that begins with a complete record.
const char* NameRecord(const CheckSource& Source, const CheckBytes& Bytes) {
  if (!CHECK_CountDigits(Source, 0).IsSumRight) {
    return nullptr;
  }
  return Bytes.aByte[0] == ':' ? "it is an Intel HEX file: rename it to .hex"
                               : "it is an S-record file: rename it to .srec";
}

}  // namespace

const char* CHECK_NameForeign(const CheckSource& Source) {
  const CheckBytes Bytes = CHECK_ReadAgain(Source, 0);
  const Signature* pFound = FindSignature(Bytes);
  if (CHECK_IsRegular(Source) && Source.State.NumBytes == 0 && Bytes.NumBytes == 0) {
    return "it is empty";
  }
  return pFound != nullptr ? pFound->pText : NameRecord(Source, Bytes);
}

void CHECK_JudgeBinary(const CheckSource& Source, const CheckSink& Sink) {
  const CheckBytes Bytes = CHECK_ReadAgain(Source, 0);
  const Signature* pFound = FindSignature(Bytes);
  if (pFound != nullptr && pFound->IsForBinary) {
    CHECK_Report(Sink, pFound->BinaryLevel, pFound->pText, Source, READ_NOWHERE);
  } else if (const char* pText = NameRecord(Source, Bytes); pText != nullptr) {
    CHECK_Report(Sink, CHECK_WARNING, pText, Source, READ_NOWHERE);
  }
}

CheckDigits CHECK_CountDigits(const CheckSource& Source, uint64_t Offset) {
  const CheckBytes Bytes = CHECK_ReadAgain(Source, Offset);
  const uint8_t* pText = Bytes.aByte.data();
  const uint8_t* pTextEnd = pText + Bytes.NumBytes;
  const bool IsHex = Bytes.NumBytes > 0 && pText[0] == ':';
  const bool IsSRecord = Bytes.NumBytes > 1 && pText[0] == 'S' && std::isdigit(pText[1]) != 0;
  const auto IsNoDigit = [](uint8_t c) { return UTIL_HEX_DIGIT_VALUE[c] == UTIL_NO_HEX_DIGIT; };
  const uint8_t* pDigits = pText + (IsHex ? 1 : 2);
  const uint8_t* pEnd = IsHex || IsSRecord ? std::find_if(pDigits, pTextEnd, IsNoDigit) : pDigits;
  const bool IsLineEnd = pEnd == pTextEnd || *pEnd == '\r' || *pEnd == '\n';
  CheckDigits Found{static_cast<uint32_t>(pEnd - pDigits), 0, IsLineEnd, false};
  std::array<uint8_t, sizeof(Bytes.aByte) / 2> aByte;
  uint8_t Sum = 0;
  const bool IsCut = Found.NumDigits > aByte.size();  // longer than any record; the line may go on after these bytes
  if (Found.NumDigits >= 2 && !IsCut && UTIL_DecodeHex(pDigits, Found.NumDigits / 2, aByte.data(), &Sum)) {
    // The count of Intel HEX does not count itself, the address, the type and the checksum; that of S-records, itself.
    const uint32_t NumBytes = IsHex ? aByte[0] + 5U : std::max<uint32_t>(aByte[0], 1) + 1;
    Found.NumWanted = 2 * NumBytes;
    Sum = std::accumulate(aByte.begin(), aByte.begin() + std::min(NumBytes, Found.NumDigits / 2), uint8_t{0});
    Found.IsSumRight = Found.NumDigits >= Found.NumWanted && Sum == (IsHex ? 0x00 : 0xFF);
  }
  return Found;
}
