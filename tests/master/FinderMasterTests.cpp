// Searches through real processes, the well-behaved tool and the others.

#include "master/LogLines.h"
#include "protocol/FinderProtocol.h"
#include "protocol/NSConnection.h"
#include "tests/master/FakeToolSupport.h"
#include "tests/ports/RawSockets.h"
#include "tests/support/LogCapture.h"
#include "tests/support/ScopedEnvironment.h"
#include "tests/support/TemporaryDirectory.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <gmock/gmock.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace tesker::test {
namespace {

using Kind = SearchFailure::Kind;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

// Names of tests have no dashes.
std::string nameOfTest(std::string way) {
  std::erase(way, '-');
  return way;
}

struct Failing {
  const char *way;
  Kind kind;
  SearchStage stage;
  const char *reason;
};

class FailingTool : public testing::TestWithParam<Failing> {};

TEST_P(FailingTool, IsReportedAsWhatItIs) {
  const LogCapture log;
  const SearchFailure failure = failureOf(searchWithFakeTool(GetParam().way));
  EXPECT_EQ(failure.reason, GetParam().reason);
  EXPECT_EQ(failure.kind, GetParam().kind);
  EXPECT_EQ(failure.stage, GetParam().stage);
}

constexpr const char *kLostConnection =
    "the connection ended during the search: the tool has closed it or sent what is not understood";

INSTANTIATE_TEST_SUITE_P(
    FinderMaster, FailingTool,
    testing::Values(
        Failing{"exit-0", Kind::noHandOver, SearchStage::handOver,
                "the tool ended without connecting (exit status 0)"},
        Failing{"exit-3", Kind::toolDied, SearchStage::handOver,
                "the tool died before the hand-over (exit status 3)"},
        Failing{"kill-itself", Kind::toolDied, SearchStage::handOver,
                "the tool died before the hand-over (signal 9 (Killed))"},
        Failing{"connect-and-close", Kind::connectionLost, SearchStage::handOver,
                "the connection ended before the hand-over: the tool has closed it or sent what is "
                "not understood"},
        Failing{"send-31-bytes", Kind::protocolBroken, SearchStage::handOver,
                "the tool's first message is malformed"},
        Failing{"send-33-bytes", Kind::protocolBroken, SearchStage::handOver,
                "the tool's first message is malformed"},
        Failing{"send-no-descriptor", Kind::protocolBroken, SearchStage::handOver,
                "the tool's first message is malformed"},
        Failing{"send-two-descriptors", Kind::protocolBroken, SearchStage::handOver,
                "the tool's first message is malformed"},
        Failing{"send-a-file", Kind::protocolBroken, SearchStage::handOver,
                "the tool's first message is malformed"},
        Failing{"send-number-80", Kind::protocolBroken, SearchStage::handOver,
                "the tool's first message has the number 80 instead of 78"},
        Failing{"garbage-bus", Kind::connectionLost, SearchStage::search, kLostConnection},
        Failing{"no-answer", Kind::toolDied, SearchStage::search,
                "the tool ended without an answer (exit status 0)"},
        Failing{"crash-in-search", Kind::toolDied, SearchStage::search,
                "the tool died during the search (signal 6 (Aborted))"},
        Failing{"garbage-answer", Kind::malformedAnswer, SearchStage::end,
                "the tool's answer is no list of records"},
        Failing{"index-outside", Kind::malformedAnswer, SearchStage::end,
                "the tool's answer is no list of records"},
        Failing{"wrong-key", Kind::protocolBroken, SearchStage::end,
                "the tool answered for something that was not asked"},
        Failing{"always-unchanged", Kind::protocolBroken, SearchStage::end,
                "the tool calls an answer unchanged that it was never given"},
        Failing{"answer-twice", Kind::protocolBroken, SearchStage::end, "the tool answered twice"},
        Failing{"exit-9-after-answer", Kind::toolDied, SearchStage::end,
                "the tool died after its answer (exit status 9)"},
        Failing{"print", Kind::noHandOver, SearchStage::handOver,
                "the tool ended without connecting (exit status 0)"}),
    [](const auto &tested) { return nameOfTest(tested.param.way); });

class HangingTool : public testing::TestWithParam<std::pair<const char *, SearchStage>> {};

TEST_P(HangingTool, IsEndedAtTheDeadline) {
  const auto &[way, stage] = GetParam();
  const SearchFailure failure = failureOf(searchWithFakeTool(way, fakeTool(kTimeToHang)));
  EXPECT_EQ(failure.kind, Kind::timedOut);
  EXPECT_EQ(failure.stage, stage);
  EXPECT_EQ(failure.reason, "timed out " + describe(stage));
  EXPECT_FALSE(failure.toolEnd);
}

INSTANTIATE_TEST_SUITE_P(FinderMaster, HangingTool,
                         testing::Values(std::pair{"never-connect", SearchStage::handOver},
                                         std::pair{"connect-and-hang", SearchStage::handOver},
                                         std::pair{"hang-after-hand-over", SearchStage::search},
                                         std::pair{"hang-in-search", SearchStage::search},
                                         std::pair{"hang-after-answer", SearchStage::end}),
                         [](const auto &tested) { return nameOfTest(tested.param.first); });

TEST(FinderMaster, SaysThatAToolThatLivesOnHasHungUp) {
  // Whether that is noticed while the connection is made or on it, is open.
  const SearchFailure failure = failureOf(searchWithFakeTool("close-and-hang"));
  EXPECT_EQ(failure.kind, Kind::connectionLost);
  EXPECT_THAT(failure.reason, StartsWith("the connection ended "));
}

TEST(FinderMaster, TellsTheExitStatusOfAToolThatDied) {
  const SearchFailure failure = failureOf(searchWithFakeTool("exit-3"));
  ASSERT_TRUE(failure.toolEnd);
  EXPECT_EQ(failure.toolEnd->kind, ToolEnd::Kind::exited);
  EXPECT_EQ(failure.toolEnd->value, 3);
}

TEST(FinderMaster, SaysWhyAToolCannotBeExecuted) {
  const TemporaryDirectory directory;
  const std::string plain = directory.writeFile("plain", "no program", 0644);
  const std::string noFormat = directory.writeFile("noFormat", "\1\2\3", 0755);
  const auto failureWith = [](const std::string &tool) {
    return failureOf(FinderMaster({.tool = tool}).findAppsInSearchPath("/tmp"));
  };
  const SearchFailure missing = failureWith(directory.path("missing"));
  EXPECT_EQ(missing.kind, Kind::toolMissing);
  EXPECT_EQ(missing.reason, "the tool " + directory.path("missing") +
                                " cannot be executed: No such file or directory");
  EXPECT_EQ(failureWith(plain).kind, Kind::toolMissing);
  EXPECT_THAT(failureWith(plain).reason, HasSubstr("Permission denied"));
  EXPECT_THAT(failureWith(directory.path()).reason, HasSubstr("Permission denied"));
  EXPECT_THAT(failureWith(noFormat).reason, HasSubstr("Exec format error"));
  EXPECT_EQ(failureWith("").kind, Kind::toolMissing);
}

TEST(FinderMaster, RefusesARequestThatNoMessageCanHold) {
  const std::string path(NSConnection::kLargestArgument + 1, 'a');
  const SearchFailure failure = failureOf(FinderMaster(fakeTool()).findAppsInSearchPath(path));
  EXPECT_EQ(failure.kind, Kind::cannotSearch);
  EXPECT_EQ(failure.reason, "the request is longer than a message can be");
}

TEST(FinderMaster, RefusesMoreDockPathsThanARequestMayHave) {
  const FinderMaster master({.tool = programPath("ToolFinder")});
  const std::string most(kMostDockPaths - 1, kDockPathSeparator);
  const SearchFailure failure = failureOf(master.findAppsForDockPaths(most + kDockPathSeparator));
  EXPECT_EQ(failure.kind, Kind::cannotSearch);
  EXPECT_EQ(failure.reason, "the request has more paths than 10000");
  EXPECT_TRUE(std::holds_alternative<SearchAnswer>(master.findAppsForDockPaths(most).result));
}

TEST(FinderMaster, FailsAndLeavesNothingWhereThereAreNoDescriptorsLeft) {
  const TemporaryDirectory runtime;
  const ScopedEnvironment variable("XDG_RUNTIME_DIR", runtime.path());
  struct rlimit before {};
  ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &before), 0);
  const struct rlimit few { 3, before.rlim_max };
  ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &few), 0);
  const SearchOutcome outcome = searchWithFakeTool("empty-answer");
  ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &before), 0);
  EXPECT_EQ(failureOf(outcome).kind, Kind::cannotSearch);
  EXPECT_TRUE(std::filesystem::is_empty(runtime.path()));
}

TEST(FinderMaster, RemovesWhatTheToolHasPutIntoThePrivateDirectory) {
  const TemporaryDirectory runtime;
  const ScopedEnvironment variable("XDG_RUNTIME_DIR", runtime.path());
  const std::string tool = runtime.writeFile(
      "tool", "#!/bin/sh\nmkdir \"$TESKER_BOOTSTRAP_DIR/left\"; echo done\n", 0755);
  EXPECT_THAT(FinderMaster({.tool = tool}).findAppsInSearchPath("/tmp").logLines,
              ElementsAre("done"));
  std::filesystem::remove(tool);
  EXPECT_TRUE(std::filesystem::is_empty(runtime.path()));
}

TEST(FinderMaster, BringsTheAnswerOfTheRealTool) {
  const TemporaryDirectory directory;
  const FinderMaster master({.tool = programPath("ToolFinder")});
  const SearchOutcome outcome = master.findAppsInSearchPath(directory.path());
  const auto *answer = std::get_if<SearchAnswer>(&outcome.result);
  ASSERT_NE(answer, nullptr) << failureOf(outcome).reason;
  EXPECT_EQ(answer->text, "(0)");
  EXPECT_THAT(answer->records, IsEmpty());
  EXPECT_EQ(outcome.logLineCount, 0u);
}

TEST(FinderMaster, AsksForDockPathsWithTheKeyDock) {
  const FinderMaster master({.tool = programPath("ToolFinder")});
  const std::string paths("/missing\0/bin/sh", 16);
  const SearchOutcome outcome = master.findAppsForDockPaths(paths);
  EXPECT_TRUE(std::holds_alternative<SearchAnswer>(outcome.result)) << failureOf(outcome).reason;
}

TEST(FinderMaster, SaysThatTheAnswerEqualsThePreviousText) {
  const TemporaryDirectory directory;
  const FinderMaster master({.tool = programPath("ToolFinder")});
  EXPECT_TRUE(std::holds_alternative<SearchUnchanged>(
      master.findAppsInSearchPath(directory.path(), "(0)").result));
  EXPECT_TRUE(std::holds_alternative<SearchAnswer>(
      master.findAppsInSearchPath(directory.path(), "(00)").result));
}

TEST(FinderMaster, KeepsTheLinesThatTheToolLogs) {
  const SearchOutcome outcome =
      FinderMaster({.tool = programPath("ToolFinder")}).findAppsInSearchPath("/a/../b");
  EXPECT_TRUE(std::holds_alternative<SearchAnswer>(outcome.result));
  EXPECT_THAT(outcome.logLines, testing::Contains("*** Incorrect path: '/a/../b'"));
}

TEST(FinderMaster, HasTheToolLogHowFarItIsConfinedWhenToldTo) {
  const auto outcome = [](bool logConfinement) {
    return FinderMaster({.tool = programPath("ToolFinder"), .logConfinement = logConfinement})
        .findAppsInSearchPath("/nowhere");
  };
  EXPECT_THAT(outcome(false).logLines, IsEmpty());
  EXPECT_EQ(outcome(false).confinement, std::nullopt);
  const SearchOutcome told = outcome(true);
  EXPECT_THAT(told.logLines, ElementsAre("Tool: confinement: " + told.confinement.value_or("")));
}

TEST(FinderMaster, BelievesOnlyTheFirstThatTheToolSaysOfItsConfinement) {
  FinderMasterOptions options = fakeTool();
  EXPECT_EQ(searchWithFakeTool("confinement-twice", options).confinement, std::nullopt);
  options.logConfinement = true;
  EXPECT_EQ(searchWithFakeTool("confinement-twice", options).confinement, "off");
  EXPECT_EQ(searchWithFakeTool("empty-answer", options).confinement, std::nullopt);
}

TEST(FinderMaster, CarriesTextsThatNoSingleMessageHolds) {
  const SearchRecord record{{{"name", std::string(std::size_t{40} << 20, 'x')}}};
  const std::string previous = encodeRecords({record});
  const SearchOutcome outcome = searchWithFakeTool("echo-previous", fakeTool(), previous);
  const auto *answer = std::get_if<SearchAnswer>(&outcome.result);
  ASSERT_NE(answer, nullptr) << failureOf(outcome).reason;
  EXPECT_TRUE(answer->text == previous);
  EXPECT_TRUE(answer->records == std::vector{record});
}

TEST(FinderMaster, ToleratesAGrandchildThatHoldsTheLogOpen) {
  const SearchOutcome outcome = searchWithFakeTool("leave-a-grandchild");
  EXPECT_TRUE(std::holds_alternative<SearchAnswer>(outcome.result));
}

TEST(FinderMaster, GivesASearchUpWhenTheCancelDescriptorIsReadable) {
  Result<Pipe> pipe = createPipe();
  ASSERT_TRUE(pipe);
  pipe->writeEnd.reset();
  FinderMasterOptions options = fakeTool();
  options.cancelDescriptor = pipe->readEnd.number();
  EXPECT_EQ(failureOf(searchWithFakeTool("never-connect", std::move(options))).kind,
            Kind::cancelled);
}

TEST(FinderMaster, GivesASearchUpEvenWhileTheToolNeverStopsSending) {
  Result<Pipe> pipe = createPipe();
  ASSERT_TRUE(pipe);
  FinderMasterOptions options = fakeTool();
  options.cancelDescriptor = pipe->readEnd.number();
  options.onLogLine = [&](std::string_view) { pipe->writeEnd.reset(); };
  EXPECT_EQ(failureOf(searchWithFakeTool("flood", std::move(options))).kind, Kind::cancelled);
}

TEST(FinderMaster, ToleratesAProcessThatIgnoresTheEndOfItsChildren) {
  ::signal(SIGCHLD, SIG_IGN);
  EXPECT_TRUE(std::holds_alternative<SearchAnswer>(searchWithFakeTool("empty-answer").result));
  const SearchFailure failure = failureOf(searchWithFakeTool("exit-3"));
  EXPECT_EQ(failure.reason, "the tool ended without connecting (exit status unknown)");
  EXPECT_EQ(failureOf(searchWithFakeTool("never-connect", fakeTool(kTimeToHang))).kind,
            Kind::timedOut);
  ::signal(SIGCHLD, SIG_DFL);
}

// ---- the tool's start ----

std::string valueOf(const SearchOutcome &report, std::string_view key) {
  const auto *answer = std::get_if<SearchAnswer>(&report.result);
  if (answer == nullptr)
    return failureOf(report).reason;
  const std::string *value = answer->records.at(0).find(key);
  return value != nullptr ? *value : "nothing";
}

TEST(FinderMaster, StartsTheToolWithNothingOfItsOwnOpen) {
  const int leaky = ::open("/dev/zero", O_RDONLY);
  ASSERT_GE(leaky, 0);
  EXPECT_EQ(valueOf(searchWithFakeTool("report"), "descriptors"), "0=/dev/null 1=pipe 2=pipe ");
  ::close(leaky);
}

TEST(FinderMaster, StartsTheToolWithItsThreeDescriptorsWhenThisProcessHasNone) {
  std::array<int, 3> kept{};
  for (int descriptor = 0; descriptor < 3; ++descriptor) {
    kept[static_cast<std::size_t>(descriptor)] = ::fcntl(descriptor, F_DUPFD_CLOEXEC, 10);
    ::close(descriptor);
  }
  const SearchOutcome outcome = searchWithFakeTool("report");
  for (int descriptor = 0; descriptor < 3; ++descriptor)
    ::dup2(kept[static_cast<std::size_t>(descriptor)], descriptor);
  EXPECT_EQ(valueOf(outcome, "descriptors"), "0=/dev/null 1=pipe 2=pipe ");
}

TEST(FinderMaster, StartsTheToolWithoutBlockedOrIgnoredSignals) {
  sigset_t some;
  ::sigemptyset(&some);
  ::sigaddset(&some, SIGTERM);
  ::sigprocmask(SIG_BLOCK, &some, nullptr);
  ::signal(SIGPIPE, SIG_IGN);
  EXPECT_EQ(valueOf(searchWithFakeTool("report"), "signals"), "default");
}

TEST(FinderMaster, StartsTheToolInAProcessGroupOfItsOwn) {
  EXPECT_EQ(valueOf(searchWithFakeTool("report"), "group"), "own");
}

TEST(FinderMaster, TellsTheToolTheProcessorTheLogAndTheDirectory) {
  const TemporaryDirectory runtime;
  const ScopedEnvironment variable("XDG_RUNTIME_DIR", runtime.path());
  const ScopedEnvironment desktop("TESKER_BOOTSTRAP_DIR", "/of/the/desktop");
  FinderMasterOptions options = fakeTool();
  options.cpu = "m68k";
  const SearchOutcome outcome = searchWithFakeTool("report", std::move(options));
  EXPECT_EQ(valueOf(outcome, "cpu"), "m68k");
  EXPECT_EQ(valueOf(outcome, "log"), "1");
  EXPECT_THAT(valueOf(outcome, "bootstrap"), StartsWith(runtime.path() + "/tesker-"));
}

TEST(FinderMaster, LeavesTheProcessorToTheEnvironmentWhenNoneIsGiven) {
  const ScopedEnvironment variable("TESKER_HOST_CPU", "sparc");
  EXPECT_EQ(valueOf(searchWithFakeTool("report"), "cpu"), "sparc");
}

TEST(FinderMaster, FallsBackToTmpWhereTheRuntimeDirectoryIsUnusable) {
  for (const char *unusable : {"/missing/directory", "relative", ".", ""}) {
    const ScopedEnvironment variable("XDG_RUNTIME_DIR", unusable);
    EXPECT_THAT(valueOf(searchWithFakeTool("report"), "bootstrap"), StartsWith("/tmp/tesker-"));
  }
}

// ---- nothing is left ----

TEST(FinderMaster, LeavesNoDescriptorNoProcessAndNoDirectory) {
  const LogCapture log;
  const TemporaryDirectory runtime;
  const ScopedEnvironment variable("XDG_RUNTIME_DIR", runtime.path());
  const std::vector<std::string> ways{
      "empty-answer",       "exit-3",         "send-31-bytes",       "wrong-key", "garbage-bus",
      "leave-a-grandchild", "send-number-80", "send-two-descriptors"};
  searchWithFakeTool("empty-answer"); // what is opened once stays open
  const auto before = openDescriptorCount();
  for (std::size_t i = 0; i < 50; ++i)
    searchWithFakeTool(ways[i % ways.size()] == "garbage-bus" && i > 8 ? "empty-answer"
                                                                       : ways[i % ways.size()]);
  EXPECT_EQ(openDescriptorCount(), before);
  EXPECT_FALSE(hasChildren());
  EXPECT_TRUE(std::filesystem::is_empty(runtime.path()));
}

TEST(FinderMaster, LeavesNothingOfAToolThatWasEndedAtTheDeadline) {
  const TemporaryDirectory runtime;
  const ScopedEnvironment variable("XDG_RUNTIME_DIR", runtime.path());
  const auto before = openDescriptorCount();
  searchWithFakeTool("never-connect", fakeTool(std::chrono::milliseconds(100)));
  EXPECT_EQ(openDescriptorCount(), before);
  EXPECT_FALSE(hasChildren());
  EXPECT_TRUE(std::filesystem::is_empty(runtime.path()));
}

} // namespace
} // namespace tesker::test
