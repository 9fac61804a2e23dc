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

// A user and a group that nobody is in and nothing belongs to.
inline constexpr uid_t kOtherUser = 54321;

// The same, in a child without the super-user's rights: where the tests are run by root, one of
// kOtherUser, in no other group than that; else one of the very user.
inline void inOrdinaryUsersChild(const std::function<void()> &body) {
  inChild([&] {
    if (::geteuid() == 0) {
      ASSERT_EQ(::setgroups(0, nullptr), 0);
      ASSERT_EQ(::setresgid(kOtherUser, kOtherUser, kOtherUser), 0);
      ASSERT_EQ(::setresuid(kOtherUser, kOtherUser, kOtherUser), 0);
    }
    body();
  });
}

} // namespace tesker::test

// For tests with files or processes of two users, which only root can make.
#define TESKER_SKIP_UNLESS_ROOT()                                                                  \
  if (::geteuid() != 0)                                                                            \
  GTEST_SKIP() << "only root can do as another user"
