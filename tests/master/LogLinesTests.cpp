#include "master/LogLines.h"

#include <cerrno>
#include <fcntl.h>
#include <gmock/gmock.h>

namespace tesker::test {
namespace {

using testing::ElementsAre;

class LogLinesTest : public testing::Test {
protected:
  LogLinesTest() { EXPECT_EQ(::fcntl(pipe.readEnd.number(), F_SETFL, O_NONBLOCK), 0); }
  void write(std::string_view bytes) { ASSERT_TRUE(writeAll(pipe.writeEnd.number(), bytes)); }
  Pipe pipe = std::move(*createPipe());
};

TEST_F(LogLinesTest, JoinsALineThatComesInParts) {
  LogLines lines(std::move(pipe.readEnd), {});
  write("one\ntw");
  lines.read();
  EXPECT_THAT(lines.lines(), ElementsAre("one"));
  write("o\n\n");
  lines.read();
  EXPECT_THAT(lines.lines(), ElementsAre("one", "two", ""));
}

TEST_F(LogLinesTest, CountsALastLineWithoutALineFeed) {
  LogLines lines(std::move(pipe.readEnd), {});
  write("one\nrest");
  lines.finish();
  EXPECT_THAT(lines.lines(), ElementsAre("one", "rest"));
  EXPECT_EQ(lines.count(), 2u);
}

TEST_F(LogLinesTest, KeepsNoMoreThanTheBeginningOfALongLine) {
  LogLines lines(std::move(pipe.readEnd), {});
  write(std::string(LogLines::kLongestLine + 1, 'a') + "\nb\n");
  lines.read();
  EXPECT_THAT(lines.lines(), ElementsAre(std::string(LogLines::kLongestLine, 'a'), "b"));
}

TEST_F(LogLinesTest, KeepsNulBytesAndTellsEachLineAtOnce) {
  std::vector<std::string> heard;
  LogLines lines(std::move(pipe.readEnd), [&](std::string_view line) { heard.emplace_back(line); });
  write(std::string_view("a\0b\n", 4));
  lines.read();
  EXPECT_THAT(heard, ElementsAre(std::string("a\0b", 3)));
}

// One that writes without pause would otherwise keep the master at its log.
TEST_F(LogLinesTest, TakesNoMoreAtATimeThanAPipeHoldsByItself) {
  constexpr std::size_t kUsual = 65536;
  ASSERT_GE(::fcntl(pipe.writeEnd.number(), F_SETPIPE_SZ, 4 * kUsual), 0);
  write(std::string(3 * kUsual, '\n'));
  LogLines lines(std::move(pipe.readEnd), {});
  lines.read();
  EXPECT_EQ(lines.count(), kUsual);
  lines.finish(); // nor at the end
  EXPECT_EQ(lines.count(), 2 * kUsual);
}

TEST_F(LogLinesTest, ClosesThePipeAtItsEnd) {
  LogLines lines(std::move(pipe.readEnd), {});
  EXPECT_GE(lines.descriptor(), 0);
  pipe.writeEnd.reset();
  lines.read();
  EXPECT_EQ(lines.descriptor(), -1);
}

TEST_F(LogLinesTest, SaysThatLinesMayBeMissingWhereThePipeCannotBeRead) {
  class Unreadable final : public OperatingSystem {
    ssize_t read(int, void *, std::size_t) override {
      errno = EIO;
      return -1;
    }
  } system;
  LogLines lines(std::move(pipe.readEnd), {});
  write("one\n");
  lines.read();
  EXPECT_FALSE(lines.isCutShort());
  write("two\n");
  const ScopedOperatingSystem inForce(system);
  lines.read();
  EXPECT_EQ(lines.descriptor(), -1);
  EXPECT_TRUE(lines.isCutShort());
  EXPECT_THAT(lines.lines(), ElementsAre("one"));
}

} // namespace
} // namespace tesker::test
