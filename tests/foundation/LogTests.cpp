#include "platform/foundation/NSLog.h"

#include "platform/foundation/Files.h"
#include "tests/support/LogCapture.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <cstdlib>
#include <string>
#include <thread>
#include <unistd.h>

namespace tesker {
namespace {

using namespace std::string_view_literals;
using test::LogCapture;
using testing::ElementsAre;
using testing::IsEmpty;

// What the action writes to the process's real standard error, read through a pipe.
template <class Action> std::string writtenToStandardError(Action action) {
  Result<Pipe> pipe = createPipe();
  EXPECT_TRUE(pipe);
  const FileDescriptor in = std::move(pipe->readEnd);
  FileDescriptor out = std::move(pipe->writeEnd);
  FileDescriptor former(::dup(STDERR_FILENO));
  ::dup2(out.number(), STDERR_FILENO);
  out.reset();
  std::string text;
  // Reads meanwhile, so that a text larger than the pipe comes through.
  std::thread reader([&] {
    char buffer[4096];
    for (ssize_t got; (got = ::read(in.number(), buffer, sizeof buffer)) > 0;)
      text.append(buffer, static_cast<std::size_t>(got));
  });
  action();
  ::dup2(former.number(), STDERR_FILENO);
  reader.join();
  return text;
}

TEST(FormattedTest, PlaceholdersTakeTheArgumentsInOrder) {
  EXPECT_EQ(formatted("%s is %d of %@", {"a", "7", "b"}), "a is 7 of b");
  EXPECT_EQ(formatted("no placeholder", {}), "no placeholder");
  EXPECT_EQ(formatted("", {}), "");
}

TEST(FormattedTest, AByteStringEndsAtItsNulAndAnObjectsTextDoesNot) {
  EXPECT_EQ(formatted("[%s][%@]", {"a\0b"sv, "a\0b"sv}), "[a][a\\x00b]");
}

TEST(FormattedTest, ControlCharactersOfAnArgumentAreWrittenOut) {
  EXPECT_EQ(formatted("cannot read %s", {"a\nTool: all is well"}),
            "cannot read a\\nTool: all is well");
  EXPECT_EQ(formatted("%@ %s %d", {"\t", "\r", "\x1B[2J"}), "\\t \\x0d \\x1b[2J");
  EXPECT_EQ(formatted("%s", {"\x01\x1F\x7F"}), "\\x01\\x1f\\x7f");
}

TEST(FormattedTest, OtherBytesOfAnArgumentAreAsTheyWere) {
  const std::string ordinary = " ~\\\\n\x80\x9F\xFF\xC3\xA4";
  EXPECT_EQ(formatted("%s", {ordinary}), ordinary);
}

TEST(FormattedTest, ControlCharactersOfTheFormatStay) {
  EXPECT_EQ(formatted("a\n\t%s", {"b"}), "a\n\tb");
}

TEST(FormattedTest, TwoPercentSignsAreOne) {
  EXPECT_EQ(formatted("100%% %s", {"x"}), "100% x");
  EXPECT_EQ(formatted("%%s", {"x"}), "%s");
}

TEST(FormattedTest, APlaceholderWithoutArgumentStaysAsItIs) {
  EXPECT_EQ(formatted("%s and %s, %d", {"a"}), "a and %s, %d");
}

TEST(FormattedTest, OtherPercentSignsStayAsTheyAre) {
  EXPECT_EQ(formatted("%x 5% %", {"a"}), "%x 5% %");
}

TEST(FormattedTest, PlaceholdersInsideArgumentsAreNotReplaced) {
  EXPECT_EQ(formatted("%s %s", {"%s%%", "b"}), "%s%% b");
}

TEST(FormattedTest, SurplusArgumentsAreDropped) { EXPECT_EQ(formatted("%s", {"a", "b"}), "a"); }

TEST(LogTest, NSLogWritesTheTextAndALineFeedToStandardErrorWithoutPrefix) {
  EXPECT_EQ(writtenToStandardError([] { NSLog("*** 100%s\xFF"); }), "*** 100%s\xFF\n");
  EXPECT_EQ(writtenToStandardError([] {
              NSLog("Cannot exec %s: %s", {"/bin/x", "why"});
            }),
            "Cannot exec /bin/x: why\n");
}

TEST(LogTest, NSLogWritesATextLargerThanAPipe) {
  const std::string text(std::size_t{1} << 20, 'x');
  EXPECT_EQ(writtenToStandardError([&] { NSLog(text); }), text + "\n");
}

TEST(LogTest, AnArgumentCannotForgeALine) {
  const LogCapture capture;
  NSLog("a %@", {"b\nc"});
  syslogError("d %s", {"e\nf"});
  EXPECT_THAT(capture.logged, ElementsAre("a b\\nc"));
  EXPECT_THAT(capture.syslogged, ElementsAre("d e\\nf"));
}

TEST(LogTest, SyslogLinesAreKeptFromStandardErrorUnlessAskedFor) {
  for (const char *value : {"0", "", "11"}) {
    ::setenv("TESKER_LOG_STDERR", value, 1);
    EXPECT_EQ(writtenToStandardError([] { syslogError("line"); }), "") << value;
  }
  ::unsetenv("TESKER_LOG_STDERR");
  EXPECT_EQ(writtenToStandardError([] { syslogError("line"); }), "");
}

TEST(LogTest, SyslogLinesGoToStandardErrorTooWhenAskedFor) {
  ::setenv("TESKER_LOG_STDERR", "1", 1);
  EXPECT_EQ(writtenToStandardError([] {
              syslogError("Tool: %d; 100%", {"5"});
              syslogError("%s as it is");
            }),
            "Tool: 5; 100%\n%s as it is\n");
  ::unsetenv("TESKER_LOG_STDERR");
}

TEST(LogTest, ACaptureKeepsTheTwoChannelsApartInPlaceOfWriting) {
  ::setenv("TESKER_LOG_STDERR", "1", 1);
  EXPECT_EQ(writtenToStandardError([] {
              const LogCapture capture;
              NSLog("a %s", {"b"});
              syslogError("c");
              EXPECT_THAT(capture.logged, ElementsAre("a b"));
              EXPECT_THAT(capture.syslogged, ElementsAre("c"));
            }),
            "");
  ::unsetenv("TESKER_LOG_STDERR");
}

TEST(LogTest, TheFormerSinkIsInForceAgainAfterTheInnerOne) {
  const LogCapture outer;
  {
    const LogCapture inner;
    NSLog("inner");
    EXPECT_THAT(outer.logged, IsEmpty());
  }
  NSLog("outer");
  EXPECT_THAT(outer.logged, ElementsAre("outer"));
}

TEST(LogTest, LoggingLeavesErrnoAlone) {
  writtenToStandardError([] {
    // Writing fails here, and that must not be seen.
    ::close(STDERR_FILENO);
    ::setenv("TESKER_LOG_STDERR", "1", 1);
    errno = ENOTDIR;
    NSLog("x");
    EXPECT_EQ(errno, ENOTDIR);
    syslogError("x");
    EXPECT_EQ(errno, ENOTDIR);
    ::unsetenv("TESKER_LOG_STDERR");
  });
}

TEST(LogBoundTest, TheFirstLinesAreWrittenAndTheOthersCounted) {
  const LogCapture capture;
  {
    const LogBound bound(3);
    NSLog("one");
    syslogError("%s", {"two"});
    for (const char *text : {"three", "four", "five"})
      NSLog("%s", {text});
    syslogError("six");
    EXPECT_THAT(capture.syslogged, ElementsAre("two"));
  }
  EXPECT_THAT(capture.logged, ElementsAre("one", "three"));
  EXPECT_THAT(capture.syslogged, ElementsAre("two", "*** Log: 3 more lines left out"));
}

TEST(LogBoundTest, NothingIsSaidWhereAllLinesWereWritten) {
  const LogCapture capture;
  {
    const LogBound bound(1);
    syslogError("one");
  }
  syslogError("afterwards");
  EXPECT_THAT(capture.syslogged, ElementsAre("one", "afterwards"));
}

TEST(LogBoundTest, NoLineIsWrittenAfterThoseThatHaveTooMuchText) {
  const LogCapture capture;
  {
    const LogBound bound(100, 10);
    syslogError("123456789");
    syslogError("this one still comes, whole");
    syslogError("x");
  }
  EXPECT_THAT(capture.syslogged, ElementsAre("123456789", "this one still comes, whole",
                                             "*** Log: 1 more lines left out"));
}

TEST(LogBoundTest, TheNewestCounts) {
  const LogCapture capture;
  const LogBound outer(1);
  {
    const LogBound inner(0);
    syslogError("inner");
  }
  syslogError("outer");
  syslogError("one too many");
  EXPECT_THAT(capture.syslogged, ElementsAre("*** Log: 1 more lines left out", "outer"));
}

TEST(LogBoundTest, LiftedItTellsAtOnceAndLetsAllThrough) {
  const LogCapture capture;
  {
    const LogBound outer(0);
    syslogError("outer");
    const LogBound inner(0);
    syslogError("inner");
    LogBound::liftAll();
    syslogError("why the process ends");
  }
  EXPECT_THAT(capture.syslogged,
              ElementsAre("*** Log: 1 more lines left out", "*** Log: 1 more lines left out",
                          "why the process ends"));
}

} // namespace
} // namespace tesker
