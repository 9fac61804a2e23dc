// OwnMounts.h - test bodies that mount and unmount without anybody else seeing it.
#pragma once

#include "tests/support/ChildProcess.h"

#include <cerrno>
#include <functional>
#include <sched.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

namespace tesker::test {

// 0, or the errno that keeps this process from having mounts of its own.
inline int whyNoOwnMounts() {
  const pid_t child = ::fork();
  if (child == 0)
    ::_exit(::unshare(CLONE_NEWNS) == 0 ? 0 : errno);
  int status = 0;
  ::waitpid(child, &status, 0);
  return WEXITSTATUS(status);
}

// Runs the body in a child with mounts of its own. Skips the test where it may not.
inline void inOwnMounts(const std::function<void()> &body) {
  if (const int error = whyNoOwnMounts(); error != 0)
    GTEST_SKIP() << "no mounts of its own: " << std::generic_category().message(error);
  inChild([&] {
    ASSERT_EQ(::unshare(CLONE_NEWNS), 0);
    ASSERT_EQ(::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr), 0);
    body();
  });
}

} // namespace tesker::test
