#include "command/DisplayText.h"

#include <gtest/gtest.h>

namespace tesker::test {
namespace {

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

TEST(DisplayText, WritesEveryMarkOfTheReadingDirectionOut) {
  const std::pair<const char *, const char *> marks[] = {
      {"\xD8\x9C", "\\u{61c}"},      {"\xE2\x80\x8E", "\\u{200e}"}, {"\xE2\x80\x8F", "\\u{200f}"},
      {"\xE2\x80\xAA", "\\u{202a}"}, {"\xE2\x80\xAE", "\\u{202e}"}, {"\xE2\x81\xA6", "\\u{2066}"},
      {"\xE2\x81\xA9", "\\u{2069}"}};
  for (const auto &[mark, shown] : marks)
    EXPECT_EQ(displayText(std::string("a") + mark + ".app"), std::string("a") + shown + ".app");
}

TEST(DisplayText, WritesEveryCharacterOutThatShowsNothing) {
  const std::pair<const char *, const char *> characters[] = {
      {"\xC2\xAD", "\\u{ad}"},           {"\xE2\x80\x8D", "\\u{200d}"},
      {"\xE2\x80\xA8", "\\u{2028}"},     {"\xE2\x81\xA0", "\\u{2060}"},
      {"\xE2\x81\xAF", "\\u{206f}"},     {"\xEF\xBF\xB9", "\\u{fff9}"},
      {"\xEF\xBF\xBB", "\\u{fffb}"},     {"\xF3\xA0\x80\x81", "\\u{e0001}"},
      {"\xF3\xA0\x81\xBF", "\\u{e007f}"}};
  for (const auto &[character, shown] : characters)
    EXPECT_EQ(displayText(character), shown);
}

TEST(DisplayText, LeavesTheNeighboursOfThoseAlone) {
  for (const char *visible :
       {"\xC2\xAC", "\xC2\xAE", "\xD8\x9B", "\xD8\x9D", "\xE2\x80\x90", "\xE2\x80\xA7",
        "\xE2\x80\xAF", "\xE2\x80\xB0", "\xE2\x81\xB0", "\xEF\xBF\xBC"})
    EXPECT_EQ(displayText(visible), visible);
}

TEST(DisplayText, DoublesTheBackslashSoThatNoTwoTextsLookTheSame) {
  EXPECT_EQ(displayText("\\x1b"), "\\\\x1b");
}

TEST(DisplayText, CountsColumnsAsATerminalDoes) {
  EXPECT_EQ(displayColumns("abc"), 3u);
  EXPECT_EQ(displayColumns("\xC3\xA4"), 1u);
  EXPECT_EQ(displayColumns("\xE6\x97\xA5"), 2u);
  EXPECT_EQ(displayColumns("a\xCC\x88"), 1u); // a combining mark
  EXPECT_EQ(displayColumns("\xFF"), 1u);      // shown as one replacement character
}

} // namespace
} // namespace tesker::test
