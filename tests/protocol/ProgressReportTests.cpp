// How far a search has come, on its way from the tool to the master.

#include "platform/foundation/OperatingSystem.h"
#include "tests/protocol/ConnectionPair.h"
#include "tests/protocol/WireMessage.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>

namespace tesker {
namespace {

using test::BusPeer;
using test::Channels;
using test::pump;
using test::RecordingRoot;
using test::Requested;

// A master's client object that is told of progress.
class WatchingClient final : public FinderClient {
public:
  static Ref<WatchingClient> create() { return allocate<WatchingClient>(NSDefaultMallocZone()); }
  void noteLines(const NSString &text, const NSString &) override { answer = text; }
  void self() override {}
  void noteProgress(const FinderProgress &progress) override { told.push_back(progress); }

  NSString answer;
  std::vector<FinderProgress> told;

private:
  friend NSObject;
  WatchingClient() = default;
};

class ProgressReport : public testing::Test {
protected:
  ProgressReport() {
    tool->setRootObject(root);
    root.onRequest = [this](const Requested &, FinderClient &remote) { search(remote); };
  }
  void ask() {
    master->rootProxy().findAppsInSearchPath("/p"_ns, nullptr, client);
    EXPECT_TRUE(pump(*tool, *master, [&] { return client->answer || !tool->isValid(); }));
  }

  Channels channels;
  RecordingRoot root;
  const Ref<WatchingClient> client = WatchingClient::create();
  std::function<void(FinderClient &)> search;
  RefPtr<NSConnection> tool = channels.toolSide();
  RefPtr<NSConnection> master = channels.masterSide();
};

TEST_F(ProgressReport, ArrivesBeforeTheAnswer) {
  search = [](FinderClient &remote) {
    remote.noteProgress({1, 2, 3, "/p"_ns, "/p/a\nb"_ns});
    remote.noteProgress({UINT64_MAX, 0, 0, "/q"_ns, nullptr});
    remote.noteLines("(0)"_ns, "/p"_ns);
  };
  ask();
  ASSERT_EQ(client->told.size(), 2U);
  EXPECT_EQ(client->told[0].directories, 1U);
  EXPECT_EQ(client->told[0].entries, 2U);
  EXPECT_EQ(client->told[0].records, 3U);
  EXPECT_EQ(client->told[0].path, "/p");
  EXPECT_EQ(client->told[0].directory, "/p/a\nb");
  EXPECT_EQ(client->told[1].directories, UINT64_MAX);
  EXPECT_EQ(client->told[1].directory, "");
}

TEST_F(ProgressReport, IsCutWhereAPathIsLongerThanAnyThatTheSystemTakes) {
  search = [](FinderClient &remote) {
    remote.noteProgress({0, 0, 0, NSString::create(std::string(5000, 'p')),
                         NSString::create(std::string(5000, 'd'))});
    remote.noteLines("(0)"_ns, "/p"_ns);
  };
  ask();
  ASSERT_EQ(client->told.size(), 1U);
  EXPECT_EQ(client->told[0].path, NSString::create(std::string(4096, 'p')));
  EXPECT_EQ(client->told[0].directory, NSString::create(std::string(4096, 'd')));
}

// Nobody reads meanwhile: both sides are in this process.
TEST_F(ProgressReport, IsLostAndNotWaitedWithWhereTheMasterDoesNotRead) {
  constexpr std::uint64_t kMany = 10000;
  const NSString path = NSString::create(std::string(4096, 'p'));
  search = [&](FinderClient &remote) {
    for (std::uint64_t i = 0; i < kMany; ++i)
      remote.noteProgress({i, 0, 0, path, path});
    EXPECT_FALSE(tool->hasUnsent());
    remote.noteLines("(0)"_ns, "/p"_ns);
  };
  ask();
  EXPECT_EQ(client->answer, "(0)");
  EXPECT_GT(client->told.size(), 0U);
  EXPECT_LT(client->told.size(), kMany);
  for (std::size_t i = 0; i < client->told.size(); ++i)
    EXPECT_EQ(client->told[i].directories, i);
}

TEST_F(ProgressReport, OnAChannelWithHardlyAnyRoomLeavesTheAnswerWhole) {
  Channels narrow;
  const int least = 0;
  ASSERT_EQ(::setsockopt(narrow.toMaster.far.number(), SOL_SOCKET, SO_SNDBUF, &least, sizeof least),
            0);
  tool = narrow.toolSide();
  master = narrow.masterSide();
  tool->setRootObject(root);
  const NSString path = NSString::create(std::string(4096, 'p'));
  search = [&](FinderClient &remote) {
    for (std::uint64_t i = 0; i < 100; ++i)
      remote.noteProgress({i, 0, 0, path, path});
    remote.noteLines("(0)"_ns, "/p"_ns);
  };
  ask();
  EXPECT_EQ(client->answer, "(0)");
}

TEST_F(ProgressReport, ToAMasterThatHasGoneIsNotWaitedWith) {
  search = [this](FinderClient &remote) {
    master = nullptr;
    for (std::uint64_t i = 0; i < 100; ++i)
      remote.noteProgress({i, 0, 0, "/p"_ns, "/p"_ns});
  };
  master->rootProxy().findAppsInSearchPath("/p"_ns, nullptr, client);
  while (master) {
    (void)master->dispatch();
    (void)tool->dispatch();
  }
  while (tool->isValid())
    (void)tool->dispatch();
}

TEST(ProgressToAnOlderMaster, IsIgnored) {
  Channels channels;
  RecordingRoot root;
  root.onRequest = [](const Requested &, FinderClient &remote) {
    remote.noteProgress({1, 2, 3, "/p"_ns, "/p"_ns});
  };
  const RefPtr<NSConnection> tool = channels.toolSide();
  tool->setRootObject(root);
  BusPeer master{channels}; // which has no such member, and no client object either
  for (std::size_t i = 1; i <= 2; ++i) {
    master.ask(master.request({}));
    EXPECT_TRUE(pump(*tool, master, [&] { return root.requests.size() == i; }));
  }
  master.ask(master.call("org.freedesktop.DBus.Peer", "Ping"));
  EXPECT_TRUE(pump(*tool, master, [&] { return master.answers.size() == 3; }));
  EXPECT_THAT(master.answers, testing::Each(""));
}

} // namespace
} // namespace tesker
