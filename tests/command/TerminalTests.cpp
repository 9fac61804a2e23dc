#include "command/Terminal.h"
#include "platform/foundation/Files.h"
#include "tests/support/ScopedEnvironment.h"

#include <cstdlib>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/ioctl.h>

namespace tesker::test {
namespace {

// A terminal that nobody sits at.
class TerminalAt : public testing::Test {
protected:
  void SetUp() override {
    ASSERT_TRUE(ours);
    ASSERT_EQ(::grantpt(ours.number()), 0);
    ASSERT_EQ(::unlockpt(ours.number()), 0);
    theirs = FileDescriptor(::open(::ptsname(ours.number()), O_RDWR | O_NOCTTY | O_CLOEXEC));
    ASSERT_TRUE(theirs);
  }
  void resize(unsigned short columns) {
    const struct winsize size { 24, columns, 0, 0 };
    ASSERT_EQ(::ioctl(theirs.number(), TIOCSWINSZ, &size), 0);
  }
  Terminal terminal(ColourChoice choice = ColourChoice::automatic) {
    return terminalAt(theirs.number(), choice);
  }

  const FileDescriptor ours{::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC)};
  FileDescriptor theirs;
  ScopedEnvironment toldColumns{"COLUMNS", nullptr};
  ScopedEnvironment kind{"TERM", "some"};
  ScopedEnvironment noColour{"NO_COLOR", nullptr};
};

TEST_F(TerminalAt, HasTheColumnsThatItTellsOfItself) {
  const ScopedEnvironment other("COLUMNS", "120");
  resize(33);
  EXPECT_EQ(terminal().columns, 33u);
}

TEST_F(TerminalAt, HasThoseOfTheEnvironmentWhereItTellsNone) {
  const ScopedEnvironment other("COLUMNS", "120");
  EXPECT_EQ(terminal().columns, 120u);
}

TEST_F(TerminalAt, HasNoneWhereTheEnvironmentHasNoNumber) {
  for (const char *text : {"", "0", "-1", "80x", "99999999999999999999999"}) {
    const ScopedEnvironment other("COLUMNS", text);
    EXPECT_EQ(terminal().columns, 0u) << text;
  }
  const ScopedEnvironment large("COLUMNS", "9999999999");
  EXPECT_EQ(terminal().columns, 65535u);
}

TEST_F(TerminalAt, HasColoursUnlessTheEnvironmentSaysOtherwise) {
  EXPECT_TRUE(terminal().colours);
  {
    const ScopedEnvironment dumb("TERM", "dumb");
    EXPECT_FALSE(terminal().colours);
  }
  {
    const ScopedEnvironment empty("NO_COLOR", "");
    EXPECT_TRUE(terminal().colours);
  }
  const ScopedEnvironment unwanted("NO_COLOR", "1");
  EXPECT_FALSE(terminal().colours);
  EXPECT_TRUE(terminal(ColourChoice::always).colours);
}

TEST_F(TerminalAt, HasNoColoursWhereNoneAreChosen) {
  EXPECT_FALSE(terminal(ColourChoice::never).colours);
}

TEST_F(TerminalAt, IsNotThereInAFile) {
  const ScopedEnvironment other("COLUMNS", "120");
  const FileDescriptor file(::open("/dev/null", O_WRONLY | O_CLOEXEC));
  EXPECT_EQ(terminalAt(file.number(), ColourChoice::automatic).columns, 0u);
  EXPECT_FALSE(terminalAt(file.number(), ColourChoice::automatic).colours);
  EXPECT_TRUE(terminalAt(file.number(), ColourChoice::always).colours);
}

TEST(Styled, TextEndsItsStyle) {
  const Terminal coloured{.columns = 0, .colours = true};
  EXPECT_EQ(styled("a", Style::error, coloured), "\x1b[1;31ma\x1b[0m");
  EXPECT_EQ(styled("a", Style::plain, coloured), "a");
  EXPECT_EQ(styled("", Style::error, coloured), "");
  EXPECT_EQ(styled("a", Style::error, {}), "a");
}

} // namespace
} // namespace tesker::test
