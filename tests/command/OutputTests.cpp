#include "command/Output.h"
#include "platform/foundation/Files.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <thread>
#include <unistd.h>

namespace tesker::test {
namespace {

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
  Output output(writing.number());
  EXPECT_THROW(output.write(std::string(1 << 20, 'x')), ReaderGone);
  EXPECT_EQ(output.error(), EPIPE);
  output.write("more of it is dropped");
}

TEST(Output, SeesAReaderThatIsGoneWhenTheBufferIsWritten) {
  ::signal(SIGPIPE, SIG_IGN);
  std::array<int, 2> ends{};
  ASSERT_EQ(::pipe2(ends.data(), O_CLOEXEC), 0);
  ::close(ends[0]);
  const FileDescriptor writing(ends[1]);
  {
    Output left(writing.number());
    left.write("written at its end, which does not throw");
  }
  Output output(writing.number());
  output.write("x");
  EXPECT_THROW(output.flush(), ReaderGone);
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
      pollfd descriptor{reading.number(), POLLIN, 0};
      ASSERT_EQ(::poll(&descriptor, 1, -1), 1);
      const ssize_t length = ::read(reading.number(), piece.data(), piece.size());
      ASSERT_GT(length, 0);
      left -= static_cast<std::size_t>(length);
    }
  });
  Output output(writing.number());
  output.write(text);
  EXPECT_EQ(output.error(), 0);
  if (output.error() != 0)
    std::exit(1); // the reader would wait for ever
  reader.join();
}

TEST(Output, IsUntouchedUntilSomethingIsWritten) {
  const FileDescriptor file(::open("/dev/null", O_WRONLY | O_CLOEXEC));
  Output output(file.number());
  output.write("");
  EXPECT_TRUE(output.isUntouched());
  output.write("x");
  EXPECT_FALSE(output.isUntouched());
}

TEST(Diagnostics, KeepErrorsWithTheirPaths) {
  const FileDescriptor file(::open("/dev/null", O_WRONLY | O_CLOEXEC));
  Diagnostics diagnostics(file.number(), Diagnostics::Level::quiet);
  diagnostics.note("nothing to keep");
  diagnostics.errorAt("/\xFF", "bad");
  diagnostics.fileError("-", ENOENT);
  diagnostics.fileError("file", EINVAL);
  const std::vector<Problem> &errors = diagnostics.problems().errors();
  ASSERT_EQ(errors.size(), 3u);
  EXPECT_EQ(errors[0].path, "/\xFF");
  EXPECT_EQ(errors[0].text, "bad");
  EXPECT_EQ(errors[1].path, std::nullopt);
  EXPECT_EQ(errors[1].text, "standard input: No such file or directory");
  EXPECT_EQ(errors[2].path, "file");
  EXPECT_EQ(errors[2].text, "not a regular file");
}

TEST(Diagnostics, KeepOnlySoManyErrors) {
  const FileDescriptor file(::open("/dev/null", O_WRONLY | O_CLOEXEC));
  Diagnostics diagnostics(file.number(), Diagnostics::Level::quiet);
  for (std::size_t i = 0; i < Problems::kMost + 2; ++i)
    diagnostics.error("bad");
  EXPECT_EQ(diagnostics.problems().errors().size(), Problems::kMost);
}

} // namespace
} // namespace tesker::test
