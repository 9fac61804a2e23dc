// What happens inside the bus library's callbacks, and around them.

#include "platform/foundation/OperatingSystem.h"
#include "protocol/NSRunLoop.h"
#include "tests/protocol/ConnectionPair.h"
#include "tests/support/AllocationCount.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <new>

namespace tesker {
namespace {

using test::BusPeer;
using test::Channels;
using test::pump;
using test::RecordingRoot;
using testing::ElementsAre;

// A client object that does something while it is called.
class ActingClient final : public FinderClient {
public:
  static Ref<ActingClient> create() { return allocate<ActingClient>(NSDefaultMallocZone()); }
  void noteLines(const NSString &, const NSString &) override { onNote(); }
  void self() override { ++selfCalls; }

  std::function<void()> onNote;
  int selfCalls = 0;

private:
  friend NSObject;
  ActingClient() = default;
};

class Callback : public testing::Test {
protected:
  Callback() { tool->setRootObject(root); }

  // The authentication is through, and one request has been served.
  void begin() {
    master.ask(master.request("one"));
    ASSERT_TRUE(pump(*tool, master, [&] { return master.answers.size() == 1; }));
    master.answers.clear();
  }

  Channels channels;
  RecordingRoot root;
  RefPtr<NSConnection> tool = channels.toolSide();
  BusPeer master{channels};
};

TEST_F(Callback, SelfIsRefusedWhileAnotherCallIsServed) {
  const auto client = ActingClient::create();
  client->onNote = [&] {
    master.ask(master.call("Tesker.Client", "self", "/client/1"));
    ASSERT_TRUE(pump(*tool, master, [&] { return master.answers.size() == 1; }));
  };
  begin();
  tool->rootProxy().findAppsInSearchPath("/p"_ns, nullptr, client); // the object is known now
  const auto note = master.call("Tesker.Client", "noteLines_for_", "/client/1");
  sd_bus_message_append(note, "aayay", 0, 1, 'k');
  master.tell(note);
  ASSERT_TRUE(pump(*tool, master, [&] { return !master.answers.empty(); }));
  EXPECT_THAT(master.answers, ElementsAre("org.freedesktop.DBus.Error.LimitsExceeded"));
  EXPECT_EQ(client->selfCalls, 0);
  // And not refused afterwards.
  master.ask(master.call("Tesker.Client", "self", "/client/1"));
  ASSERT_TRUE(pump(*tool, master, [&] { return master.answers.size() == 2; }));
  EXPECT_EQ(master.answers.back(), "");
  EXPECT_EQ(client->selfCalls, 1);
}

TEST_F(Callback, WhatIsRaisedInOneLeavesTheRunLoopAndEndsTheConnection) {
  begin();
  master.carry(std::string(1000, 'x'));
  {
    const test::FailingAllocation second(2); // the run loop's is the first
    EXPECT_THROW(NSRunLoop::currentRunLoop().run(), std::bad_alloc);
  }
  EXPECT_FALSE(tool->isValid()); // the piece is lost
}

// That nothing is kept, LeakSanitizer says at the end.
TEST(CallbackMemory, NothingIsKeptOfACallThatThereIsNoMemoryFor) {
  bool hasHappened = true;
  for (std::size_t number = 1; hasHappened; ++number) {
    Channels channels;
    RecordingRoot root;
    const auto tool = channels.toolSide();
    BusPeer master(channels);
    tool->setRootObject(root);
    tool->rootProxy().findAppsInSearchPath("/p"_ns, nullptr, ActingClient::create());
    ASSERT_TRUE(pump(*tool, master, [&] { return !tool->hasUnsent(); }));
    master.tell(master.call("Tesker.Client", "self", "/client/1"));
    const test::FailingAllocation failing(number);
    try {
      while (tool->dispatch()) {
      }
    } catch (const std::bad_alloc &) {
      EXPECT_FALSE(tool->isValid());
    }
    hasHappened = failing.hasHappened();
  }
}

TEST_F(Callback, TheRunLoopSleepsWhileNothingComes) {
  class WatchedSystem final : public OperatingSystem {
  public:
    explicit WatchedSystem(const BusPeer &master) : master_(master) {}
    int poll(pollfd *descriptors, nfds_t count, int timeout) override {
      ++polls;
      if (timeout != 0)
        waits.push_back(timeout);
      if (timeout != 0 || polls == kMany)
        master_.close(); // which ends the run loop
      return OperatingSystem::poll(descriptors, count, timeout);
    }
    const int kMany = 1000;
    int polls = 0;
    std::vector<int> waits;

  private:
    const BusPeer &master_;
  } system(master);
  begin();
  const ScopedOperatingSystem inForce(system);
  NSRunLoop::currentRunLoop().run();
  EXPECT_THAT(system.waits, ElementsAre(-1));
  EXPECT_LT(system.polls, 20);
}

} // namespace
} // namespace tesker
