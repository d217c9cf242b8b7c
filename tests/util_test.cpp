// Texts, numbers and the two formatters.
#include <gtest/gtest.h>

#include <cstdarg>

#include "util/format.h"
#include "util/number.h"
#include "util/print.h"
#include "util/report.h"
#include "util/text.h"

namespace {

TEST(Text, IsCutToItsBuffer) {
  char acText[4] = "";
  EXPECT_EQ(4U, UTIL_CopyString(acText, "abc", 3));
  EXPECT_STREQ("ab", acText);
  UTIL_AppendString(acText, "cd", 4);
  EXPECT_STREQ("abc", acText);
  UTIL_AppendString(acText, "d", 3);
  EXPECT_EQ(UTIL_COPY_NOTHING, UTIL_CopyString(acText, "x", 0));
  EXPECT_EQ(UTIL_COPY_NOTHING, UTIL_CopyString(acText, nullptr, 4));
  EXPECT_EQ(UTIL_COPY_NOTHING, UTIL_CopyString(nullptr, "x", 4));
  ErrorTextBuffer Buffer{acText, sizeof(acText)};
  UTIL_CollectErrorText(&Buffer, REPORT_LEVEL_ERROR - 1, "no error");
  EXPECT_STREQ("abc", acText);
}

TEST(Text, IsComparedWithoutRegardToAsciiCase) {
  EXPECT_EQ(0, UTIL_CompareNoCase(".HEXAZ", ".hexaz"));
  EXPECT_LT(UTIL_CompareNoCase("-a", "-AA"), 0);
  EXPECT_NE(0, UTIL_CompareNoCase("@", "`"));
  EXPECT_NE(0, UTIL_CompareNoCase("[", "{"));
  EXPECT_LT(UTIL_CompareNoCase("\x80", "a"), 0) << "bytes are taken as signed";
}

/// Returns the value, if there is one, and the rest of the text.
std::string Parse(const char* pText) {
  uint32_t Value = 99;
  const bool IsNumber = UTIL_ParseHex32(&pText, &Value) == 0;
  return (IsNumber || Value != 0 ? std::to_string(Value) : "none") + "|" + pText;
}

TEST(Number, IsHexadecimal) {
  EXPECT_EQ("31|z", Parse(" \t\r\n0X1fz"));
  EXPECT_EQ("4294967286|.", Parse("-0xA."));
  EXPECT_EQ("878082202|", Parse("123456789A"));
  for (const std::string Text : {"\v1", "--1", "- 1", " 0x"}) {
    EXPECT_EQ("none|" + Text, Parse(Text.c_str()));
  }
  EXPECT_EQ(2U, UTIL_AbsDiff(3, 5));
  EXPECT_EQ(4U, UTIL_AbsDiff(7, 3));
}

std::string Plain(const char* pFormat, ...) {
  char acText[40];
  va_list Args;
  va_start(Args, pFormat);
  EXPECT_EQ('\0', *UTIL_vsnprintf(acText, sizeof(acText), pFormat, Args));
  EXPECT_EQ(acText, UTIL_vsnprintf(acText, 0, "nothing", Args));
  va_end(Args);
  return acText;
}

/// Formats into room for Size characters. Returns the text and the length of the complete text.
template <uint32_t Size = 99, typename... Arguments>
std::string Full(const char* pFormat, Arguments... Args) {
  int32_t (*volatile pfFormat)(char*, uint32_t, const char*, ...) =
      UTIL_snprintf;  // past the compiler's check of formats
  char acText[Size + 2] = {};
  acText[Size] = '?';
  const int32_t Length = pfFormat(acText, Size, pFormat, Args...);
  EXPECT_EQ('?', acText[Size]);
  return acText + ("|" + std::to_string(Length));
}

void* const BEEF = reinterpret_cast<void*>(0xBEEF);
const char* const NO_TEXT = nullptr;

TEST(Format, PlainEngineHasItsOwnRepertoire) {
  EXPECT_EQ("-1|-   12|-2147483648|  0|-007", Plain("%d|%5d|%d|%3d|%.3d", -1, -12, INT32_MIN, 0, -7));
  EXPECT_EQ("-1|18446744073709551615|ffffffff", Plain("%lld|%llu|%llx", INT64_C(-1), UINT64_MAX, UINT64_C(0xFFFFFFFF)));
  EXPECT_EQ("-5|ff|FF|    1234|  001", Plain("%ld|%x|%X|%08X|%5.3u", -5, 255, 255, 0x1234, 1));
  EXPECT_EQ("a|abc|(null)|%|    beef|0000beef", Plain("%5c|%9.1s|%s|%%|%20p|%.8p%", 'a', "abc", NO_TEXT, BEEF, BEEF));
  EXPECT_EQ("[][][5d][7][8]", Plain("[%o][%_][%-5d][%u][%i]", 7, 8)) << "unknown conversions take no argument";
  EXPECT_EQ(std::string(39, ' '), Plain("%99999999999d", 1));
  EXPECT_EQ(std::string(39, 'x'), Plain("%s", std::string(50, 'x').c_str()));
  void (*const pfPrint)(const char*, ...) = UTIL_Printf;  // hides the formats from the compiler
  testing::internal::CaptureStdout();
  pfPrint(nullptr);
  pfPrint(std::string(4096, '%').c_str());
  pfPrint((std::string(4094, '%') + "y").c_str());
  EXPECT_EQ(std::string(2047, '%'), testing::internal::GetCapturedStdout());
}

TEST(Format, FullEngineHasItsOwnRepertoire) {
  EXPECT_EQ("-1|  -12|-12  |-0012|+5| 5|26", Full("%d|%5d|%-5d|%05d|%+d|% d", -1, -12, -12, -12, 5, 5));
  EXPECT_EQ("00001234|05|FF|FF|17|4294967295|31", Full("%08X|%02X|%x|%#X|%o|%u", 0x1234, 5, 255, 255, 15, -1));
  EXPECT_EQ("  007|007|  7|7  |0|-07|23", Full("%05.3d|%.*d|%*d|%*d|%.d|%03.*d", 7, 3, 7, 3, 7, -3, 7, 0, -5, -7));
  EXPECT_EQ("ab|    ab|ab    |(null)|23", Full("%.2s|%6.2s|%-6.2s|%s", "abc", "abc", "abc", NO_TEXT));
  EXPECT_EQ("a|%|0000BEEF|+0000BEEF|22", Full("%5c|%%|%20.1p|%+p", 'a', BEEF, BEEF));
  EXPECT_EQ("[][][7][7  ][+7]ab|18", Full("[%i][%_d][%hhlu][%-03u][%+u]ab%_", 7, 7, 7));
  EXPECT_EQ("abcd|8", Full<5>("%s%3", "abcdefgh"));
  EXPECT_EQ("1   |2147483647", Full<5>("%*d|%d", INT32_MIN, 1, 2));
  EXPECT_EQ("|3", Full<1>("abc"));
  EXPECT_EQ("?|3", Full<0>("abc"));
}

}  // namespace
