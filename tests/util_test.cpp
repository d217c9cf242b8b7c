// Texts, numbers and the two formatters.
#include <gtest/gtest.h>

#include <array>
#include <cstdarg>
#include <cstdint>
#include <string>

#include "util/format.h"
#include "util/number.h"
#include "util/plain_format.h"
#include "util/print.h"
#include "util/report.h"
#include "util/text.h"

namespace {

TEST(Text, CopyCutsAndTellsTheWholeSize) {
  struct {
    const char* pSrc;
    uint32_t Size;
    uint32_t Result;
    const char* pDest;
  } const aCase[] = {{"abc", 8, 4, "abc"},
                     {"abc", 4, 4, "abc"},
                     {"abc", 3, 4, "ab"},
                     {"abc", 1, 4, ""},
                     {"", 2, 1, ""},
                     {"abc", 0, UTIL_COPY_NOTHING, "??"},
                     {nullptr, 3, UTIL_COPY_NOTHING, "??"}};
  for (const auto& Case : aCase) {
    char acDest[9] = "??";
    EXPECT_EQ(Case.Result, UTIL_CopyString(acDest, Case.pSrc, Case.Size));
    EXPECT_STREQ(Case.pDest, acDest);
  }
  EXPECT_EQ(UTIL_COPY_NOTHING, UTIL_CopyString(nullptr, "abc", 4));
}

TEST(Text, AppendStaysWithinTheBuffer) {
  struct {
    uint32_t Size;
    const char* pDest;
  } const aCase[] = {{8, "abcd"}, {5, "abcd"}, {4, "abc"}, {3, "ab"}, {2, "ab"}, {0, "ab"}};
  for (const auto& Case : aCase) {
    char acDest[8] = "ab";
    UTIL_AppendString(acDest, "cd", Case.Size);
    EXPECT_STREQ(Case.pDest, acDest) << Case.Size;
  }
}

TEST(Text, ComparesWholeTextsWithoutRegardToAsciiCase) {
  EXPECT_EQ(0, UTIL_CompareNoCase(".HEX", ".hex"));
  EXPECT_LT(UTIL_CompareNoCase("-a", "-AA"), 0);
  EXPECT_GT(UTIL_CompareNoCase("-BaseAddr", "-A"), 0);
  EXPECT_NE(0, UTIL_CompareNoCase("@", "`"));
  EXPECT_LT(UTIL_CompareNoCase("\x80", "a"), 0);  // folded bytes are taken as signed
  EXPECT_EQ(2U, UTIL_StrLenMax("abc", 2));
  EXPECT_EQ(3U, UTIL_StrLenMax("abc", 9));
}

TEST(Number, ParsesHexadecimalOnly) {
  struct {
    const char* pText;
    int Result;
    uint32_t Value;
    const char* pRest;
  } const aCase[] = {{"2000", 0, 0x2000, ""},
                     {" \t\r\n0X1fz", 0, 0x1F, "z"},
                     {"-10", 0, 0xFFFFFFF0, ""},
                     {"100k", 0, 0x100, "k"},
                     {"123456789A", 0, 0x3456789A, ""},
                     {"0", 0, 0, ""},
                     {"-0xA.", 0, 0xFFFFFFF6, "."},
                     {"0x", -1, 0, "0x"},
                     {"+1", -1, 0, "+1"},
                     {"", -1, 0, ""},
                     {"g1", -1, 0, "g1"},
                     {"\v1", -1, 0, "\v1"},
                     {"--1", -1, 0, "--1"},
                     {"- 1", -1, 0, "- 1"}};
  for (const auto& Case : aCase) {
    const char* pCursor = Case.pText;
    uint32_t Value = 99;
    EXPECT_EQ(Case.Result, UTIL_ParseHex32(&pCursor, &Value)) << Case.pText;
    EXPECT_EQ(Case.Value, Value) << Case.pText;
    EXPECT_STREQ(Case.pRest, pCursor) << Case.pText;
  }
  EXPECT_EQ(2U, UTIL_AbsDiff(3, 5));
  EXPECT_EQ(2U, UTIL_AbsDiff(5, 3));
}

TEST(Report, CollectsErrorsOnly) {
  char acText[4] = "old";
  ErrorTextBuffer Buffer{acText, sizeof(acText)};
  UTIL_CollectErrorText(&Buffer, 1, "new");
  EXPECT_STREQ("old", acText);
  UTIL_CollectErrorText(&Buffer, REPORT_LEVEL_ERROR, "longer");
  EXPECT_STREQ("lon", acText);
}

std::string Plain(const char* pFormat, ...) {
  std::array<char, 40> acText;
  acText.fill('?');
  va_list Args;
  va_start(Args, pFormat);
  const char* pEnd = UTIL_vsnprintf(acText.data(), acText.size(), pFormat, Args);
  va_end(Args);
  EXPECT_EQ('\0', *pEnd);
  return acText.data();
}

/// Formats into room for Size characters; the whole length stands behind the text.
std::string Full(int32_t Size, const char* pFormat, ...) {
  std::array<char, 100> acText;
  acText.fill('?');
  FormatBuffer Buffer{acText.data(), Size, 0};
  va_list Args;
  va_start(Args, pFormat);
  const int32_t Length = UTIL_FormatV(&Buffer, pFormat, Args);
  va_end(Args);
  EXPECT_EQ('?', acText[static_cast<size_t>(Size)]);
  return acText.data() + std::string("|") + std::to_string(Length);
}

void* PointerTo(uintptr_t Value) {
  return reinterpret_cast<void*>(Value);
}

TEST(Format, PlainEngineHasItsOwnRepertoire) {
  EXPECT_EQ("-1|-   12|-2147483648|  0|-007", Plain("%d|%5d|%d|%3d|%.3d", -1, -12, INT32_MIN, 0, -7));
  EXPECT_EQ("-1|18446744073709551615|ffffffff", Plain("%lld|%llu|%llx", INT64_C(-1), UINT64_MAX, UINT64_C(0xFFFFFFFF)));
  EXPECT_EQ("4294967295|ff|FF|    1234|  001", Plain("%lu|%x|%X|%08X|%5.3u", UINT32_MAX, 255, 255, 0x1234, 1));
  EXPECT_EQ("a|abc|(null)|%|", Plain("%5c|%9.1s|%s|%%|%", 'a', "abc", static_cast<const char*>(nullptr)));
  EXPECT_EQ("    beef|0000beef", Plain("%20p|%.8p", PointerTo(0xBEEF), PointerTo(0xBEEF)));
  EXPECT_EQ("[][][5d][7][8]", Plain("[%o][%_][%-5d][%u][%i]", 7, 8));  // what it does not know takes no argument
  EXPECT_EQ(std::string(39, ' '), Plain("%99999999999d", 1));
  EXPECT_EQ(std::string(39, 'x'), Plain("%s", std::string(50, 'x').c_str()));
  char acOne[2] = "?";
  va_list None{};
  EXPECT_EQ(acOne, UTIL_vsnprintf(acOne, 0, "abc", None));
  EXPECT_STREQ("?", acOne);
}

TEST(Format, FullEngineHasItsOwnRepertoire) {
  EXPECT_EQ("-1|  -12|-12  |-0012|+5| 5|-12  .|33",
            Full(99, "%d|%5d|%-5d|%05d|%+d|% d|%-05d.", -1, -12, -12, -12, 5, 5, -12));
  EXPECT_EQ("00001234|05|FF|FF|17|4294967295|+1|34",
            Full(99, "%08X|%02X|%x|%#X|%o|%u|%+u", 0x1234, 5, 255, 255, 15, -1, 1));
  EXPECT_EQ("  007|007|  7|7  |0|-7|22", Full(99, "%05.3d|%.*d|%*d|%*d|%.d|%.*d", 7, 3, 7, 3, 7, -3, 7, 0, -5, -7));
  EXPECT_EQ("1|1", Full(99, "%llu", UINT64_C(0xFFFFFFFF00000001)));
  EXPECT_EQ("ab|    ab|ab    |(null)|23",
            Full(99, "%.2s|%6.2s|%-6.2s|%s", "abc", "abc", "abc", static_cast<const char*>(nullptr)));
  EXPECT_EQ("a|%|0000BEEF|+0000BEEF|22", Full(99, "%5c|%%|%20.1p|%+p", 'a', PointerTo(0xBEEF), PointerTo(0xBEEF)));
  EXPECT_EQ("[][][7]|7", Full(99, "[%i][%_d][%hhlu]", 7));
  EXPECT_EQ("ab|2", Full(99, "ab%3"));
  EXPECT_EQ("abcd|8", Full(5, "%s", "abcdefgh"));
  EXPECT_EQ("1   |2147483647", Full(5, "%*d|%d", INT32_MIN, 1, 2));
  EXPECT_EQ("|3", Full(1, "abc"));
  char acNone[2] = "?";
  EXPECT_EQ(3, UTIL_snprintf(acNone, 0, "abc"));
  EXPECT_STREQ("?", acNone);
}

TEST(Format, PrintedMessagesAreCutAndLongFormatsDropped) {
  testing::internal::CaptureStdout();
  UTIL_Printf("%s", std::string(3000, 'x').c_str());
  const std::string TooLong(4096, 'y');
  void (*const pfPrint)(const char*, ...) = UTIL_Printf;  // past the compiler's check of formats
  pfPrint(TooLong.c_str());
  pfPrint(nullptr);
  EXPECT_EQ(std::string(2047, 'x'), testing::internal::GetCapturedStdout());
}

}  // namespace
