#include "command/DisplayText.h"
#include "command/TextTable.h"
#include "platform/foundation/Text.h"
#include "tests/command/CapturedOutput.h"

#include <gmock/gmock.h>

namespace tesker::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

constexpr TextColumn kA{"A"}, kB{"B"}, kC{"C"}, kNote{"NOTE"};

class TextTables : public testing::Test {
protected:
  std::string written(std::vector<TextColumn> columns, const std::vector<TextRow> &rows) {
    return captured([&](Output &output) {
      output.setTerminal(terminal);
      TextTable table(columns);
      for (const TextRow &row : rows)
        table.add(row);
      table.write(output, form, headline);
    });
  }
  std::vector<std::size_t> widthsOf(const std::string &text) {
    std::vector<std::size_t> widths;
    for (const std::string_view line : piecesOf(text, '\n'))
      widths.push_back(displayColumns(line));
    return widths;
  }

  Terminal terminal;
  TableForm form;
  std::string headline;
};

TEST_F(TextTables, HaveColumnsAsWideAsTheyNeed) {
  EXPECT_EQ(written({kA, kB}, {{{{"long"}, {"x"}}}, {{textCell(""), {"y"}}}}), "A     B\n"
                                                                               "long  x\n"
                                                                               "-     y\n");
}

TEST_F(TextTables, LeaveOutAColumnThatSaysNothing) {
  EXPECT_EQ(written({kA, kNote, kB}, {{{{"a"}, textCell(""), {"b"}}}}), "A  B\n"
                                                                        "a  b\n");
  const TextColumn always{"NOTE", TextColumn::Kind::text, true};
  EXPECT_EQ(written({kA, always}, {{{{"a"}, textCell("")}}}), "A  NOTE\n"
                                                              "a  -\n");
}

TEST_F(TextTables, SetTheLinesOfACellBelowEachOther) {
  const TextCell two{"1", "22"};
  EXPECT_EQ(written({kA, kB, kC}, {{{{"a"}, two, {"c"}}}, {{{"d"}, {"3"}, {"f"}}}}), "A  B   C\n"
                                                                                     "a  1   c\n"
                                                                                     "   22\n"
                                                                                     "d  3   f\n");
}

TEST_F(TextTables, HaveTheirHeadlineAboveThem) {
  headline = "one thing";
  EXPECT_EQ(written({kA}, {{{{"a"}}}}), "one thing\n\nA\na\n");
  EXPECT_EQ(written({kA}, {}), "one thing\n");
}

TEST_F(TextTables, AreOnlyRowsWhereNoHeaderIsWanted) {
  headline = "one thing";
  form.header = false;
  EXPECT_EQ(written({kA, kNote}, {{{{"a"}, {"b"}}}}), "a  b\n");
  EXPECT_EQ(written({kA}, {}), "");
}

TEST_F(TextTables, AreSortedByAColumnAndOtherwiseStayInTheirOrder) {
  form.sortBy = "note";
  form.header = false;
  const std::vector<TextRow> rows{
      {{{"1"}, {"b"}}}, {{{"2"}, {"a"}}}, {{{"3"}, {"b"}}}, {{{"4"}, {"a"}}}};
  EXPECT_EQ(written({kA, kNote}, rows), "2  a\n4  a\n1  b\n3  b\n");
  form.sortBy = "nothing";
  EXPECT_EQ(written({kA, kNote}, rows), "1  b\n2  a\n3  b\n4  a\n");
}

TEST_F(TextTables, ShortenPathsBeforeTheyBreakTexts) {
  terminal.columns = 40;
  EXPECT_EQ(
      written({kA, kPathColumn}, {{{{"some words here"}, {"/home/somebody/Applications/Edit"}}}}),
      "A                PATH\n"
      "some words here  /home/s\u2026plications/Edit\n");
}

TEST_F(TextTables, BreakTextsRatherThanLeaveLessThanAThirdOfTheLineToThePath) {
  terminal.columns = 60;
  const std::string path = "/home/somebody/of/our/house/Applications";
  EXPECT_EQ(written({kA, kPathColumn}, {{{{"one two three four five six seven eight"}, {path}}}}),
            "A                                  PATH\n"
            "one two three four five six seven  /home/so\u2026use/Applications\n"
            "eight\n");
}

TEST_F(TextTables, GivePathsWhatBrokenTextsLeave) {
  terminal.columns = 30;
  EXPECT_EQ(written({kA, kPathColumn}, {{{{"nine or a-word-of-more"}, {"/0123456789012345"}}}}),
            "A               PATH\n"
            "nine or         /012\u2026789012345\n"
            "a-word-of-more\n");
}

TEST_F(TextTables, AreWrittenWholeWhereTheyFit) {
  terminal.columns = 12;
  EXPECT_EQ(written({kA, kPathColumn}, {{{{"a b"}, {"/567890"}}}}), "A    PATH\n"
                                                                    "a b  /567890\n");
}

TEST_F(TextTables, FitEveryTerminalThatHasAColumnForEachOfTheirs) {
  const std::string wide = "\xE6\x97\xA5\xE6\x9C\xAC\xE8\xAA\x9E";
  const std::vector<TextRow> rows{
      {{{wide + " " + wide}, {"/" + wide + "/" + wide + "/e\xCC\x81" + wide}, {"a, b, c"}}},
      {{textCell(""), {"/Apps/\\x1b[2J\\n\\u{202e}"}, {"averylongwordwithoutanyblank"}}}};
  for (std::size_t columns = 1; columns < 120; ++columns) {
    terminal.columns = columns;
    const std::string text = written({kA, kPathColumn, kC}, rows);
    EXPECT_TRUE(isUtf8(text)) << columns;
    for (const std::size_t width : widthsOf(text))
      EXPECT_LE(width, std::max<std::size_t>(columns, 7)) << columns; // three columns and two gaps
  }
}

TEST_F(TextTables, DoNotTakeLongForLongTextsInNarrowTerminals) {
  terminal.columns = 10;
  const std::string text =
      written({kA, kPathColumn}, {{{{std::string(100000, 'x')}, {std::string(100000, '/')}}}});
  EXPECT_LT(text.size(), 100u);
}

TEST_F(TextTables, AreNeitherBrokenNorShortenedWhereThereIsNoTerminal) {
  const std::string path(300, '/');
  EXPECT_THAT(written({kA, kPathColumn}, {{{{"x y " + path}, {path}}}}),
              HasSubstr("x y " + path + "  " + path + "\n"));
}

TEST_F(TextTables, AreColouredByLines) {
  terminal.colours = true;
  EXPECT_EQ(written({kA}, {{{{"a"}}}, {{{"b", "c"}}, Style::dubious}}),
            "\x1b[1mA\x1b[0m\na\n\x1b[33mb\x1b[0m\n\x1b[33mc\x1b[0m\n");
  terminal.colours = false;
  EXPECT_THAT(written({kA}, {{{{"b"}}, Style::dubious}}), Not(HasSubstr("\x1b")));
}

TEST(TextCells, OfListsHaveCommas) {
  EXPECT_THAT(listCell({"aa", "bb"}), ElementsAre("aa, bb"));
  EXPECT_THAT(listCell({}), ElementsAre("-"));
}

} // namespace
} // namespace tesker::test
