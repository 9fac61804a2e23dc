// A table of tools that mean no good. Whatever they do, a search ends with a reason or with the
// answer that was really given, the memory of this process stays within bounds, and nothing of the
// tool's is left.

#include "tests/master/FakeToolSupport.h"
#include "tests/master/HostileTools.h"
#include "tests/ports/RawSockets.h"
#include "tests/support/LogCapture.h"
#include "tests/support/SanitizerMemory.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <thread>

namespace tesker::test {
namespace {

// Only those who are waited for in vain need one that comes; no other test is meant to reach it.
std::chrono::milliseconds deadlineFor(Ending ending) {
  return std::chrono::milliseconds(ending == Ending::timedOut ? 1500 : 100000);
}

long peakMebibytes() {
  struct rusage usage {};
  ::getrusage(RUSAGE_SELF, &usage);
  return usage.ru_maxrss >> 10;
}

class HostileTool : public testing::TestWithParam<HostileToolKind> {};

TEST_P(HostileTool, EndsTheSearchInTheExpectedWay) {
  const LogCapture log;
  const auto descriptors = openDescriptorCount();
  const long before = peakMebibytes();
  const SearchOutcome outcome =
      searchWithFakeTool(GetParam().way, fakeTool(deadlineFor(GetParam().ending)));
  const auto *failure = std::get_if<SearchFailure>(&outcome.result);
  EXPECT_TRUE(GetParam().admits(endingOf(outcome)))
      << nameOf(endingOf(outcome)) << ": " << (failure != nullptr ? failure->reason : "an answer");
  if (const auto *answer = std::get_if<SearchAnswer>(&outcome.result)) {
    EXPECT_TRUE(answer->records.empty());
  }
  EXPECT_LT(peakMebibytes() - before, GetParam().mebibytes + kSanitizerMebibytes);
  EXPECT_EQ(openDescriptorCount(), descriptors);
  EXPECT_LE(outcome.logLines.size(), 100U);
}

INSTANTIATE_TEST_SUITE_P(Table, HostileTool, testing::ValuesIn(hostileTools()),
                         [](const auto &tested) {
                           std::string name = tested.param.way;
                           std::erase(name, '-');
                           return name;
                         });

// The caller listens to the log for so long that the answer comes to be read after the deadline.
TEST(AnswerAfterTheDeadline, IsNotReadToItsEnd) {
  FinderMasterOptions options = fakeTool(std::chrono::seconds(2));
  options.onLogLine = [&](std::string_view) { std::this_thread::sleep_for(options.timeout); };
  const SearchOutcome outcome = searchWithFakeTool("two-thousand-records-late", options);
  const SearchFailure failure = failureOf(outcome);
  EXPECT_EQ(failure.kind, SearchFailure::Kind::timedOut) << failure.reason;
}

} // namespace
} // namespace tesker::test
