#include "master/ToolProcess.h"

#include "tests/support/ChildProcess.h"
#include "tests/support/RefusedSystemCall.h"

#include <cerrno>
#include <csignal>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/syscall.h>

namespace tesker::test {
namespace {

std::unique_ptr<ToolProcess> started(const std::string &program) {
  auto process = ToolProcess::start(program, {});
  EXPECT_EQ(process.error(), 0);
  return process ? std::move(*process) : nullptr;
}

std::optional<ToolEnd> endOf(ToolProcess &process) {
  pollfd end{process.endDescriptor(), POLLIN, 0};
  EXPECT_EQ(::poll(&end, 1, -1), 1);
  return process.end();
}

TEST(ToolProcess, TellsTheExitStatus) {
  const std::unique_ptr<ToolProcess> process = started("/bin/false");
  const std::optional<ToolEnd> end = endOf(*process);
  ASSERT_TRUE(end);
  EXPECT_EQ(end->kind, ToolEnd::Kind::exited);
  EXPECT_EQ(end->value, 1);
  EXPECT_EQ(describe(*end), "exit status 1");
}

TEST(ToolProcess, SaysNothingWhileTheChildRuns) {
  // It writes until its log pipe is full, and then waits for a reader.
  const std::unique_ptr<ToolProcess> process = started("/usr/bin/yes");
  EXPECT_FALSE(process->end());
  process->kill();
  ASSERT_TRUE(process->end());
  EXPECT_EQ(process->end()->kind, ToolEnd::Kind::killed);
  EXPECT_EQ(process->end()->value, SIGKILL);
}

TEST(ToolProcess, AnswersWhyAProgramCannotBeExecuted) {
  const std::unique_ptr<ToolProcess> process = started("/missing/tool");
  pollfd known{process->startDescriptor(), POLLIN, 0};
  ASSERT_EQ(::poll(&known, 1, -1), 1);
  EXPECT_EQ(process->startError(), ENOENT);
  EXPECT_LT(process->startDescriptor(), 0);
  EXPECT_EQ(process->startError(), ENOENT);
}

TEST(ToolProcess, HasNothingToSayAboutTheStartOfAProgramThatRuns) {
  const std::unique_ptr<ToolProcess> process = started("/usr/bin/yes");
  pollfd known{process->startDescriptor(), POLLIN, 0};
  ASSERT_EQ(::poll(&known, 1, -1), 1);
  EXPECT_EQ(process->startError(), 0);
  EXPECT_LT(process->startDescriptor(), 0);
}

TEST(ToolProcess, GivesTheLogPipeAwayOnce) {
  const std::unique_ptr<ToolProcess> process = started("/bin/true");
  EXPECT_TRUE(process->takeLogPipe());
  EXPECT_FALSE(process->takeLogPipe());
}

// An old kernel, and a sandbox.
TEST(ToolProcess, IsStartedWhereItsEndCannotBeWatched) {
  for (const int error : {ENOSYS, EPERM, EACCES, EINVAL})
    inChild([&] {
      ASSERT_EQ(refuseSystemCall(SYS_pidfd_open, static_cast<unsigned>(error)), 0);
      const std::unique_ptr<ToolProcess> process = started("/bin/false");
      EXPECT_LT(process->endDescriptor(), 0);
      const FileDescriptor log = process->takeLogPipe();
      pollfd hangUp{log.number(), POLLIN, 0};
      EXPECT_EQ(::poll(&hangUp, 1, -1), 1);
      while (!process->end())
        ::poll(nullptr, 0, 1);
      EXPECT_EQ(describe(*process->end()), "exit status 1");
    });
}

TEST(ToolProcess, LacksNoMoreThanItsEndWhereThatCannotBeWatched) {
  inChild([] {
    ASSERT_EQ(refuseSystemCall(SYS_pidfd_open, ENOSYS), 0);
    const std::unique_ptr<ToolProcess> process = started("/usr/bin/yes");
    EXPECT_FALSE(process->end());
    process->kill();
    ASSERT_TRUE(process->end());
    EXPECT_EQ(process->end()->value, SIGKILL);
  });
}

TEST(ToolProcess, IsNotStartedWithoutADescriptorForItsEnd) {
  inChild([] {
    ASSERT_EQ(refuseSystemCall(SYS_pidfd_open, EMFILE), 0);
    EXPECT_EQ(ToolProcess::start("/usr/bin/yes", {}).error(), EMFILE);
    EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1);
    EXPECT_EQ(errno, ECHILD);
  });
}

} // namespace
} // namespace tesker::test
