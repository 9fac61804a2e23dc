#include "platform/foundation/Deadline.h"

#include <gtest/gtest.h>

#include <limits>

namespace tesker {
namespace {

using namespace std::chrono_literals;

TEST(DeadlineTest, ADeadlineOfNoTimeHasPassed) {
  for (const auto time : {std::chrono::nanoseconds(0), std::chrono::nanoseconds(-1h)}) {
    EXPECT_TRUE(Deadline::in(time).passed());
    EXPECT_EQ(Deadline::in(time).pollTimeout(), 0);
  }
}

TEST(DeadlineTest, HoweverFarItLiesAheadItNeitherWrapsNorOverflows) {
  for (const std::chrono::nanoseconds time :
       {std::chrono::nanoseconds(Deadline::kLongest), std::chrono::nanoseconds::max()}) {
    EXPECT_FALSE(Deadline::in(time).passed());
    EXPECT_EQ(Deadline::in(time).pollTimeout(), std::numeric_limits<int>::max());
  }
}

TEST(DeadlineTest, TheTimeToWaitIsNeverMoreThanWasGiven) {
  const int timeout = Deadline::in(1h).pollTimeout();
  EXPECT_GT(timeout, 0);
  EXPECT_LE(timeout, 3600 * 1000);
}

TEST(DeadlineTest, TheEarlierOfTwoIsTheOneThatEndsFirst) {
  const Deadline now = Deadline::in(0s);
  const Deadline later = Deadline::in(1h);
  EXPECT_TRUE(earlier(now, later).passed());
  EXPECT_TRUE(earlier(later, now).passed());
  EXPECT_FALSE(earlier(later, later).passed());
}

} // namespace
} // namespace tesker
