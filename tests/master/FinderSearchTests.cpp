// Searches in the event loop of a host.

#include "tests/master/FakeToolSupport.h"
#include "tests/master/HostLoop.h"
#include "tests/ports/RawSockets.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/FaultyOperatingSystem.h"
#include "tests/support/LogCapture.h"
#include "tests/support/ScopedEnvironment.h"
#include "tests/support/TemporaryDirectory.h"

#include <csignal>
#include <filesystem>
#include <gmock/gmock.h>
#include <random>
#include <stdexcept>
#include <sys/wait.h>
#include <unistd.h>

namespace tesker::test {
namespace {

using Kind = SearchFailure::Kind;
using testing::ElementsAre;

class FinderSearchOf : public testing::Test {
protected:
  // Whether what a search needs is gone.
  void expectNothingLeft() const {
    EXPECT_FALSE(hasChildren());
    EXPECT_TRUE(std::filesystem::is_empty(runtime_.path()));
  }
  SearchFailure failure() const { return failureOf(*host_.outcome); }

  const LogCapture log_;
  const TemporaryDirectory runtime_;
  const ScopedEnvironment variable_{"XDG_RUNTIME_DIR", runtime_.path()};
  HostLoop host_;
};

// ---- the end ----

TEST_F(FinderSearchOf, TheRealToolIsToldOnceAfterEverythingElse) {
  const TemporaryDirectory directory;
  std::vector<std::string> told;
  FinderMasterOptions options{.tool = programPath("ToolFinder")};
  options.logConfinement = true;
  options.onLogLine = [&](std::string_view) { told.push_back(host_.outcome ? "late" : "line"); };
  host_.start(options, {.argument = directory.path()});
  EXPECT_FALSE(host_.search().hasEnded());
  host_.runToEnd();
  EXPECT_THAT(told, ElementsAre("line"));
  EXPECT_EQ(host_.ends, 1);
  EXPECT_TRUE(host_.search().hasEnded());
  EXPECT_EQ(std::get<SearchAnswer>(host_.outcome->result).text, "(0)");
  expectNothingLeft();
}

TEST_F(FinderSearchOf, AToolThatHasAnsweredIsNeverReadyOrToldAgain) {
  host_.startFakeTool("empty-answer", fakeTool());
  const int descriptor = host_.search().descriptor();
  host_.runToEnd();
  EXPECT_FALSE(host_.isReady(std::chrono::milliseconds(100)));
  host_.dispatch();
  host_.search().cancel();
  EXPECT_FALSE(host_.isReady());
  host_.dispatch();
  EXPECT_EQ(host_.ends, 1);
  EXPECT_EQ(host_.search().descriptor(), descriptor);
}

TEST_F(FinderSearchOf, AToolMayBeDestroyedWhileItsEndIsTold) {
  host_.destroysSearchAtEnd = true;
  host_.startFakeTool("empty-answer", fakeTool());
  host_.runToEnd();
  EXPECT_EQ(host_.ends, 1);
  expectNothingLeft();
}

TEST_F(FinderSearchOf, AToolThatStillRunsIsEndedWithTheObjectAndWithoutAWord) {
  const auto before = openDescriptorCount();
  host_.startFakeTool("hang-in-search", fakeTool());
  host_.runUntilQuiet();
  host_.destroySearch();
  EXPECT_EQ(host_.ends, 0);
  EXPECT_EQ(openDescriptorCount(), before);
  expectNothingLeft();
}

TEST_F(FinderSearchOf, AToolThatCannotBeExecutedIsToldByDispatch) {
  host_.start({.tool = "/missing"}, {.argument = "/tmp"});
  host_.runToEnd();
  EXPECT_EQ(failure().kind, Kind::toolMissing);
}

TEST_F(FinderSearchOf, AToolThatHangsIsEndedAtTheDeadline) {
  host_.startFakeTool("hang-in-search", fakeTool(std::chrono::milliseconds(500)));
  host_.runToEnd();
  EXPECT_EQ(failure().kind, Kind::timedOut);
  expectNothingLeft();
}

// ---- readiness ----

TEST_F(FinderSearchOf, AToolThatHangsIsNotReadyWhileThereIsNothingToDo) {
  host_.startFakeTool("hang-in-search", fakeTool());
  host_.runUntilQuiet();
  EXPECT_FALSE(host_.isReady(std::chrono::milliseconds(100)));
  host_.dispatch(); // which may be done at any time
  EXPECT_FALSE(host_.isReady(std::chrono::milliseconds(100)));
  EXPECT_FALSE(host_.outcome);
}

TEST_F(FinderSearchOf, ALongAnswerIsReadInManySteps) {
  // Every look at the clock takes a millisecond.
  class SlowClock : public OperatingSystem {
    std::chrono::steady_clock::time_point steadyTime() override {
      return OperatingSystem::steadyTime() + ++looks_ * std::chrono::milliseconds(1);
    }
    int looks_ = 0;
  };
  constexpr std::size_t kRecords = 20000;
  const ScopedEnvironment oneChild("TESKER_READ_AHEAD", "never");
  SlowClock clock;
  const ScopedOperatingSystem scope(clock);
  const std::string text = encodeRecords(std::vector<SearchRecord>(kRecords, {{{"name", "a"}}}));
  const ScopedEnvironment way("FAKE_TOOL", "echo-previous");
  host_.start(fakeTool(std::chrono::hours(1)), {.argument = "/tmp", .previous = text});
  while (!host_.outcome && hasChildren())
    host_.dispatch();
  const int before = host_.dispatches;
  host_.runToEnd();
  EXPECT_EQ(std::get<SearchAnswer>(host_.outcome->result).records.size(), kRecords);
  EXPECT_GT(host_.dispatches - before, 20); // 64 records at a look, ten looks at a time
}

TEST_F(FinderSearchOf, DescriptorsThatAForkedChildKeepsOpenDoNotWakeTheHost) {
  host_.startFakeTool("close-and-hang", fakeTool());
  const pid_t child = ::fork();
  if (child == 0) {
    ::pause();
    ::_exit(0);
  }
  host_.runUntilQuiet(); // the connection has ended, and only the tool's end is waited for
  EXPECT_FALSE(host_.outcome);
  host_.runToEnd();
  EXPECT_EQ(failure().kind, Kind::connectionLost);
  EXPECT_FALSE(host_.isReady(std::chrono::milliseconds(100)));
  ::kill(child, SIGKILL);
  ::waitpid(child, nullptr, 0);
}

// ---- cancelling ----

TEST_F(FinderSearchOf, AToolThatHangsIsGivenUpWhenCancelled) {
  host_.startFakeTool("hang-in-search", fakeTool());
  host_.runUntilQuiet();
  host_.search().cancel();
  EXPECT_FALSE(host_.outcome) << "told by dispatch() only";
  EXPECT_TRUE(host_.isReady());
  host_.search().cancel();
  host_.runToEnd();
  EXPECT_EQ(failure().kind, Kind::cancelled);
  EXPECT_EQ(host_.ends, 1);
  expectNothingLeft();
}

TEST_F(FinderSearchOf, AToolThatNeverStopsSendingIsGivenUpInACallback) {
  FinderMasterOptions options = fakeTool();
  options.onLogLine = [this](std::string_view) { host_.search().cancel(); };
  host_.startFakeTool("flood", options);
  host_.runToEnd();
  EXPECT_EQ(failure().kind, Kind::cancelled);
}

// ---- callbacks ----

TEST_F(FinderSearchOf, ACallbackThatDispatchesDoesNothing) {
  FinderMasterOptions options = fakeTool();
  int lines = 0;
  options.onLogLine = [&](std::string_view) {
    ++lines;
    host_.search().dispatch();
  };
  host_.startFakeTool("confinement-twice", options);
  host_.runToEnd();
  EXPECT_EQ(lines, 2);
  EXPECT_TRUE(std::holds_alternative<SearchAnswer>(host_.outcome->result));
}

TEST_F(FinderSearchOf, WhatACallbackThrowsLeavesDispatchAndTheSearchGoesOn) {
  FinderMasterOptions options = fakeTool();
  int lines = 0;
  options.onLogLine = [&](std::string_view) {
    if (++lines == 1)
      throw std::runtime_error("enough");
  };
  host_.startFakeTool("confinement-twice", options);
  EXPECT_THROW(host_.runToEnd(), std::runtime_error);
  EXPECT_FALSE(host_.outcome);
  host_.runToEnd();
  EXPECT_TRUE(std::holds_alternative<SearchAnswer>(host_.outcome->result));
  EXPECT_EQ(host_.ends, 1);
  expectNothingLeft();
}

// ---- what the system refuses ----

std::string reasonWithout(std::string_view call, std::size_t number, int error) {
  FaultyOperatingSystem system([&](std::string_view made, int) { return made == call; });
  system.fault = {.call = number, .error = error, .andAllAfter = true};
  const ScopedOperatingSystem scope(system);
  return failureOf(searchWithFakeTool("empty-answer")).reason;
}

TEST_F(FinderSearchOf, ASystemThatRefusesToWaitFailsWithTheReason) {
  EXPECT_EQ(reasonWithout("createEventPoll", 1, EMFILE),
            "nothing can be waited for: Too many open files");
  EXPECT_EQ(reasonWithout("createTimer", 1, ENFILE),
            "nothing can be waited for: Too many open files in system");
  EXPECT_EQ(reasonWithout("controlEventPoll", 1, ENOSPC),
            "nothing can be waited for: No space left on device");
  EXPECT_EQ(reasonWithout("controlEventPoll", 3, ENOSPC),
            "the tool cannot be waited for: No space left on device");
  expectNothingLeft();
}

// ---- the host ----

int childrenSeen = 0;

TEST_F(FinderSearchOf, ItsHostIsLeftItsSignalsAndItsDirectory) {
  const ScopedEnvironment oneChild("TESKER_READ_AHEAD", "never");
  struct sigaction handling {};
  handling.sa_handler = [](int) { ++childrenSeen; };
  struct sigaction before {};
  ::sigaction(SIGCHLD, &handling, &before);
  sigset_t blocked;
  sigset_t after;
  ::sigemptyset(&blocked);
  ::sigaddset(&blocked, SIGUSR1);
  ::sigprocmask(SIG_SETMASK, &blocked, nullptr);
  const auto directory = std::filesystem::current_path();
  host_.startFakeTool("empty-answer", fakeTool());
  host_.runToEnd();
  ::sigprocmask(SIG_SETMASK, nullptr, &after);
  EXPECT_TRUE(::sigismember(&after, SIGUSR1) == 1 && ::sigismember(&after, SIGCHLD) == 0);
  EXPECT_EQ(std::filesystem::current_path(), directory);
  struct sigaction now {};
  ::sigaction(SIGCHLD, &before, &now);
  EXPECT_EQ(now.sa_handler, handling.sa_handler);
  EXPECT_EQ(childrenSeen, 1);
}

TEST_F(FinderSearchOf, AHostThatReapsItsChildrenGetsTheAnswer) {
  struct sigaction reaping {};
  reaping.sa_handler = [](int) { ::waitpid(-1, nullptr, WNOHANG); };
  struct sigaction before {};
  ::sigaction(SIGCHLD, &reaping, &before);
  host_.startFakeTool("empty-answer", fakeTool());
  host_.runToEnd();
  ::sigaction(SIGCHLD, &before, nullptr);
  EXPECT_TRUE(std::holds_alternative<SearchAnswer>(host_.outcome->result));
}

// ---- several ----

// Keeps eight searches under way until so many have ended, and gives half of them up, each after
// a number of steps that chance says.
void searchAtOnce(int total, unsigned seed, const std::string &path) {
  std::mt19937 random(seed);
  struct Running {
    std::unique_ptr<HostLoop> host;
    int stepsToCancel;
  };
  std::vector<Running> running;
  for (int begun = 0; begun < total || !running.empty();) {
    while (begun < total && running.size() < 8) {
      running.push_back(
          {std::make_unique<HostLoop>(), begun % 2 == 0 ? -1 : static_cast<int>(random() % 30)});
      running.back().host->start({.tool = programPath("ToolFinder")}, {.argument = path});
      ++begun;
    }
    std::vector<pollfd> waiting;
    for (const Running &one : running)
      waiting.push_back({one.host->search().descriptor(), POLLIN, 0});
    ASSERT_GT(::poll(waiting.data(), waiting.size(), 120'000), 0);
    for (std::size_t i = 0; i < running.size(); ++i) {
      if (running[i].host->dispatches == running[i].stepsToCancel)
        running[i].host->search().cancel();
      if (waiting[i].revents != 0)
        running[i].host->dispatch();
    }
    std::erase_if(running, [](const Running &one) {
      if (!one.host->outcome)
        return false;
      EXPECT_TRUE(one.stepsToCancel >= 0 ||
                  std::holds_alternative<SearchAnswer>(one.host->outcome->result));
      return true;
    });
  }
}

TEST_F(FinderSearchOf, TwoHundredAtATimeOfEightLeaveNothing) {
  const TemporaryDirectory directory;
  searchAtOnce(8, 1, directory.path()); // what is opened once stays open
  const auto before = openDescriptorCount();
  searchAtOnce(200, 2, directory.path());
  EXPECT_EQ(openDescriptorCount(), before);
  expectNothingLeft();
}

} // namespace
} // namespace tesker::test
