// Two connections that speak to each other.

#include "platform/foundation/NSException.h"
#include "tests/protocol/ConnectionPair.h"

#include <gtest/gtest.h>

namespace tesker {
namespace {

using test::Channels;
using test::Noted;
using test::pump;
using test::RecordingClient;
using test::RecordingRoot;
using test::Requested;

constexpr std::size_t kMebibyte = std::size_t{1} << 20;

class Connection : public testing::Test {
protected:
  explicit Connection(std::size_t carryLimit = NSConnection::kLargestCarriedText)
      : tool(channels.toolSide(carryLimit)), master(channels.masterSide(carryLimit)) {
    tool->setRootObject(root);
  }

  void requestPath(std::string_view path, const NSString *previous = nullptr) {
    master->rootProxy().findAppsInSearchPath(*NSString::create(path), previous, client);
  }
  bool pumpUntil(const std::function<bool()> &done) { return pump(*tool, *master, done); }
  bool pumpUntilRequested(std::size_t count = 1) {
    return pumpUntil([&] { return root.requests.size() == count; });
  }
  bool pumpUntilNoted(std::size_t count = 1) {
    return pumpUntil([&] { return client->noted.size() == count; });
  }
  // Has the tool answer every request with the text.
  void answerWith(RefPtr<NSString> text) {
    root.onRequest = [text](const Requested &request, FinderClient &to) {
      to.noteLines(text.get(), *NSString::create(request.paths));
    };
  }

  Channels channels;
  RecordingRoot root;
  Ref<RecordingClient> client = RecordingClient::create();
  RefPtr<NSConnection> tool, master;
};

TEST_F(Connection, BringsAPathRequestToTheRootObject) {
  requestPath("/Apps");
  ASSERT_TRUE(pumpUntilRequested());
  EXPECT_EQ(root.requests[0], (Requested{"path", "/Apps", std::nullopt}));
}

TEST_F(Connection, BringsADockRequestToTheRootObject) {
  const auto previous = NSString::create("old");
  master->rootProxy().findAppsForDockPaths(*NSString::create(std::string_view("/a\0/b", 5)),
                                           &*previous, client);
  ASSERT_TRUE(pumpUntilRequested());
  EXPECT_EQ(root.requests[0], (Requested{"dock", std::string("/a\0/b", 5), "old"}));
}

TEST_F(Connection, TellsNilFromTheEmptyText) {
  const auto empty = NSString::create("");
  requestPath("", &*empty);
  ASSERT_TRUE(pumpUntilRequested());
  EXPECT_EQ(root.requests[0], (Requested{"path", "", ""}));
}

TEST_F(Connection, BringsAnyBytesThroughUnchanged) {
  std::string all;
  for (int byte = 0; byte < 256; ++byte)
    all += static_cast<char>(byte);
  answerWith(NSString::create(all));
  requestPath(all);
  ASSERT_TRUE(pumpUntilNoted());
  EXPECT_EQ(client->noted[0], (Noted{all, all}));
}

TEST_F(Connection, BringsTheAnswerOrNilToTheClient) {
  answerWith(NSString::create("lines"));
  requestPath("/Apps");
  ASSERT_TRUE(pumpUntilNoted());
  answerWith(nullptr);
  requestPath("/Apps");
  ASSERT_TRUE(pumpUntilNoted(2));
  EXPECT_EQ(client->noted, (std::vector{Noted{"lines", "/Apps"}, Noted{std::nullopt, "/Apps"}}));
}

TEST_F(Connection, BringsEachAnswerToTheClientThatAsked) {
  const auto other = RecordingClient::create();
  root.onRequest = [](const Requested &request, FinderClient &to) {
    to.noteLines(nullptr, *NSString::create(request.paths));
  };
  requestPath("/1");
  master->rootProxy().findAppsInSearchPath(*NSString::create("/2"), nullptr, other);
  requestPath("/3");
  ASSERT_TRUE(pumpUntilNoted(2));
  EXPECT_EQ(client->noted, (std::vector{Noted{std::nullopt, "/1"}, Noted{std::nullopt, "/3"}}));
  EXPECT_EQ(other->noted, (std::vector{Noted{std::nullopt, "/2"}}));
}

TEST_F(Connection, BringsALargeTextThroughBothWays) {
  std::string large(200 * kMebibyte + 12345, '.');
  for (std::size_t i = 0; i < large.size(); i += 4093)
    large[i] = static_cast<char>(i / 4093);
  const auto text = NSString::takingOver(std::pmr::string(large, &NSDefaultMallocZone()));
  answerWith(text);
  requestPath("/Apps", &*text);
  ASSERT_TRUE(pumpUntilNoted());
  EXPECT_TRUE(root.requests[0].previous == large);
  EXPECT_TRUE(client->noted[0].text == large);
}

TEST_F(Connection, ATextIsKeptUnchangedWhileItWaitsToBeSent) {
  const auto text = NSMutableString::create("before");
  requestPath("/Apps", &*text);
  text->setString("after");
  ASSERT_TRUE(pumpUntilRequested());
  EXPECT_EQ(root.requests[0].previous, "before");
}

TEST_F(Connection, NeverWaitsForAFarSideThatReadsNothing) {
  const auto text =
      NSString::takingOver(std::pmr::string(64 * kMebibyte, '.', &NSDefaultMallocZone()));
  requestPath("/Apps", &*text);
  ASSERT_TRUE(pumpUntil([&] { return master->hasUnsent() && tool->pollTimeout() != 0; }));
  for (int i = 0; i < 100; ++i)
    (void)master->dispatch(); // nobody reads
  EXPECT_TRUE(master->hasUnsent());
  EXPECT_TRUE(root.requests.empty());
  ASSERT_TRUE(pumpUntilRequested());
  EXPECT_FALSE(master->hasUnsent());
  EXPECT_EQ(root.requests[0].previous->size(), 64 * kMebibyte);
}

TEST_F(Connection, ALostConnectionForgetsWhatWasToBeSent) {
  const auto text = NSString::create("previous");
  requestPath("/Apps", &*text);
  EXPECT_EQ(text->retainCount(), 2U);
  tool = nullptr;
  ASSERT_TRUE(pump(*master, *master, [&] { return !master->isValid(); }));
  EXPECT_FALSE(master->hasUnsent());
  EXPECT_EQ(text->retainCount(), 1U);
  requestPath("/Apps", &*text); // nothing happens
  EXPECT_FALSE(master->hasUnsent());
  EXPECT_FALSE(master->dispatch());
  EXPECT_EQ(master->pollTimeout(), -1);
}

TEST_F(Connection, APathTooLongForOneMessageIsRefused) {
  const auto path = NSString::takingOver(
      std::pmr::string(NSConnection::kLargestArgument + 1, 'x', &NSDefaultMallocZone()));
  EXPECT_THROW(master->rootProxy().findAppsInSearchPath(*path, nullptr, client), NSException);
  EXPECT_FALSE(master->hasUnsent());
}

TEST_F(Connection, TheLongestPathGoesThroughAndBack) {
  answerWith(NSString::create("lines"));
  const std::string path(NSConnection::kLargestArgument, 'x');
  requestPath(path);
  ASSERT_TRUE(pumpUntilNoted());
  EXPECT_TRUE(client->noted[0].key == path);
}

TEST_F(Connection, ClosesItsSocketsAtItsEnd) {
  requestPath("/Apps");
  ASSERT_TRUE(pumpUntilRequested());
  const auto before = test::openDescriptorCount();
  master = nullptr;
  EXPECT_EQ(test::openDescriptorCount(), before - 2);
  tool = nullptr;
  EXPECT_EQ(test::openDescriptorCount(), before - 4);
}

TEST(ConnectionOverPorts, TakesTheRightsOutOfThem) {
  Channels channels;
  const auto receive =
      NSPort::portWithMachPort(portForReceiveRight(std::move(channels.toTool.near)));
  const auto send = NSPort::portWithMachPort(portForSendRight(std::move(channels.toMaster.far)));
  ASSERT_TRUE(NSConnection::initWithReceivePort(receive, send));
  EXPECT_EQ(receiveDescriptor(receive->machPort()), -1);
  EXPECT_EQ(sendDescriptor(send->machPort()), -1);
}

TEST(ConnectionOverPorts, WithoutBothRightsIsNil) {
  Channels channels;
  const auto before = test::openDescriptorCount();
  const auto nothing = NSPort::portWithMachPort(task_self());
  const auto receive =
      NSPort::portWithMachPort(portForReceiveRight(std::move(channels.toTool.near)));
  const auto send = NSPort::portWithMachPort(portForSendRight(std::move(channels.toMaster.far)));
  EXPECT_FALSE(NSConnection::initWithReceivePort(nothing, send));
  EXPECT_FALSE(NSConnection::initWithReceivePort(receive, nothing));
  EXPECT_EQ(test::openDescriptorCount(), before - 2);
}

TEST(ConnectionOverPorts, ThatTheFarSideHasLeftHasEnded) {
  Channels channels;
  channels.toTool.far.reset();
  channels.toMaster.near.reset();
  RecordingRoot root;
  const auto connection = channels.toolSide();
  ASSERT_TRUE(connection);
  EXPECT_FALSE(connection->isValid());
  connection->setRootObject(root);
  EXPECT_FALSE(connection->dispatch());
}

// A limit just below one piece tells how texts are cut.
class ConnectionCarryingLessThanAPiece : public Connection {
protected:
  ConnectionCarryingLessThanAPiece() : Connection(NSConnection::kLargestPiece - 1) {}
};

TEST_F(ConnectionCarryingLessThanAPiece, ATextOfOnePieceGoesWithItsCall) {
  const auto text = NSString::create(std::string(NSConnection::kLargestPiece, '.'));
  answerWith(text);
  requestPath("/Apps", &*text);
  ASSERT_TRUE(pumpUntilNoted());
  EXPECT_TRUE(root.requests[0].previous == text->bytes());
  EXPECT_TRUE(client->noted[0].text == text->bytes());
}

TEST_F(ConnectionCarryingLessThanAPiece, OfALongerTextAPieceIsCarriedAhead) {
  const auto text = NSString::create(std::string(NSConnection::kLargestPiece + 1, '.'));
  requestPath("/Apps", &*text);
  EXPECT_FALSE(pumpUntilRequested());
  EXPECT_FALSE(tool->isValid());
  EXPECT_FALSE(master->isValid());
}

} // namespace
} // namespace tesker
