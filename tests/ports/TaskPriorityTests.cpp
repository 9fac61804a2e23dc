#include "platform/ports/HostInfo.h"
#include "tests/support/ChildProcess.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
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

// A nice value that this process may take, whatever it was started with.
int allowedNice() { return std::min(niceOf(0) + 5, 19); }
constexpr int priorityOf(int nice) { return 10 - nice; }

// The nice values of this thread and of another one after task_priority().
std::pair<int, int> niceValuesAfter(int priority, bool changeThreads) {
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
  (void)task_priority(task_self(), priority, changeThreads);
  const std::pair<int, int> values{niceOf(0), niceOf(other)};
  ending = true;
  changed.notify_all();
  lock.unlock();
  thread.join();
  return values;
}

TEST(TaskPriority, TenIsNiceZeroAndEachStepDownOneMore) {
  inChild([] {
    const int nice = allowedNice();
    EXPECT_EQ(task_priority(task_self(), priorityOf(nice), true), 0);
    EXPECT_EQ(niceOf(0), nice);
  });
}

TEST(TaskPriority, ChangesEveryThread) {
  inChild([] {
    const int nice = allowedNice();
    EXPECT_EQ(niceValuesAfter(priorityOf(nice), true), std::pair(nice, nice));
  });
}

TEST(TaskPriority, WithoutTheFlagChangesTheCallingThreadOnly) {
  inChild([] {
    const int before = niceOf(0), nice = allowedNice();
    EXPECT_EQ(niceValuesAfter(priorityOf(nice), false), std::pair(nice, before));
  });
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
      const int before = niceOf(0);
      EXPECT_THAT(task_priority(task_self(), 16, true), testing::AnyOf(EACCES, EPERM));
      EXPECT_EQ(niceOf(0), before);
    });
  });
}

TEST(TaskPriority, OfAnotherTaskIsRefused) {
  EXPECT_EQ(task_priority(task_self() + 1000, 16, true), EINVAL);
}

} // namespace
} // namespace tesker
