#include "command/Interrupts.h"

#include <csignal>
#include <gtest/gtest.h>
#include <poll.h>

namespace tesker::test {
namespace {

// What a handler has seen; put back with the dispositions at the end of each test.
volatile std::sig_atomic_t handled = 0;

class Interrupted : public testing::TestWithParam<int> {
protected:
  Interrupted() {
    handled = 0;
    before_ = std::signal(GetParam(), [](int) { handled = handled + 1; });
  }
  ~Interrupted() override { std::signal(GetParam(), before_); }
  static bool isReadable(const Interrupts &interrupts) {
    pollfd descriptor{interrupts.descriptor(), POLLIN, 0};
    return ::poll(&descriptor, 1, 0) == 1;
  }

private:
  void (*before_)(int);
};
INSTANTIATE_TEST_SUITE_P(Signals, Interrupted, testing::Values(SIGINT, SIGTERM, SIGHUP));

TEST_P(Interrupted, IsSeenAtTheDescriptorAndDoesItsWorkAfterwards) {
  {
    const Interrupts interrupts;
    EXPECT_FALSE(isReadable(interrupts));
    ::raise(GetParam());
    EXPECT_TRUE(isReadable(interrupts));
    EXPECT_EQ(handled, 0);
  }
  EXPECT_EQ(handled, 1);
  ::raise(GetParam());
  EXPECT_EQ(handled, 2);
}

TEST_P(Interrupted, IsNotSeenWhereTheSignalIsIgnored) {
  std::signal(GetParam(), SIG_IGN);
  const Interrupts interrupts;
  ::raise(GetParam());
  EXPECT_FALSE(isReadable(interrupts));
}

} // namespace
} // namespace tesker::test
