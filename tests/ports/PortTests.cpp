#include "platform/ports/Port.h"
#include "tests/ports/RawSockets.h"
#include "tests/support/ChildProcess.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <fcntl.h>
#include <set>
#include <sys/resource.h>

namespace tesker {
namespace {

using test::inChild;
using test::openDescriptorCount;
using test::SocketPair;

TEST(Ports, AreKnownByDifferentSmallNumbersFromOneUp) {
  port_t first = PORT_NULL, second = PORT_NULL;
  ASSERT_EQ(port_allocate(task_self(), first), KERN_SUCCESS);
  ASSERT_EQ(port_allocate(task_self(), second), KERN_SUCCESS);
  const std::set<port_t> numbers{task_self(), bootstrap_port(), first, second};
  EXPECT_EQ(numbers.size(), 4U);
  EXPECT_GE(*numbers.begin(), 1U);
  EXPECT_LT(*numbers.rbegin(), 1000U);
  port_deallocate(first);
  port_deallocate(second);
}

TEST(Ports, NumbersAreNeverReused) {
  port_t first = PORT_NULL, second = PORT_NULL;
  ASSERT_EQ(port_allocate(task_self(), first), KERN_SUCCESS);
  port_deallocate(first);
  ASSERT_EQ(port_allocate(task_self(), second), KERN_SUCCESS);
  EXPECT_GT(second, first);
  port_deallocate(second);
}

TEST(Ports, AnAllocatedPortHasTheTwoEndsOfAStreamThatChildrenDoNotInherit) {
  port_t port = PORT_NULL;
  ASSERT_EQ(port_allocate(task_self(), port), KERN_SUCCESS);
  ASSERT_TRUE(test::sendRaw(sendDescriptor(port), "hello"));
  EXPECT_EQ(test::receiveRaw(receiveDescriptor(port)).first, "hello");
  EXPECT_EQ(::fcntl(sendDescriptor(port), F_GETFD), FD_CLOEXEC);
  EXPECT_EQ(::fcntl(receiveDescriptor(port), F_GETFD), FD_CLOEXEC);
  port_deallocate(port);
}

TEST(Ports, GivingAPortUpClosesBothEnds) {
  const auto before = openDescriptorCount();
  port_t port = PORT_NULL;
  ASSERT_EQ(port_allocate(task_self(), port), KERN_SUCCESS);
  EXPECT_EQ(openDescriptorCount(), before + 2);
  port_deallocate(port);
  EXPECT_EQ(openDescriptorCount(), before);
  EXPECT_EQ(receiveDescriptor(port), -1);
  EXPECT_EQ(sendDescriptor(port), -1);
  port_deallocate(port); // holds nothing any more
}

TEST(Ports, ATakenRightIsTheCallers) {
  port_t port = PORT_NULL;
  ASSERT_EQ(port_allocate(task_self(), port), KERN_SUCCESS);
  const FileDescriptor receive = takeReceiveRight(port);
  const FileDescriptor send = takeSendRight(port);
  EXPECT_EQ(receiveDescriptor(port), -1);
  EXPECT_EQ(sendDescriptor(port), -1);
  port_deallocate(port);
  EXPECT_TRUE(test::sendRaw(send.number(), "still open"));
  EXPECT_FALSE(takeSendRight(port));
}

TEST(Ports, RightsFromElsewhereGetNumbersOfTheirOwn) {
  SocketPair pair(SOCK_STREAM);
  const port_t receive = portForReceiveRight(std::move(pair.near));
  const port_t send = portForSendRight(std::move(pair.far));
  EXPECT_NE(receive, send);
  EXPECT_EQ(sendDescriptor(receive), -1);
  EXPECT_EQ(receiveDescriptor(send), -1);
  ASSERT_TRUE(test::sendRaw(sendDescriptor(send), "x"));
  EXPECT_EQ(test::receiveRaw(receiveDescriptor(receive)).first, "x");
  port_deallocate(receive);
  port_deallocate(send);
}

TEST(Ports, AllocatingForAnotherTaskIsRefused) {
  port_t port = 4711;
  EXPECT_EQ(port_allocate(task_self() + 1000, port), EINVAL);
  EXPECT_EQ(port, 4711U);
}

TEST(Ports, AllocatingWithoutDescriptorsGivesTheErrorAndStoresNothing) {
  inChild([] {
    const rlimit none{3, 3};
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &none), 0);
    port_t port = 4711;
    EXPECT_EQ(port_allocate(task_self(), port), EMFILE);
    EXPECT_EQ(port, 4711U);
  });
}

} // namespace
} // namespace tesker
