#include "command/Output.h"
#include "tests/support/TemporaryDirectory.h"

#include <cerrno>
#include <filesystem>
#include <gtest/gtest.h>
#include <sys/stat.h>

namespace tesker::test {
namespace {

// The bytes, or why there are none.
std::string contentsOf(const std::string &name, std::size_t longest = kLargestContents) {
  const Result<std::string> bytes = readInput(name, longest);
  return bytes ? *bytes : fileError(name, bytes.error());
}

TEST(InputFile, IsReadWhole) {
  const TemporaryDirectory directory;
  const std::string bytes = std::string(200000, 'a') + std::string("\0\xFF", 2);
  EXPECT_EQ(contentsOf(directory.writeFile("file", bytes)), bytes);
}

TEST(InputFile, FailsWithTheReason) {
  const TemporaryDirectory directory;
  EXPECT_EQ(readInput(directory.path("missing")).error(), ENOENT);
  EXPECT_EQ(readInput(directory.path()).error(), EISDIR);
}

TEST(InputFile, MayNotBeEndless) {
  EXPECT_EQ(readInput("/dev/zero", 100000).error(), EFBIG);
  const TemporaryDirectory directory;
  EXPECT_EQ(readInput(directory.writeFile("file", "abc"), 2).error(), EFBIG);
  EXPECT_EQ(contentsOf(directory.path("file"), 3), "abc");
}

TEST(SavedFile, ReplacesAFileAndTheOneALinkLeadsTo) {
  const TemporaryDirectory directory;
  const std::string file = directory.writeFile("file", "old");
  directory.makeLink("link", "file");
  EXPECT_TRUE(saveFile(file, "new"));
  EXPECT_EQ(contentsOf(file), "new");
  EXPECT_TRUE(saveFile(directory.path("link"), "newer"));
  EXPECT_EQ(contentsOf(file), "newer");
  EXPECT_TRUE(std::filesystem::is_symlink(directory.path("link")));
  EXPECT_TRUE(saveFile(directory.path("made"), std::string("\0", 1)));
  EXPECT_EQ(contentsOf(directory.path("made")), std::string("\0", 1));
}

TEST(SavedFile, ReplacesNothingThatIsNoFile) {
  const TemporaryDirectory directory;
  ASSERT_EQ(::mkfifo(directory.path("fifo").c_str(), 0666), 0);
  EXPECT_EQ(saveFile(directory.path("fifo"), "x").error(), EINVAL);
  EXPECT_TRUE(std::filesystem::is_fifo(directory.path("fifo")));
  EXPECT_EQ(saveFile(directory.path(), "x").error(), EINVAL);
  EXPECT_EQ(saveFile(directory.path("missing/file"), "x").error(), ENOENT);
}

} // namespace
} // namespace tesker::test
