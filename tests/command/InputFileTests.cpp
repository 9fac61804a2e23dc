#include "command/InputFile.h"
#include "command/Output.h"
#include "tests/support/TemporaryDirectory.h"

#include "platform/foundation/FileDescriptor.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace tesker::test {
namespace {

TEST(InputFile, IsReadWhole) {
  const TemporaryDirectory directory;
  const std::string bytes = std::string(200000, 'a') + std::string("\0\xFF", 2);
  EXPECT_EQ(readInput(directory.writeFile("file", bytes)), bytes);
}

TEST(InputFile, FailsWithTheReason) {
  const TemporaryDirectory directory;
  EXPECT_EQ(readInput(directory.path("missing")), std::nullopt);
  EXPECT_EQ(errno, ENOENT);
  EXPECT_EQ(readInput(directory.path()), std::nullopt);
  EXPECT_EQ(errno, EISDIR);
}

TEST(InputFile, MayNotBeEndless) {
  EXPECT_EQ(readInput("/dev/zero", 100000), std::nullopt);
  EXPECT_EQ(errno, EFBIG);
  const TemporaryDirectory directory;
  EXPECT_EQ(readInput(directory.writeFile("file", "abc"), 2), std::nullopt);
  EXPECT_EQ(readInput(directory.path("file"), 3), "abc");
}

TEST(SavedFile, ReplacesAFileAndTheOneALinkLeadsTo) {
  const TemporaryDirectory directory;
  const std::string file = directory.writeFile("file", "old");
  directory.makeLink("link", "file");
  EXPECT_TRUE(saveFile(file, "new"));
  EXPECT_EQ(readInput(file), "new");
  EXPECT_TRUE(saveFile(directory.path("link"), "newer"));
  EXPECT_EQ(readInput(file), "newer");
  EXPECT_TRUE(std::filesystem::is_symlink(directory.path("link")));
  EXPECT_TRUE(saveFile(directory.path("made"), std::string("\0", 1)));
  EXPECT_EQ(readInput(directory.path("made")), std::string("\0", 1));
}

TEST(SavedFile, ReplacesNothingThatIsNoFile) {
  const TemporaryDirectory directory;
  ASSERT_EQ(::mkfifo(directory.path("fifo").c_str(), 0666), 0);
  EXPECT_FALSE(saveFile(directory.path("fifo"), "x"));
  EXPECT_EQ(errno, EINVAL);
  EXPECT_TRUE(std::filesystem::is_fifo(directory.path("fifo")));
  EXPECT_FALSE(saveFile(directory.path(), "x"));
  EXPECT_FALSE(saveFile(directory.path("missing/file"), "x"));
  EXPECT_EQ(errno, ENOENT);
}

TEST(Output, KeepsTheFirstError) {
  Output full(::open("/dev/full", O_WRONLY | O_CLOEXEC));
  full.write("x");
  EXPECT_EQ(full.error(), 0);
  full.flush();
  EXPECT_EQ(full.error(), ENOSPC);
  full.write(std::string(1 << 20, 'x'));
  EXPECT_EQ(full.error(), ENOSPC);
}

TEST(Output, SeesAReaderThatIsGone) {
  ::signal(SIGPIPE, SIG_IGN);
  std::array<int, 2> ends{};
  ASSERT_EQ(::pipe2(ends.data(), O_CLOEXEC), 0);
  ::close(ends[0]);
  const FileDescriptor writing(ends[1]);
  Output output(writing.get());
  output.write(std::string(1 << 20, 'x'));
  EXPECT_EQ(output.error(), EPIPE);
}

TEST(Output, WaitsForTheReaderOfAPipeThatDoesNotBlock) {
  std::array<int, 2> ends{};
  ASSERT_EQ(::pipe2(ends.data(), O_CLOEXEC | O_NONBLOCK), 0);
  const FileDescriptor reading(ends[0]);
  const FileDescriptor writing(ends[1]);
  const std::string text(1 << 20, 'x'); // more than a pipe holds
  std::thread reader([&] {
    std::array<char, 4096> piece{};
    for (std::size_t left = text.size(); left > 0;) {
      pollfd descriptor{reading.get(), POLLIN, 0};
      ASSERT_EQ(::poll(&descriptor, 1, -1), 1);
      const ssize_t length = ::read(reading.get(), piece.data(), piece.size());
      ASSERT_GT(length, 0);
      left -= static_cast<std::size_t>(length);
    }
  });
  Output output(writing.get());
  output.write(text);
  EXPECT_EQ(output.error(), 0);
  if (output.error() != 0)
    std::exit(1); // the reader would wait for ever
  reader.join();
}

TEST(Output, HasNoColumnsWhereThereIsNoTerminal) {
  const FileDescriptor file(::open("/dev/null", O_WRONLY | O_CLOEXEC));
  EXPECT_EQ(Output(file.get()).terminalColumns(), 0u);
}

} // namespace
} // namespace tesker::test
