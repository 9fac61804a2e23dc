// What is shown of a search while it lasts; progress_line.py has how it comes and goes.
#include "command/DisplayText.h"
#include "command/ProgressLine.h"
#include "tests/command/CapturedOutput.h"

#include <algorithm>
#include <gtest/gtest.h>

namespace tesker::test {
namespace {

TEST(ProgressText, SaysHowMuchAndWhere) {
  EXPECT_EQ(progressText({12, 345, 6, "/usr", "/usr/share"}, 80),
            "searching: 12 directories, 345 entries, 6 records: /usr/share");
  EXPECT_EQ(progressText({1, 1, 1, "/", "/"}, 80), "searching: 1 directory, 1 entry, 1 record: /");
}

TEST(ProgressText, OfALongDirectoryLacksTheMiddle) {
  EXPECT_EQ(progressText({1, 1, 1, "/", "/usr/share/applications"}, 57),
            "searching: 1 directory, 1 entry, 1 record: /usr…lications");
  EXPECT_EQ(progressText({1, 1, 1, "/", "/usr/share"}, 53),
            "searching: 1 directory, 1 entry, 1 record: /usr/share");
}

TEST(ProgressText, FitsEveryWidth) {
  const SearchProgress progress{1, 22, 333, "/", "/\xe6\x97\xa5\xe6\x9c\xac\xe8\xaa\x9e/\x1b[31m"};
  for (std::size_t columns = 1; columns < 90; ++columns) {
    const std::string text = progressText(progress, columns);
    EXPECT_LE(displayColumns(text), columns);
    const auto isPartOfCharacter = [](char byte) { return (byte & 0x80) != 0; };
    EXPECT_EQ(std::ranges::count_if(text, isPartOfCharacter) % 3, 0) << "no character is cut";
  }
}

TEST(ProgressText, WritesOutWhatDrivesATerminal) {
  EXPECT_EQ(progressText({1, 1, 1, "/", "/a\nb\x1b[2J"}, 80),
            "searching: 1 directory, 1 entry, 1 record: /a\\nb\\x1b[2J");
}

TEST(Status, IsNotWrittenToWhatIsNotATerminal) {
  const Pipe pipe = std::move(*createPipe());
  Diagnostics diagnostics(pipe.writeEnd.number(), Diagnostics::Level::normal);
  EXPECT_EQ(diagnostics.statusColumns(), 0U);
  diagnostics.status("searching");
  diagnostics.status("");
  diagnostics.note("done");
  char bytes[100];
  const ssize_t size = OperatingSystem::current().read(pipe.readEnd.number(), bytes, sizeof bytes);
  ASSERT_GT(size, 0);
  EXPECT_EQ(std::string(bytes, static_cast<std::size_t>(size)), "tesker-apps: done\n");
}

} // namespace
} // namespace tesker::test
