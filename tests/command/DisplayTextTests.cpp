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

TEST(ShortenedPath, IsWholeWhereItFits) {
  EXPECT_EQ(shortenedPath("/Apps/Edit", 10), "/Apps/Edit");
  EXPECT_EQ(shortenedPath("", 0), "");
}

TEST(ShortenedPath, LosesItsMiddleAndMoreOfItsBeginning) {
  EXPECT_EQ(shortenedPath("/Applications/Edit.app/Edit", 15), "/Appl\u2026.app/Edit");
  EXPECT_EQ(shortenedPath("/Applications/Edit.app/Edit", 2), "\u2026t");
  EXPECT_EQ(shortenedPath("/Applications/Edit.app/Edit", 1), "\u2026");
  EXPECT_EQ(shortenedPath("/Applications/Edit.app/Edit", 0), "");
}

TEST(ShortenedPath, TakesWideCharactersForWhatTheyAre) {
  const std::string wide = "/\u65e5\u672c\u8a9e/\u65e5\u672c\u8a9e"; // 14 columns
  EXPECT_EQ(shortenedPath(wide, 14), wide);
  EXPECT_EQ(shortenedPath(wide, 10), "/\u65e5\u2026\u65e5\u672c\u8a9e");
  EXPECT_EQ(shortenedPath(wide, 9), "/\u65e5\u2026\u672c\u8a9e");
  EXPECT_EQ(shortenedPath(wide, 2), "\u2026"); // half a character is none
}

TEST(ShortenedPath, LeavesMarksWithTheirCharacters) {
  const std::string marked = "e\u0301e\u0301e\u0301e\u0301e\u0301e\u0301"; // 6 columns
  EXPECT_EQ(shortenedPath(marked, 6), marked);
  EXPECT_EQ(shortenedPath(marked, 4), "e\u0301\u2026e\u0301e\u0301");
}

TEST(ShortenedPath, IsNotCutInsideACharacterThatIsWrittenOut) {
  EXPECT_EQ(shortenedPath("/\\x1b\\x1b\\x1b\\x1b", 10), "/\u2026\\x1b\\x1b");
  EXPECT_EQ(shortenedPath("/a/b/c/\\u{202e}", 10), "/a/\u2026");
  EXPECT_EQ(shortenedPath("\\\\\\\\\\\\", 4), "\u2026\\\\");
}

TEST(ShortenedPath, IsOfNoMoreColumnsThanItMayBeWhateverItIs) {
  for (const std::string_view text :
       {"\\", "\\x", "\\u", "\\u{", "\\u{1", "abc\\", "\xFF\xFE\xFD\xFC", "\u0301\u0301\u0301abcd"})
    for (std::size_t columns = 0; columns < 8; ++columns)
      EXPECT_LE(displayColumns(shortenedPath(text, columns)), columns) << text;
}

TEST(BrokenText, IsBrokenAtBlanks) {
  using Lines = std::vector<std::string>;
  EXPECT_EQ(brokenText("", 1), Lines{""});
  EXPECT_EQ(brokenText("app, services", 13), Lines{"app, services"});
  EXPECT_EQ(brokenText("app, services", 12), (Lines{"app,", "services"}));
  EXPECT_EQ(brokenText("aa b c d ee", 4), (Lines{"aa b", "c d", "ee"}));
  EXPECT_EQ(brokenText("\u65e5\u672c \u8a9e", 6), (Lines{"\u65e5\u672c", "\u8a9e"}));
}

TEST(BrokenText, CutsAWordThatIsTooLong) {
  using Lines = std::vector<std::string>;
  EXPECT_EQ(brokenText("of abcdefgh it", 5), (Lines{"of", "abcd\u2026", "it"}));
  EXPECT_EQ(brokenText("\u65e5\u672c", 1), Lines{"\u2026"});
  EXPECT_EQ(brokenText("a b c d", 3), Lines{"a \u2026"}); // too narrow for more
  EXPECT_EQ(brokenText("       ", 4), (Lines{"    "}));
}

} // namespace
} // namespace tesker::test
