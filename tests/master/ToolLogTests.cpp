// What a search tells of its tool's log.
#include "master/LogLines.h"
#include "tests/master/FakeToolSupport.h"

#include <cerrno>
#include <gmock/gmock.h>
#include <string>
#include <vector>

namespace tesker::test {
namespace {

using testing::ElementsAre;

TEST(FinderMaster, KeepsOnlyTheLastLinesOfALongLog) {
  std::vector<std::string> heard;
  FinderMasterOptions options = fakeTool();
  options.onLogLine = [&](std::string_view line) { heard.emplace_back(line); };
  const SearchOutcome outcome = searchWithFakeTool("log-much", std::move(options));
  EXPECT_EQ(outcome.logLineCount, 5001u);
  EXPECT_EQ(heard.size(), 5001u);
  ASSERT_EQ(outcome.logLines.size(), LogLines::kMostLines);
  EXPECT_EQ(outcome.logLines.front(), "line 4902");
  EXPECT_EQ(outcome.logLines.back(), "no \x1b[31mend");
}

TEST(FinderMaster, SaysThatAnAnswerIsIncompleteWhereTheToolsLogDoes) {
  const SearchOutcome outcome = searchWithFakeTool("incomplete");
  EXPECT_TRUE(outcome.incomplete);
  EXPECT_TRUE(std::holds_alternative<SearchAnswer>(outcome.result));
  EXPECT_FALSE(searchWithFakeTool("empty-answer").incomplete);
  EXPECT_FALSE(searchWithFakeTool("log-much").incomplete);
}

TEST(FinderMaster, SaysThatAnAnswerIsIncompleteWhereTheToolsLogCannotBeRead) {
  class Unreadable final : public OperatingSystem {
    ssize_t read(int descriptor, void *buffer, std::size_t size) override {
      if (size == sizeof(int)) // the error of the tool's start
        return OperatingSystem::read(descriptor, buffer, size);
      errno = EIO;
      return -1;
    }
  } system;
  const ScopedOperatingSystem inForce(system);
  const SearchOutcome outcome = searchWithFakeTool("empty-answer");
  EXPECT_TRUE(std::holds_alternative<SearchAnswer>(outcome.result));
  EXPECT_TRUE(outcome.incomplete);
}

TEST(FinderMaster, TakesStandardOutputOfTheToolForItsLog) {
  EXPECT_THAT(searchWithFakeTool("print").logLines, ElementsAre("on standard output"));
}

} // namespace
} // namespace tesker::test
