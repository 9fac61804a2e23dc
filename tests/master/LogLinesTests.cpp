#include "master/LogLines.h"

#include <array>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <unistd.h>

namespace tesker::test {
namespace {

using testing::ElementsAre;

class LogLinesTest : public testing::Test {
protected:
  LogLinesTest() {
    std::array<int, 2> ends{};
    EXPECT_EQ(::pipe2(ends.data(), O_CLOEXEC | O_NONBLOCK), 0);
    reading = FileDescriptor(ends[0]);
    writing = FileDescriptor(ends[1]);
  }
  void write(std::string_view bytes) {
    ASSERT_EQ(::write(writing.get(), bytes.data(), bytes.size()),
              static_cast<ssize_t>(bytes.size()));
  }
  FileDescriptor reading, writing;
};

TEST_F(LogLinesTest, JoinsALineThatComesInParts) {
  LogLines lines(std::move(reading), {});
  write("one\ntw");
  lines.read();
  EXPECT_THAT(lines.lines(), ElementsAre("one"));
  write("o\n\n");
  lines.read();
  EXPECT_THAT(lines.lines(), ElementsAre("one", "two", ""));
}

TEST_F(LogLinesTest, CountsALastLineWithoutALineFeed) {
  LogLines lines(std::move(reading), {});
  write("one\nrest");
  lines.finish();
  EXPECT_THAT(lines.lines(), ElementsAre("one", "rest"));
  EXPECT_EQ(lines.count(), 2u);
}

TEST_F(LogLinesTest, KeepsNoMoreThanTheBeginningOfALongLine) {
  LogLines lines(std::move(reading), {});
  write(std::string(LogLines::kLongestLine + 1, 'a') + "\nb\n");
  lines.read();
  EXPECT_THAT(lines.lines(), ElementsAre(std::string(LogLines::kLongestLine, 'a'), "b"));
}

TEST_F(LogLinesTest, KeepsNulBytesAndTellsEachLineAtOnce) {
  std::vector<std::string> heard;
  LogLines lines(std::move(reading), [&](std::string_view line) { heard.emplace_back(line); });
  write(std::string_view("a\0b\n", 4));
  lines.read();
  EXPECT_THAT(heard, ElementsAre(std::string("a\0b", 3)));
}

TEST_F(LogLinesTest, ClosesThePipeAtItsEnd) {
  LogLines lines(std::move(reading), {});
  EXPECT_GE(lines.descriptor(), 0);
  writing.reset();
  lines.read();
  EXPECT_EQ(lines.descriptor(), -1);
}

} // namespace
} // namespace tesker::test
