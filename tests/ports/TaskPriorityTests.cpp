#include "platform/ports/HostInfo.h"
#include "tests/support/ChildProcess.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <condition_variable>
#include <limits>
#include <mutex>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <thread>

namespace tesker {
namespace {

using test::inChild;

int niceOf(pid_t thread) { return ::getpriority(PRIO_PROCESS, static_cast<id_t>(thread)); }

// The nice values of this thread and of another one after task_priority(5).
std::pair<int, int> niceValuesAfterLowering(bool changeThreads) {
  std::mutex mutex;
  std::condition_variable changed;
  bool started = false, ending = false;
  pid_t other = 0;
  std::thread thread([&] {
    std::unique_lock lock(mutex);
    other = static_cast<pid_t>(::syscall(SYS_gettid));
    started = true;
    changed.notify_all();
    changed.wait(lock, [&] { return ending; });
  });
  std::unique_lock lock(mutex);
  changed.wait(lock, [&] { return started; });
  task_priority(task_self(), 5, changeThreads);
  const std::pair<int, int> values{niceOf(0), niceOf(other)};
  ending = true;
  changed.notify_all();
  lock.unlock();
  thread.join();
  return values;
}

TEST(TaskPriority, TenIsNiceZeroAndEachStepDownOneMore) {
  inChild([] {
    EXPECT_EQ(task_priority(task_self(), 3, true), 0);
    EXPECT_EQ(niceOf(0), 7);
  });
}

TEST(TaskPriority, ChangesEveryThread) {
  inChild([] { EXPECT_EQ(niceValuesAfterLowering(true), std::pair(5, 5)); });
}

TEST(TaskPriority, WithoutTheFlagChangesTheCallingThreadOnly) {
  inChild([] { EXPECT_EQ(niceValuesAfterLowering(false), std::pair(5, 0)); });
}

TEST(TaskPriority, BeyondWhatTheSystemKnowsIsTheLowest) {
  inChild([] {
    EXPECT_EQ(task_priority(task_self(), std::numeric_limits<int>::min(), true), 0);
    EXPECT_EQ(niceOf(0), 19);
  });
}

TEST(TaskPriority, WhereItIsNotPermittedNothingChanges) {
  const rlimit none{0, 0};
  inChild([&] {
    ASSERT_EQ(::setrlimit(RLIMIT_NICE, &none), 0);
    test::inOrdinaryUsersChild([] {
      EXPECT_THAT(task_priority(task_self(), 16, true), testing::AnyOf(EACCES, EPERM));
      EXPECT_EQ(niceOf(0), 0);
    });
  });
}

TEST(TaskPriority, OfAnotherTaskIsRefused) {
  EXPECT_EQ(task_priority(task_self() + 1000, 16, true), EINVAL);
}

} // namespace
} // namespace tesker
