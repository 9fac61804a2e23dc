// A table of tools that mean no good. Whatever they do, a search ends with a reason or with the
// answer that was really given, the memory of this process stays within bounds, and nothing of the
// tool's is left.

#include "tests/master/FakeToolSupport.h"
#include "tests/ports/RawSockets.h"
#include "tests/support/LogCapture.h"
#include "tests/support/SanitizerMemory.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <ostream>
#include <sys/resource.h>
#include <thread>
#include <vector>

namespace tesker::test {
namespace {

enum class Ending {
  answered,
  cannotSearch,
  noHandOver,
  toolDied,
  timedOut,
  protocolBroken,
  malformedAnswer,
  connectionLost,
};

Ending endingOf(const SearchOutcome &outcome) {
  const auto *failure = std::get_if<SearchFailure>(&outcome.result);
  if (failure == nullptr)
    return Ending::answered;
  switch (failure->kind) {
  case SearchFailure::Kind::noHandOver:
    return Ending::noHandOver;
  case SearchFailure::Kind::toolDied:
    return Ending::toolDied;
  case SearchFailure::Kind::timedOut:
    return Ending::timedOut;
  case SearchFailure::Kind::protocolBroken:
    return Ending::protocolBroken;
  case SearchFailure::Kind::malformedAnswer:
    return Ending::malformedAnswer;
  case SearchFailure::Kind::connectionLost:
    return Ending::connectionLost;
  default:
    return Ending::cannotSearch;
  }
}

struct Hostile {
  const char *way;
  Ending ending;
  long mebibytes = 256; // that this process may need for it
};

void PrintTo(const Hostile &hostile, std::ostream *stream) { *stream << hostile.way; }

// Only those who are waited for in vain need one that comes; no other test is meant to reach it.
std::chrono::milliseconds deadlineFor(Ending ending) {
  return std::chrono::milliseconds(ending == Ending::timedOut ? 1500 : 100000);
}

long peakMebibytes() {
  struct rusage usage {};
  ::getrusage(RUSAGE_SELF, &usage);
  return usage.ru_maxrss >> 10;
}

class HostileTool : public testing::TestWithParam<Hostile> {};

TEST_P(HostileTool, EndsTheSearchInTheExpectedWay) {
  const LogCapture log;
  const auto descriptors = openDescriptorCount();
  const long before = peakMebibytes();
  const SearchOutcome outcome =
      searchWithFakeTool(GetParam().way, fakeTool(deadlineFor(GetParam().ending)));
  const auto *failure = std::get_if<SearchFailure>(&outcome.result);
  EXPECT_EQ(endingOf(outcome), GetParam().ending)
      << (failure != nullptr ? failure->reason : "an answer");
  if (const auto *answer = std::get_if<SearchAnswer>(&outcome.result)) {
    EXPECT_TRUE(answer->records.empty());
  }
  EXPECT_LT(peakMebibytes() - before, GetParam().mebibytes + kSanitizerMebibytes);
  EXPECT_EQ(openDescriptorCount(), descriptors);
  EXPECT_LE(outcome.logLines.size(), 100U);
}

INSTANTIATE_TEST_SUITE_P(
    Table, HostileTool,
    testing::Values(
        Hostile{"exit-0", Ending::noHandOver}, Hostile{"exit-3", Ending::toolDied},
        Hostile{"kill-itself", Ending::toolDied}, Hostile{"never-connect", Ending::timedOut},
        Hostile{"log-much", Ending::toolDied}, Hostile{"connect-and-hang", Ending::timedOut},
        Hostile{"connect-and-close", Ending::connectionLost},
        Hostile{"send-31-bytes", Ending::protocolBroken},
        Hostile{"send-33-bytes", Ending::protocolBroken},
        Hostile{"send-no-descriptor", Ending::protocolBroken},
        Hostile{"send-two-descriptors", Ending::protocolBroken},
        Hostile{"send-a-file", Ending::protocolBroken},
        Hostile{"send-number-80", Ending::protocolBroken},
        Hostile{"hang-after-hand-over", Ending::timedOut},
        Hostile{"garbage-bus", Ending::connectionLost}, Hostile{"flood", Ending::timedOut},
        Hostile{"no-answer", Ending::toolDied}, Hostile{"crash-in-search", Ending::toolDied},
        Hostile{"hang-in-search", Ending::timedOut}, Hostile{"empty-answer", Ending::answered},
        Hostile{"garbage-answer", Ending::malformedAnswer},
        Hostile{"index-outside", Ending::malformedAnswer},
        Hostile{"always-unchanged", Ending::protocolBroken},
        Hostile{"wrong-key", Ending::protocolBroken},
        Hostile{"answer-twice", Ending::protocolBroken},
        Hostile{"exit-9-after-answer", Ending::toolDied},
        Hostile{"hang-after-answer", Ending::timedOut},
        Hostile{"leave-a-grandchild", Ending::answered}, Hostile{"exit-255", Ending::toolDied},
        Hostile{"segfault", Ending::toolDied}, Hostile{"exec-another", Ending::noHandOver},
        Hostile{"stop-itself", Ending::timedOut},
        Hostile{"stop-itself-in-the-search", Ending::timedOut},
        Hostile{"ignore-signals", Ending::timedOut}, Hostile{"leave-its-group", Ending::timedOut},
        Hostile{"leave-many", Ending::noHandOver},
        Hostile{"leave-the-connection", Ending::toolDied},
        Hostile{"leave-the-service", Ending::noHandOver},
        Hostile{"leave-one-that-writes-files", Ending::noHandOver},
        Hostile{"fill-the-directory", Ending::noHandOver},
        Hostile{"remove-the-directory", Ending::noHandOver},
        Hostile{"replace-the-service", Ending::noHandOver},
        Hostile{"close-the-directory", Ending::noHandOver},
        Hostile{"close-its-log", Ending::timedOut}, Hostile{"log-without-pause", Ending::timedOut},
        Hostile{"log-empty-lines-without-pause", Ending::timedOut},
        Hostile{"log-one-line-without-end", Ending::timedOut},
        Hostile{"log-nuls", Ending::timedOut}, Hostile{"connect-often", Ending::timedOut},
        Hostile{"connect-without-end", Ending::connectionLost},
        Hostile{"connect-from-many", Ending::connectionLost},
        Hostile{"send-an-empty-packet", Ending::connectionLost},
        Hostile{"send-64-bytes", Ending::protocolBroken},
        Hostile{"send-many-descriptors", Ending::protocolBroken},
        Hostile{"send-a-packet-socket", Ending::protocolBroken},
        Hostile{"send-a-datagram-socket", Ending::protocolBroken},
        Hostile{"send-number-79", Ending::protocolBroken},
        Hostile{"send-a-dead-port", Ending::connectionLost},
        Hostile{"send-a-full-port", Ending::connectionLost},
        Hostile{"hand-over-twice", Ending::timedOut}, Hostile{"auth-nothing", Ending::timedOut},
        Hostile{"auth-half", Ending::timedOut}, Hostile{"auth-half-and-exit", Ending::toolDied},
        Hostile{"auth-without-nul", Ending::connectionLost},
        Hostile{"auth-begin-first", Ending::timedOut}, Hostile{"auth-unknown", Ending::timedOut},
        Hostile{"auth-endless-line", Ending::connectionLost},
        Hostile{"auth-without-end", Ending::timedOut},
        Hostile{"auth-for-descriptors", Ending::timedOut},
        Hostile{"auth-and-nuls", Ending::timedOut},
        Hostile{"close-its-input", Ending::connectionLost},
        Hostile{"close-its-output", Ending::connectionLost},
        Hostile{"send-a-descriptor-on-the-bus", Ending::connectionLost},
        Hostile{"half-a-header", Ending::timedOut}, Hostile{"half-a-message", Ending::timedOut},
        Hostile{"half-a-message-and-exit", Ending::toolDied},
        Hostile{"huge-body-announced", Ending::connectionLost},
        Hostile{"large-body-announced", Ending::timedOut},
        Hostile{"huge-header-announced", Ending::connectionLost},
        Hostile{"wrong-order-mark", Ending::connectionLost},
        Hostile{"wrong-version", Ending::timedOut}, Hostile{"wrong-type", Ending::timedOut},
        Hostile{"no-serial", Ending::timedOut}, Hostile{"wrong-body-length", Ending::timedOut},
        Hostile{"wrong-signature", Ending::timedOut}, Hostile{"two-texts", Ending::timedOut},
        Hostile{"array-beyond-the-message", Ending::timedOut},
        Hostile{"unknown-client", Ending::timedOut}, Hostile{"unknown-member", Ending::timedOut},
        Hostile{"unknown-interface", Ending::timedOut},
        Hostile{"ask-the-master-to-search", Ending::timedOut},
        Hostile{"unasked-reply", Ending::timedOut},
        Hostile{"self-first-and-exit", Ending::toolDied},
        Hostile{"self-without-end", Ending::timedOut},
        Hostile{"ping-without-end", Ending::timedOut},
        Hostile{"unknown-without-end", Ending::timedOut},
        Hostile{"long-names-without-end", Ending::timedOut},
        Hostile{"carry-and-hang", Ending::timedOut},
        Hostile{"carry-garbage", Ending::malformedAnswer},
        Hostile{"carry-wrong-signature", Ending::timedOut},
        Hostile{"carry-without-end", Ending::toolDied, 2048},
        Hostile{"another-key", Ending::protocolBroken}, Hostile{"no-key", Ending::protocolBroken},
        Hostile{"huge-key", Ending::protocolBroken}, Hostile{"nil-unasked", Ending::protocolBroken},
        Hostile{"empty-text", Ending::answered}, Hostile{"only-nuls", Ending::malformedAnswer},
        Hostile{"a-count-beyond-reason", Ending::malformedAnswer},
        Hostile{"more-records-than-allowed", Ending::malformedAnswer},
        Hostile{"an-index-beyond-reason", Ending::malformedAnswer},
        Hostile{"many-brackets", Ending::malformedAnswer}, Hostile{"twice", Ending::protocolBroken},
        Hostile{"twice-with-self", Ending::protocolBroken},
        Hostile{"answer-and-close", Ending::connectionLost},
        Hostile{"answer-and-die", Ending::toolDied},
        Hostile{"answer-and-garbage", Ending::connectionLost},
        Hostile{"answer-and-exit", Ending::answered},
        Hostile{"answer-in-the-other-order", Ending::answered}),
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
