// What a master takes of what tools tell of their progress, and hands to its caller.

#include "platform/foundation/OperatingSystem.h"
#include "tests/master/FakeToolSupport.h"
#include "tests/support/LogCapture.h"
#include "tests/support/SanitizerMemory.h"
#include "tests/support/ScopedEnvironment.h"
#include "tests/support/TemporaryDirectory.h"

#include <algorithm>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdexcept>
#include <sys/resource.h>

namespace tesker::test {
namespace {

using Kind = SearchFailure::Kind;

class ProgressOf : public testing::Test {
protected:
  SearchOutcome search(const std::string &way, std::chrono::nanoseconds timeout = kTimeToHang) {
    FinderMasterOptions options = fakeTool(timeout);
    options.onProgress = [this](const SearchProgress &) { ++calls_; };
    return searchWithFakeTool(way, options);
  }
  static std::string variableOfTool(const FinderMasterOptions &options, std::string_view key) {
    const SearchOutcome outcome = searchWithFakeTool("report", options);
    const std::string *value = std::get<SearchAnswer>(outcome.result).records.at(0).find(key);
    return value != nullptr ? *value : "none";
  }

  const LogCapture log_;
  std::size_t calls_ = 0;
};

TEST_F(ProgressOf, AToolThatTellsItIsHandedOnAndKept) {
  const SearchOutcome outcome = search("progress-and-hang");
  EXPECT_EQ(failureOf(outcome).reason, "timed out during the search");
  ASSERT_TRUE(outcome.progress);
  EXPECT_EQ(outcome.progress->directories, 12U);
  EXPECT_EQ(outcome.progress->entries, (std::uint64_t{1} << 32) + 345);
  EXPECT_EQ(outcome.progress->records, 6U);
  EXPECT_EQ(outcome.progress->path, "/tmp");
  EXPECT_EQ(outcome.progress->directory, "/tmp/\x1b[31mred\n/below");
  EXPECT_GT(calls_, 1U) << "told again while the tool says nothing";
}

TEST_F(ProgressOf, AToolOfTheOtherByteOrderIsTaken) {
  const SearchOutcome outcome = search("progress-in-the-other-order");
  ASSERT_TRUE(outcome.progress);
  EXPECT_EQ(outcome.progress->entries, (std::uint64_t{1} << 32) + 345);
  EXPECT_EQ(outcome.progress->directory, "/tmp/below");
}

TEST_F(ProgressOf, PathsThatAreTooLongIsPassedOver) {
  const SearchOutcome outcome = search("progress-of-long-paths");
  ASSERT_TRUE(outcome.progress);
  EXPECT_EQ(outcome.progress->path, "/tmp");
  EXPECT_EQ(outcome.progress->directory, std::string(4096, 'd'));
}

TEST_F(ProgressOf, AToolThatFloodsCostsNeitherMemoryNorTheDeadline) {
  for (const char *way : {"progress-without-end", "progress-of-megabytes-without-end",
                          "progress-for-replies-without-end"}) {
    SCOPED_TRACE(way);
    struct rusage before {
    }, after{};
    ::getrusage(RUSAGE_SELF, &before);
    calls_ = 0;
    EXPECT_EQ(failureOf(search(way, std::chrono::milliseconds(1500))).kind, Kind::timedOut);
    ::getrusage(RUSAGE_SELF, &after);
    EXPECT_LT(after.ru_maxrss - before.ru_maxrss, (64 + kSanitizerMebibytes) << 10);
    EXPECT_LE(calls_, 17U); // ten a second
  }
}

TEST_F(ProgressOf, AToolThatFloodsDoesNotKeepTheMasterFromLookingAtTheRest) {
  // Every look at the clock takes a millisecond; the most of them between two waits are kept.
  class SlowClock : public OperatingSystem {
  public:
    std::chrono::steady_clock::time_point steadyTime() override {
      mostInARow = std::max(mostInARow, ++inARow_);
      return OperatingSystem::steadyTime() + ++looks_ * std::chrono::milliseconds(1);
    }
    int poll(pollfd *descriptors, nfds_t count, int timeout) override {
      inARow_ = 0;
      return OperatingSystem::poll(descriptors, count, timeout);
    }
    int mostInARow = 0;

  private:
    int looks_ = 0;
    int inARow_ = 0;
  };
  const TemporaryDirectory runtime; // with nothing to clear away
  const ScopedEnvironment variable("XDG_RUNTIME_DIR", runtime.path());
  SlowClock clock;
  const ScopedOperatingSystem scope(clock);
  EXPECT_EQ(failureOf(search("progress-without-end", std::chrono::seconds(30))).kind,
            Kind::timedOut);
  EXPECT_GT(clock.mostInARow, 10) << "of so many messages as are taken in a row";
  EXPECT_LT(clock.mostInARow, 30);
}

TEST_F(ProgressOf, AToolThatHasAnsweredIsPassedOver) {
  const SearchOutcome outcome = search("progress-after-the-answer", std::chrono::seconds(100));
  EXPECT_TRUE(std::holds_alternative<SearchAnswer>(outcome.result));
  EXPECT_FALSE(outcome.progress);
  EXPECT_EQ(calls_, 0U);
}

TEST_F(ProgressOf, AToolThatWasNotAskedIsPassedOver) {
  const SearchOutcome outcome =
      searchWithFakeTool("progress-and-hang", fakeTool(std::chrono::milliseconds(1500)));
  EXPECT_EQ(failureOf(outcome).kind, Kind::timedOut);
  EXPECT_FALSE(outcome.progress);
}

TEST_F(ProgressOf, WhatTheCallerThrowsLeavesTheSearch) {
  FinderMasterOptions options = fakeTool();
  options.onProgress = [](const SearchProgress &) { throw std::runtime_error("enough"); };
  EXPECT_THROW((void)searchWithFakeTool("progress-and-hang", options), std::runtime_error);
}

TEST_F(ProgressOf, TheToolIsAskedForOnlyWhereSomebodyListens) {
  const ScopedEnvironment nobodyReadsAhead("TESKER_READ_AHEAD", "never");
  FinderMasterOptions options = fakeTool();
  EXPECT_EQ(variableOfTool(options, "progress"), "unset");
  EXPECT_EQ(variableOfTool(options, "links"), "skip");
  options.followLinkCycles = true;
  options.onProgress = [](const SearchProgress &) {};
  EXPECT_EQ(variableOfTool(options, "progress"), "1");
  EXPECT_EQ(variableOfTool(options, "links"), "follow");
}

} // namespace
} // namespace tesker::test
