// Searches that end with what was found until then.

#include "examples/MachOWriter.h"
#include "tests/master/FakeToolSupport.h"
#include "tests/master/HostLoop.h"
#include "tests/support/LogCapture.h"
#include "tests/support/TemporaryDirectory.h"

#include <gmock/gmock.h>

namespace tesker::test {
namespace {

using Kind = SearchFailure::Kind;
using testing::Contains;

class PartialAnswer : public testing::Test {
protected:
  PartialAnswer() {
    const std::string header = "F\tOne\tApplication\ticon\n";
    directory_.writeFile(
        "a/one",
        examples::MachOWriter(examples::kI386).addSection("__ICON", "__header", header).bytes(),
        0755);
    // Two links to the directory that they are in have it searched without end.
    directory_.makeLink("b/again", ".");
    directory_.makeLink("b/once-more", ".");
  }

  // With the real tool.
  void start(std::chrono::nanoseconds timeout) {
    FinderMasterOptions options{.tool = programPath("ToolFinder"), .timeout = timeout};
    options.takesPartialAnswers = true;
    options.followLinkCycles = true;
    options.onProgress = [this](const SearchProgress &progress) {
      if (stopsInSearch_ && progress.directories > 3)
        host_.search().stop();
    };
    const std::string paths = directory_.path("a") + '\0' + directory_.path("b"); // in this order
    host_.start(options, {FinderSearchRequest::Kind::dockPaths, paths});
  }
  // Runs a tool that misbehaves so until it is quiet, and stops it.
  void stopFakeTool(const std::string &way) {
    FinderMasterOptions options = fakeTool();
    options.takesPartialAnswers = true;
    host_.startFakeTool(way, options);
    host_.runUntilQuiet();
    host_.search().stop();
  }
  void expectThePart(Kind cut) {
    const auto *answer = std::get_if<SearchAnswer>(&host_.outcome->result);
    ASSERT_NE(answer, nullptr) << failureOf(*host_.outcome).reason;
    ASSERT_EQ(answer->records.size(), 1U);
    EXPECT_EQ(*answer->records[0].find("name"), "One");
    ASSERT_TRUE(host_.outcome->cut);
    EXPECT_EQ(host_.outcome->cut->kind, cut);
    EXPECT_TRUE(host_.outcome->incomplete);
    EXPECT_THAT(host_.outcome->logLines,
                Contains("*** Applications Finder: incomplete: the search was stopped"));
  }

  const LogCapture log_;
  const TemporaryDirectory directory_;
  HostLoop host_;
  bool stopsInSearch_ = false;
};

TEST_F(PartialAnswer, OfASearchThatIsStoppedSaysSo) {
  stopsInSearch_ = true;
  start(std::chrono::seconds(100));
  host_.runToEnd();
  expectThePart(Kind::cancelled);
}

TEST_F(PartialAnswer, OfASearchAtItsDeadlineSaysSo) {
  start(std::chrono::seconds(1));
  host_.runToEnd();
  expectThePart(Kind::timedOut);
}

TEST_F(PartialAnswer, IsNotWhatIsDoneBeforeTheStop) {
  stopFakeTool("hang-after-answer");
  EXPECT_FALSE(host_.outcome) << "what is left is the tool's end";
  host_.search().cancel();
  host_.runToEnd();
  EXPECT_EQ(failureOf(*host_.outcome).stage, SearchStage::end);
}

TEST_F(PartialAnswer, IsNotExpectedBeforeTheHandOver) {
  stopFakeTool("never-connect");
  host_.runToEnd();
  EXPECT_EQ(failureOf(*host_.outcome).kind, Kind::cancelled);
}

TEST_F(PartialAnswer, OfAToolThatDoesNotKnowOfThemIsNone) {
  stopFakeTool("hang-in-search");
  host_.runToEnd();
  EXPECT_EQ(failureOf(*host_.outcome).reason, "the search was given up");
  EXPECT_EQ(failureOf(*host_.outcome).kind, Kind::cancelled);
}

TEST_F(PartialAnswer, OfAToolThatDoesNotStopIsWaitedForOnlyALittle) {
  stopFakeTool("ignore-the-stop");
  EXPECT_FALSE(host_.outcome);
  host_.runToEnd();
  EXPECT_EQ(failureOf(*host_.outcome).kind, Kind::cancelled);
}

TEST_F(PartialAnswer, IsNotWaitedForWhenTheSearchIsCancelled) {
  stopFakeTool("ignore-the-stop");
  host_.search().cancel();
  host_.dispatch();
  host_.runToEnd();
  EXPECT_EQ(failureOf(*host_.outcome).kind, Kind::cancelled);
}

TEST_F(PartialAnswer, MustNotBeCalledUnchanged) {
  EXPECT_EQ(failureOf(searchWithFakeTool("unchanged-in-part", fakeTool(), "(0)")).reason,
            "the tool calls a part of an answer unchanged");
}

TEST_F(PartialAnswer, ThatNobodyHasAskedForIsIncompleteAllTheSame) {
  const SearchOutcome outcome = searchWithFakeTool("part-unasked");
  EXPECT_TRUE(std::holds_alternative<SearchAnswer>(outcome.result));
  EXPECT_TRUE(outcome.incomplete);
  EXPECT_FALSE(outcome.cut);
}

} // namespace
} // namespace tesker::test
