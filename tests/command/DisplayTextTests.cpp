#include "command/DisplayText.h"
#include "command/Utf8.h"

#include <gtest/gtest.h>

namespace tesker::test {
namespace {

TEST(Utf8, AcceptsCharactersOfEveryLength) {
  EXPECT_TRUE(isUtf8(""));
  EXPECT_TRUE(isUtf8("a\xC3\xA4\xE2\x82\xAC\xF0\x9F\x8D\x8E"));
  EXPECT_TRUE(isUtf8(std::string_view("\0", 1)));
  EXPECT_TRUE(isUtf8("\xF4\x8F\xBF\xBF"));
}

TEST(Utf8, RefusesOverlongFormsSurrogatesAndWhatIsTooHigh) {
  for (const char *bytes : {"\xC0\x80", "\xC1\xBF", "\xE0\x9F\xBF", "\xF0\x8F\xBF\xBF",
                            "\xED\xA0\x80", "\xED\xBF\xBF", "\xF4\x90\x80\x80", "\xF5\x80\x80\x80"})
    EXPECT_FALSE(isUtf8(bytes));
}

TEST(Utf8, RefusesBrokenCharacters) {
  for (const char *bytes : {"\x80", "\xC3", "\xE2\x82", "\xE2\x82z", "\xF0\x9F\x8D", "\xFF"})
    EXPECT_FALSE(isUtf8(bytes));
}

TEST(DisplayText, LeavesVisibleTextAlone) {
  EXPECT_EQ(displayText("Edit v2 (\xC3\xA4\xE6\x97\xA5)"), "Edit v2 (\xC3\xA4\xE6\x97\xA5)");
}

TEST(DisplayText, WritesControlCharactersOutSoThatNoTerminalObeysThem) {
  EXPECT_EQ(displayText("\x1b]0;x\x07"), "\\x1b]0;x\\x07");
  EXPECT_EQ(displayText("a\nb\tc\rd\x7f"), "a\\nb\\tc\\x0dd\\x7f");
  EXPECT_EQ(displayText(std::string_view("a\0b", 3)), "a\\x00b");
  EXPECT_EQ(displayText("\xC2\x9B"), "\\u{9b}"); // a control sequence in one character
}

TEST(DisplayText, WritesInvalidBytesOut) { EXPECT_EQ(displayText("a\xFF\xC3z"), "a\\xff\\xc3z"); }

TEST(DisplayText, WritesCharactersOutThatReorderOrHideTheirNeighbours) {
  EXPECT_EQ(displayText("a\xE2\x80\xAEgpj.exe"), "a\\u{202e}gpj.exe");
  EXPECT_EQ(displayText("\xE2\x80\x8B\xEF\xBB\xBF"), "\\u{200b}\\u{feff}");
}

TEST(DisplayText, DoublesTheBackslashSoThatNoTwoTextsLookTheSame) {
  EXPECT_EQ(displayText("\\x1b"), "\\\\x1b");
}

TEST(DisplayText, CountsColumnsAsATerminalDoes) {
  EXPECT_EQ(displayColumns("abc"), 3u);
  EXPECT_EQ(displayColumns("\xC3\xA4"), 1u);
  EXPECT_EQ(displayColumns("\xE6\x97\xA5"), 2u);
  EXPECT_EQ(displayColumns("a\xCC\x88"), 1u); // a combining mark
}

} // namespace
} // namespace tesker::test
