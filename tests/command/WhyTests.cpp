// What became of a path in a search: which search, and what is told of it.
#include "command/JudgementTexts.h"
#include "command/Why.h"
#include "tests/support/TemporaryDirectory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <set>
#include <sstream>

namespace tesker::test {
namespace {

using ::testing::ElementsAre;

std::vector<std::string> pathsOf(const WhyAnswer &answer) {
  std::vector<std::string> paths;
  for (const Judgement &judgement : answer.judgements)
    paths.push_back(judgement.path);
  return paths;
}

TEST(PlaceOf, IsTheFirstThatHoldsThePath) {
  EXPECT_EQ(placeOf("/a/b/c", {"/x", "/a/b", "/a"}), "/a/b");
  EXPECT_EQ(placeOf("/a/b", {"/a/b"}), "/a/b");
  EXPECT_EQ(placeOf("/b", {"/a"}), std::nullopt);
  EXPECT_EQ(placeOf("/b", {}), std::nullopt);
}

TEST(Why, IsToldOfThePathWhatIsAboveAndWhatIsBelow) {
  const TemporaryDirectory directory;
  directory.writeFile("top/a/Foo.app/Resources/Info-quorvale.plist",
                      "{\n \"NSExec\\000utable\" = Foo;\n}");
  directory.writeFile("top/a/other", "", 0755);
  directory.writeFile("top/b", "");
  const std::string path = directory.path("top/a/Foo.app");
  const WhyAnswer answer =
      searchForReasons({path, directory.path("top"), std::chrono::seconds(100)});
  EXPECT_EQ(answer.failure, std::nullopt);
  EXPECT_THAT(pathsOf(answer), ElementsAre(directory.path("top"), directory.path("top/a"), path,
                                           path + "/Resources"));
  const Judgement *itself = answer.itself(path);
  ASSERT_NE(itself, nullptr);
  EXPECT_EQ(itself->verdict.code, JudgementCode::found);
  EXPECT_EQ(itself->records, 1U);
  const Judgement &part = answer.judgements.back();
  ASSERT_EQ(part.remarks.size(), 2U);
  EXPECT_EQ(part.remarks[0].code, JudgementCode::unknownKey);
  EXPECT_EQ(part.remarks[0].detail, "NSExec utable: did you mean NSExecutable?");
  EXPECT_EQ(part.remarks[0].file, path + "/Resources/Info-quorvale.plist");
  EXPECT_EQ(part.remarks[0].line, 2U);
  EXPECT_EQ(part.remarks[0].column, 2U);
  EXPECT_EQ(part.remarks[0].offset, std::nullopt);
}

TEST(Why, KnowsTheNearestWhereTheSearchDoesNotCome) {
  const TemporaryDirectory directory;
  directory.writeFile("top/.a/b/c", "");
  const std::string path = directory.path("top/.a/b/c");
  const WhyAnswer answer =
      searchForReasons({path, directory.path("top"), std::chrono::seconds(100)});
  EXPECT_EQ(answer.itself(path), nullptr);
  ASSERT_NE(answer.nearest(path), nullptr);
  EXPECT_EQ(answer.nearest(path)->path, directory.path("top/.a"));
  EXPECT_EQ(answer.nearest(path)->verdict.code, JudgementCode::dotName);
}

TEST(Why, SkipsLinksThatLeadBackAndSaysToWhere) {
  const TemporaryDirectory directory;
  directory.makeDirectory("top/a");
  directory.makeLink("top/a/up", "..");
  const std::string path = directory.path("top/a/up");
  WhyQuestion question{path, directory.path("top"), std::chrono::seconds(100)};
  const WhyAnswer skipping = searchForReasons(question);
  EXPECT_EQ(skipping.failure, std::nullopt);
  ASSERT_NE(skipping.itself(path), nullptr);
  EXPECT_EQ(skipping.itself(path)->verdict.code, JudgementCode::skippedLink);
  EXPECT_EQ(skipping.itself(path)->verdict.detail, directory.path("top"));
  question.followLinkCycles = true;
  const WhyAnswer following = searchForReasons(question);
  ASSERT_NE(following.itself(path), nullptr);
  EXPECT_EQ(following.itself(path)->verdict.code, JudgementCode::searched);
}

TEST(JudgementTexts, SayOfEveryCodeWhatItMeansWithin80Columns) {
  std::set<std::string> sentences;
  for (std::size_t i = 0; i < kJudgementCodes; ++i) {
    const auto code = static_cast<JudgementCode>(i);
    sentences.insert(sentenceOf({.code = code}));
    std::istringstream lines(explanationOf(code));
    std::string line;
    while (std::getline(lines, line))
      EXPECT_LE(line.size(), 80U) << line;
  }
  EXPECT_EQ(sentences.size(), kJudgementCodes);
}

TEST(JudgementTexts, QuoteWhatIsFitToBeShown) {
  const Remark remark{.code = JudgementCode::malformedHeaderLine, .detail = "a\x1b[2J"};
  EXPECT_EQ(sentenceOf(remark), "a line of its header is not a command: a\\x1b[2J");
  EXPECT_EQ(adviceOn(remark, "/a\nb"), "Correct the header of /a\\nb");
  EXPECT_EQ(adviceOn({.code = JudgementCode::malformedList, .file = "/list"}, "/a"),
            "Correct /list");
  EXPECT_EQ(
      adviceOn({.code = JudgementCode::malformedList, .file = "/list", .line = 3, .column = 1},
               "/a"),
      "Correct /list:3:1");
  EXPECT_EQ(adviceOn({.code = JudgementCode::nearSuffix, .detail = "app"}, "/a.apps"),
            "Rename /a.apps, if it is meant to be an application: its name has to end in .app");
  EXPECT_EQ(adviceOn({.code = JudgementCode::wrapperPart}, "/a"), "");
}

} // namespace
} // namespace tesker::test
