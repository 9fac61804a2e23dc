// ChildProcess.h - test bodies that need a process of their own.
//
// For what changes the whole process (its user) or happens once in it (tables filled at first use).
// What fails in the child fails the test, with the child's messages in the test's output.
#pragma once

#include <functional>
#include <grp.h>
#include <gtest/gtest.h>
#include <iostream>
#include <sys/wait.h>
#include <unistd.h>

namespace tesker::test {

// Runs the body in a forked child and waits for it.
inline void inChild(const std::function<void()> &body) {
  std::cout.flush();
  const pid_t child = ::fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    try {
      body();
    } catch (const std::exception &exception) {
      ADD_FAILURE() << "raised: " << exception.what();
    }
    std::cout.flush();
    std::fflush(nullptr);
    ::_exit(::testing::Test::HasFailure() ? 1 : 0);
  }
  int status = 0;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "the child process failed";
}

// The same, in a child that gave up the super-user's rights for the user's, if it had them, and is
// in that one group only.
inline void inChildAs(uid_t user, gid_t group, const std::function<void()> &body) {
  inChild([&] {
    if (::geteuid() == 0) {
      ASSERT_EQ(::setgroups(0, nullptr), 0);
      ASSERT_EQ(::setresgid(group, group, group), 0);
      ASSERT_EQ(::setresuid(user, user, user), 0);
    }
    body();
  });
}

} // namespace tesker::test
