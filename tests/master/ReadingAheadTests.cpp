// When a program is started that reads ahead of the tool, what it is told, and that it goes.
#include "master/ReadingAhead.h"
#include "parsing/ReadAheadHints.h"
#include "platform/foundation/Files.h"
#include "tests/master/FakeToolSupport.h"
#include "tests/master/HostLoop.h"
#include "tests/support/ScopedEnvironment.h"
#include "tests/support/TemporaryDirectory.h"

#include <algorithm>
#include <chrono>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <unistd.h>

namespace tesker::test {
namespace {

using std::chrono::milliseconds;
using std::chrono::nanoseconds;
using ::testing::StartsWith;

// Says of the tool that it works so much of the time, as far as its clock goes.
class ToolAtWork : public OperatingSystem {
public:
  explicit ToolAtWork(int percent) : percent_(percent) {}
  std::optional<ProcessWork> work(pid_t /*process*/) override {
    ++looks;
    if (!tells)
      return std::nullopt;
    return ProcessWork{nanoseconds(steadyTime().time_since_epoch()) / 100 * percent_, isReady};
  }
  bool tells = true;
  bool isReady = false;
  int looks = 0;

private:
  int percent_;
};

class ReadingAheadOf : public testing::Test {
protected:
  // As a rule the fake tool tells that it is somewhere, and says nothing more.
  void start(const std::string &program, const char *way = "progress-and-hang") {
    FinderMasterOptions options = fakeTool();
    options.readAhead = program;
    loop_.startFakeTool(way, options);
  }
  // A program that keeps what it is told in a file.
  std::string keepingProgram() const {
    return directory_.writeFile("keep", "#!/bin/sh\nexec cat > " + directory_.path("told") + "\n",
                                0755);
  }
  std::string told() const {
    const auto bytes = contentsOfFile(directory_.string("told"));
    return bytes ? *bytes : "";
  }
  template <class Condition> bool comesTo(Condition condition) {
    for (int i = 0; i < 3000 && !condition(); ++i)
      if (loop_.isReady(milliseconds(10)))
        loop_.dispatch();
    return condition();
  }
  void expectNothingBegins(const ToolAtWork &system) {
    start(keepingProgram());
    EXPECT_TRUE(comesTo([&] { return system.looks > 6; }));
    giveUp();
    EXPECT_EQ(told(), "");
  }
  void giveUp() {
    loop_.search().cancel();
    loop_.runToEnd();
    EXPECT_EQ(failureOf(*loop_.outcome).kind, SearchFailure::Kind::cancelled);
    EXPECT_FALSE(hasChildren());
  }

  const ScopedEnvironment asTheOptionsSay_{"TESKER_READ_AHEAD", nullptr};
  const TemporaryDirectory directory_;
  HostLoop loop_;
};

TEST_F(ReadingAheadOf, AToolThatWaitsBeginsAndIsToldWhereTheToolIs) {
  ToolAtWork system(10);
  const ScopedOperatingSystem inForce(system);
  start(keepingProgram());
  const std::string place =
      progressHint((std::uint64_t{1} << 32) + 345, "/tmp/\x1b[31mred\n/below");
  EXPECT_TRUE(comesTo([&] { return told().ends_with(place); })) << told();
  EXPECT_THAT(told(), StartsWith("s /"));
  EXPECT_EQ(system.looks, 3) << "a first one, and two that find it waiting";
  giveUp();
  EXPECT_FALSE(loop_.outcome->progress) << "nobody has asked for it";
}

TEST_F(ReadingAheadOf, AToolThatWaitsMoreThanAQuarterOfTheTimeBegins) {
  ToolAtWork system(70);
  const ScopedOperatingSystem inForce(system);
  start(keepingProgram());
  EXPECT_TRUE(comesTo([&] { return told().starts_with("s /"); }));
  giveUp();
}

TEST_F(ReadingAheadOf, AToolThatWaitsOnlyNowAndThenNeverBegins) {
  class EverySecondTime final : public ToolAtWork {
  public:
    EverySecondTime() : ToolAtWork(0) {}
    // All the time since the last look, and none of it, in turn.
    std::optional<ProcessWork> work(pid_t /*process*/) override {
      const nanoseconds now = steadyTime().time_since_epoch();
      busy_ += ++looks % 2 == 0 ? now - last_ : nanoseconds(0);
      last_ = now;
      return ProcessWork{busy_, false};
    }

  private:
    nanoseconds busy_{0}, last_{0};
  };
  EverySecondTime system;
  const ScopedOperatingSystem inForce(system);
  expectNothingBegins(system);
}

TEST_F(ReadingAheadOf, AToolAtWorkNeverBegins) {
  ToolAtWork system(80);
  const ScopedOperatingSystem inForce(system);
  expectNothingBegins(system);
}

TEST_F(ReadingAheadOf, AToolThatHasClosedItsConnectionLeavesTheHostAsleep) {
  start(keepingProgram(), "close-and-hang");
  loop_.runUntilQuiet();
  ASSERT_FALSE(loop_.outcome) << "it was awake to the end";
  giveUp();
}

TEST_F(ReadingAheadOf, AToolThatIsReadyToWorkNeverBegins) {
  ToolAtWork system(0);
  system.isReady = true;
  const ScopedOperatingSystem inForce(system);
  expectNothingBegins(system);
}

TEST_F(ReadingAheadOf, AToolOfWhichTheSystemTellsNothingNeverBegins) {
  ToolAtWork system(0);
  system.tells = false;
  const ScopedOperatingSystem inForce(system);
  expectNothingBegins(system);
}

TEST_F(ReadingAheadOf, AToolAtWorkBeginsWhereTheEnvironmentSaysAlways) {
  const ScopedEnvironment always("TESKER_READ_AHEAD", "always");
  ToolAtWork system(100);
  const ScopedOperatingSystem inForce(system);
  start(keepingProgram());
  EXPECT_TRUE(comesTo([&] { return told().starts_with("s /"); }));
  EXPECT_EQ(system.looks, 0);
  giveUp();
  EXPECT_EQ(readingAheadWish({.tool = "/a/b/tool"}).program, "/a/b/tesker-read-ahead");
  EXPECT_EQ(readingAheadWish({.tool = "tool"}).program, "tesker-read-ahead");
}

TEST_F(ReadingAheadOf, AToolThatWaitsDoesNotBeginWhereTheEnvironmentSaysNever) {
  const ScopedEnvironment never("TESKER_READ_AHEAD", "never");
  ToolAtWork system(10);
  const ScopedOperatingSystem inForce(system);
  start(keepingProgram());
  comesTo([waits = 0]() mutable { return ++waits > 5; });
  giveUp();
  EXPECT_EQ(system.looks, 0);
  EXPECT_EQ(told(), "");
}

TEST_F(ReadingAheadOf, AToolIsNotLookedAtWhereNobodyWantsIt) {
  ToolAtWork system(10);
  const ScopedOperatingSystem inForce(system);
  start("");
  comesTo([waits = 0]() mutable { return ++waits > 5; });
  giveUp();
  EXPECT_EQ(system.looks, 0);
}

TEST_F(ReadingAheadOf, AToolMayFailWithoutAWord) {
  ToolAtWork system(10);
  const ScopedOperatingSystem inForce(system);
  for (const std::string &program :
       {directory_.path("not there"), directory_.writeFile("ends", "#!/bin/sh\n", 0755)}) {
    loop_ = HostLoop();
    system.looks = 0;
    start(program);
    EXPECT_TRUE(comesTo([&] { return system.looks == 3; }));
    comesTo([waits = 0]() mutable { return ++waits > 5; }); // it is told more after its end
    giveUp();
  }
}

TEST_F(ReadingAheadOf, AToolThatDoesNotListenIsEndedWithTheSearch) {
  ToolAtWork system(10);
  const ScopedOperatingSystem inForce(system);
  start(directory_.writeFile(
      "stays", "#!/bin/sh\ntrap '' TERM PIPE\necho > " + directory_.path("told") + "\nsleep 1000\n",
      0755));
  EXPECT_TRUE(comesTo([&] { return !told().empty(); }));
  giveUp();
}

TEST_F(ReadingAheadOf, AListOfPathsHasAHintForEach) {
  ToolAtWork system(10);
  const ScopedOperatingSystem inForce(system);
  std::string list = "/one";
  std::string expected = searchPathHint("/one");
  for (int i = 0; i < 9999; ++i) { // more than a socket takes at once
    const std::string path = "/" + std::string(100, 'a') + std::to_string(i);
    list += '\0' + path;
    expected += searchPathHint(path);
  }
  ReadingAhead readingAhead({keepingProgram()}, list, FinderSearchRequest::Kind::dockPaths);
  const auto tool = ToolProcess::start("/bin/sleep", {});
  ASSERT_TRUE(tool);
  for (int i = 0; i < 3000 && told().size() < expected.size(); ++i) {
    (void)OperatingSystem().poll(nullptr, 0, std::clamp(readingAhead.pollTimeout(), 1, 100));
    readingAhead.step(**tool, std::nullopt);
  }
  EXPECT_EQ(told(), expected);
}

TEST(WorkOfAProcess, GrowsOnlyWhileItWorks) {
  OperatingSystem system;
  const auto before = system.work(::getpid());
  ASSERT_TRUE(before);
  EXPECT_TRUE(before->isReady);
  for (int i = 0; i < 1000 && system.work(::getpid())->busy < before->busy + milliseconds(5); ++i) {
    volatile int work = 0;
    while (work < 1'000'000)
      work = work + 1;
  }
  EXPECT_GE(system.work(::getpid())->busy, before->busy + milliseconds(5));
  EXPECT_FALSE(system.work(0x7ffffffe));
}

} // namespace
} // namespace tesker::test
