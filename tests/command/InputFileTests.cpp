#include "command/Output.h"
#include "tests/support/TemporaryDirectory.h"

#include <cerrno>
#include <chrono>
#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/stat.h>
#include <thread>

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

TEST(InputFile, OfAFifoComesInPiecesFromOneWhoOpensItLater) {
  const TemporaryDirectory directory;
  const std::string fifo = directory.path("fifo");
  ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
  std::thread writer([&] {
    const FileDescriptor writing(::open(fifo.c_str(), O_WRONLY | O_CLOEXEC)); // waits for a reader
    for (const char *piece : {"one ", "two ", "three"}) {
      EXPECT_TRUE(writeAll(writing.number(), piece));
      ::poll(nullptr, 0, 1);
    }
  });
  EXPECT_EQ(contentsOf(fifo), "one two three");
  writer.join();
}

TEST(InputFile, OfAFifoThatNobodyWritesIsNotWaitedForBeyondTheDeadline) {
  const TemporaryDirectory directory;
  const std::string fifo = directory.path("fifo");
  ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
  const auto readSoon = [&] {
    return readInput(fifo, kLargestContents, Deadline::in(std::chrono::milliseconds(20))).error();
  };
  EXPECT_EQ(readSoon(), ETIMEDOUT);
  const FileDescriptor silent(::open(fifo.c_str(), O_RDWR | O_CLOEXEC));
  EXPECT_EQ(readSoon(), ETIMEDOUT);
  EXPECT_EQ(fileError("f", ETIMEDOUT), "f: timed out");
}

TEST(InputFile, ThatNeverEndsIsNotReadBeyondTheDeadline) {
  EXPECT_EQ(readInput("/dev/zero", kLargestContents, Deadline::in(std::chrono::seconds(0))).error(),
            ETIMEDOUT);
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

TEST(SavedFile, KeepsTheModeOfTheOneThatALinkLeadsTo) {
  const TemporaryDirectory directory;
  for (const unsigned mode : {0600U, 0640U, 0664U}) {
    const std::string name = std::to_string(mode);
    const std::string file = directory.writeFile(name, "old", static_cast<mode_t>(mode));
    EXPECT_TRUE(saveFile(directory.makeLink(name + " link", name), "new"));
    EXPECT_EQ(std::filesystem::status(file).permissions(), std::filesystem::perms(mode));
  }
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
