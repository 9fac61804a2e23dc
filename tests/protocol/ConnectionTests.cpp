// Two connections that speak to each other.

#include "platform/foundation/NSException.h"
#include "tests/protocol/ConnectionPair.h"

#include <gtest/gtest.h>

#include <regex>

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

  void requestPath(std::string_view path, const NSString &previous = nullptr) {
    master->rootProxy().findAppsInSearchPath(NSString::create(path), previous, client);
  }
  bool pumpUntil(const std::function<bool()> &done) { return pump(*tool, *master, done); }
  bool pumpUntilRequested(std::size_t count = 1) {
    return pumpUntil([&] { return root.requests.size() == count; });
  }
  bool pumpUntilNoted(std::size_t count = 1) {
    return pumpUntil([&] { return client->noted.size() == count; });
  }
  // Has the tool answer every request with the text.
  void answerWith(const NSString &text) {
    root.onRequest = [text](const Requested &request, FinderClient &to) {
      to.noteLines(text, request.paths);
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
  EXPECT_EQ(root.requests[0], (Requested{"path", "/Apps"_ns, nullptr}));
}

TEST_F(Connection, BringsADockRequestToTheRootObject) {
  master->rootProxy().findAppsForDockPaths("/a\0/b"_ns, "old"_ns, client);
  ASSERT_TRUE(pumpUntilRequested());
  EXPECT_EQ(root.requests[0], (Requested{"dock", "/a\0/b"_ns, "old"_ns}));
}

TEST_F(Connection, TellsNilFromTheEmptyText) {
  requestPath("", ""_ns);
  ASSERT_TRUE(pumpUntilRequested());
  EXPECT_EQ(root.requests[0], (Requested{"path", ""_ns, ""_ns}));
}

TEST_F(Connection, BringsAnyBytesThroughUnchanged) {
  std::string all;
  for (int byte = 0; byte < 256; ++byte)
    all += static_cast<char>(byte);
  answerWith(NSString::create(all));
  requestPath(all);
  ASSERT_TRUE(pumpUntilNoted());
  EXPECT_EQ(client->noted[0], (Noted{NSString::create(all), NSString::create(all)}));
}

TEST_F(Connection, BringsTheAnswerOrNilToTheClient) {
  answerWith("lines"_ns);
  requestPath("/Apps");
  ASSERT_TRUE(pumpUntilNoted());
  answerWith(nullptr);
  requestPath("/Apps");
  ASSERT_TRUE(pumpUntilNoted(2));
  EXPECT_EQ(client->noted,
            (std::vector{Noted{"lines"_ns, "/Apps"_ns}, Noted{nullptr, "/Apps"_ns}}));
}

TEST_F(Connection, BringsEachAnswerToTheClientThatAsked) {
  const auto other = RecordingClient::create();
  root.onRequest = [](const Requested &request, FinderClient &to) {
    to.noteLines(nullptr, request.paths);
  };
  requestPath("/1");
  master->rootProxy().findAppsInSearchPath("/2"_ns, nullptr, other);
  requestPath("/3");
  ASSERT_TRUE(pumpUntilNoted(2));
  EXPECT_EQ(client->noted, (std::vector{Noted{nullptr, "/1"_ns}, Noted{nullptr, "/3"_ns}}));
  EXPECT_EQ(other->noted, (std::vector{Noted{nullptr, "/2"_ns}}));
}

TEST_F(Connection, ARequestMayLetGoOfTheConnection) {
  root.onRequest = [&](const Requested &, FinderClient &) { tool = nullptr; };
  requestPath("/Apps");
  while (tool) {
    (void)tool->dispatch();
    (void)master->dispatch();
  }
  EXPECT_TRUE(pump(*master, *master, [&] { return !master->isValid(); }));
}

TEST_F(Connection, BringsALargeTextThroughBothWays) {
  std::string large(200 * kMebibyte + 12345, '.');
  for (std::size_t i = 0; i < large.size(); i += 4093)
    large[i] = static_cast<char>(i / 4093);
  const NSString text = NSString::takingOver(std::move(large));
  answerWith(text);
  requestPath("/Apps", text);
  ASSERT_TRUE(pumpUntilNoted());
  EXPECT_TRUE(root.requests[0].previous == text);
  EXPECT_TRUE(client->noted[0].text == text);
}

TEST_F(Connection, ATextIsKeptUnchangedWhileItWaitsToBeSent) {
  NSString text = "before"_ns;
  requestPath("/Apps", text);
  text = "after"_ns;
  ASSERT_TRUE(pumpUntilRequested());
  EXPECT_EQ(root.requests[0].previous, "before"_ns);
}

TEST_F(Connection, NeverWaitsForAFarSideThatReadsNothing) {
  requestPath("/Apps", NSString::takingOver(std::string(64 * kMebibyte, '.')));
  ASSERT_TRUE(pumpUntil([&] { return master->hasUnsent() && tool->pollTimeout() != 0; }));
  for (int i = 0; i < 100; ++i)
    (void)master->dispatch(); // nobody reads
  EXPECT_TRUE(master->hasUnsent());
  EXPECT_TRUE(root.requests.empty());
  ASSERT_TRUE(pumpUntilRequested());
  EXPECT_FALSE(master->hasUnsent());
  EXPECT_EQ(root.requests[0].previous.length(), 64 * kMebibyte);
}

// How many strings share these bytes.
unsigned holdersOf(const NSString &string) { return string.object()->retainCount() - 1; }

TEST_F(Connection, ALostConnectionForgetsWhatWasToBeSent) {
  const NSString text = "previous"_ns;
  requestPath("/Apps", text);
  EXPECT_EQ(holdersOf(text), 2U);
  tool = nullptr;
  ASSERT_TRUE(pump(*master, *master, [&] { return !master->isValid(); }));
  EXPECT_FALSE(master->hasUnsent());
  EXPECT_EQ(holdersOf(text), 1U);
  requestPath("/Apps", text); // nothing happens
  EXPECT_FALSE(master->hasUnsent());
  EXPECT_FALSE(master->dispatch());
  EXPECT_EQ(master->pollTimeout(), -1);
}

TEST_F(Connection, APathTooLongForOneMessageIsRefused) {
  EXPECT_THROW(requestPath(std::string(NSConnection::kLargestArgument + 1, 'x')), NSException);
  EXPECT_FALSE(master->hasUnsent());
}

TEST_F(Connection, TheLongestPathGoesThroughAndBack) {
  answerWith("lines"_ns);
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

TEST(ConnectionToAToolByHand, NamesEachClientByOnePath) {
  Channels channels;
  const auto master = channels.masterSide();
  const auto first = RecordingClient::create(), second = RecordingClient::create();
  for (const Ref<RecordingClient> &client : {first, second, first})
    master->rootProxy().findAppsInSearchPath("/p"_ns, nullptr, client);
  ASSERT_TRUE(test::sendRaw(channels.toMaster.far.number(),
                            std::string("\0AUTH ANONYMOUS 61\r\nBEGIN\r\n", 27)));
  ASSERT_TRUE(pump(*master, *master, [&] { return !master->hasUnsent(); }));
  std::string said(10000, '\0');
  said.resize(static_cast<std::size_t>(
      ::recv(channels.toTool.near.number(), said.data(), said.size(), MSG_DONTWAIT)));
  const std::regex path("/client/[0-9]+");
  EXPECT_EQ(
      (std::vector<std::string>{std::sregex_token_iterator(said.begin(), said.end(), path), {}}),
      (std::vector<std::string>{"/client/1", "/client/2", "/client/1"}));
}

TEST(ConnectionOverPorts, TakesTheRightsOutOfThem) {
  Channels channels;
  const port_t receive = portForReceiveRight(std::move(channels.toTool.near));
  const port_t send = portForSendRight(std::move(channels.toMaster.far));
  const auto before = test::openDescriptorCount();
  const auto connection = NSConnection::initWithReceivePort(NSPort::portWithMachPort(receive),
                                                            NSPort::portWithMachPort(send));
  ASSERT_TRUE(connection);
  EXPECT_EQ(receiveDescriptor(receive), -1);
  EXPECT_EQ(sendDescriptor(send), -1);
  // The connection has them, and needs no more once the far side has let it in.
  ASSERT_TRUE(
      test::sendRaw(channels.toTool.far.number(), "OK 0123456789abcdef0123456789abcdef\r\n"));
  while (connection->dispatch()) {
  }
  EXPECT_TRUE(connection->isValid());
  EXPECT_EQ(test::openDescriptorCount(), before);
}

TEST(ConnectionOverPorts, WithoutBothRightsIsNil) {
  Channels channels;
  const auto before = test::openDescriptorCount();
  const auto nothing = [] { return NSPort::portWithMachPort(task_self()); };
  EXPECT_FALSE(NSConnection::initWithReceivePort(
      NSPort::portWithMachPort(portForReceiveRight(std::move(channels.toTool.near))), nothing()));
  EXPECT_FALSE(NSConnection::initWithReceivePort(
      nothing(), NSPort::portWithMachPort(portForSendRight(std::move(channels.toMaster.far)))));
  EXPECT_EQ(test::openDescriptorCount(), before - 2);
}

TEST(ConnectionOverPorts, APortThatGoesGivesUpWhatTheTaskHolds) {
  port_t number = PORT_NULL;
  ASSERT_EQ(port_allocate(task_self(), number), KERN_SUCCESS);
  const auto before = test::openDescriptorCount();
  {
    NSPort port = NSPort::portWithMachPort(number);
    const NSPort moved = std::move(port);
    EXPECT_EQ(moved.machPort(), number);
    EXPECT_EQ(port.machPort(), PORT_NULL);
    EXPECT_EQ(test::openDescriptorCount(), before);
  }
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
  const NSString text = NSString::takingOver(std::string(NSConnection::kLargestPiece, '.'));
  answerWith(text);
  requestPath("/Apps", text);
  ASSERT_TRUE(pumpUntilNoted());
  EXPECT_TRUE(root.requests[0].previous == text);
  EXPECT_TRUE(client->noted[0].text == text);
}

TEST_F(ConnectionCarryingLessThanAPiece, OfALongerTextAPieceIsCarriedAhead) {
  requestPath("/Apps", NSString::takingOver(std::string(NSConnection::kLargestPiece + 1, '.')));
  EXPECT_FALSE(pumpUntilRequested());
  EXPECT_FALSE(tool->isValid());
  EXPECT_FALSE(master->isValid());
}

} // namespace
} // namespace tesker
