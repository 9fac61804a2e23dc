#include "command/TextTable.h"
#include "tests/command/CapturedOutput.h"

#include <gmock/gmock.h>

namespace tesker::test {
namespace {

using testing::ElementsAre;

std::string written(const std::vector<TextRow> &rows) {
  return captured([&](Output &output) { writeRows(output, rows); });
}

TEST(TextTable, HasColumnsAsWideAsTheyNeed) {
  EXPECT_EQ(written({{{"A"}, {"B"}}, {{"long"}, {"x"}}, {textCell(""), {"y"}}}), "A     B\n"
                                                                                 "long  x\n"
                                                                                 "-     y\n");
}

TEST(TextTable, LeavesOutAColumnThatSaysNothing) {
  EXPECT_EQ(written({{{"A"}, {"NOTE"}, {"B"}}, {{"a"}, textCell(""), {"b"}}}), "A  B\n"
                                                                               "a  b\n");
}

TEST(TextTable, SetsTheLinesOfACellBelowEachOther) {
  const TextCell two{"1", "22"};
  EXPECT_EQ(written({{{"A"}, {"B"}, {"C"}}, {{"a"}, two, {"c"}}, {{"d"}, {"3"}, {"f"}}}),
            "A  B   C\n"
            "a  1   c\n"
            "   22\n"
            "d  3   f\n");
}

TEST(TextTable, BreaksListsOnlyWhereAWidthIsGiven) {
  EXPECT_THAT(listLines({"aa", "bb", "cc"}), ElementsAre("aa, bb, cc"));
  EXPECT_THAT(listLines({"aa", "bb", "cc"}, 7), ElementsAre("aa, bb,", "cc"));
  EXPECT_THAT(listLines({}), ElementsAre("-"));
}

} // namespace
} // namespace tesker::test
