// How a connection, and a wait on it, comes to its end.

#include "protocol/NSRunLoop.h"
#include "tests/protocol/ConnectionPair.h"
#include "tests/protocol/WireMessage.h"
#include "tests/support/SanitizerMemory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <sys/resource.h>
#include <sys/wait.h>

namespace tesker {
namespace {

using test::BusPeer;
using test::Channels;
using test::pump;
using test::RecordingRoot;
using test::Requested;
using testing::ElementsAre;

class ConnectionEnd : public testing::Test {
protected:
  ConnectionEnd() { tool->setRootObject(root); }

  Channels channels;
  RecordingRoot root;
  RefPtr<NSConnection> tool = channels.toolSide();
};

TEST_F(ConnectionEnd, GarbageInPlaceOfTheAuthenticationEndsTheRunLoop) {
  ASSERT_TRUE(test::sendRaw(channels.toTool.far.number(), "garbage\r\nand more of it\r\n"));
  NSRunLoop::currentRunLoop().run();
  EXPECT_FALSE(tool->isValid());
}

TEST_F(ConnectionEnd, AnEndlessLineInPlaceOfTheAuthenticationEndsTheRunLoop) {
  const std::string line(std::size_t{1} << 17, 'x');
  ASSERT_GT(::send(channels.toTool.far.number(), line.data(), line.size(), MSG_DONTWAIT), 0);
  NSRunLoop::currentRunLoop().run();
  EXPECT_FALSE(tool->isValid());
}

TEST_F(ConnectionEnd, ARefusedAuthenticationEndsTheRunLoop) {
  ASSERT_TRUE(test::sendRaw(channels.toTool.far.number(), "REJECTED EXTERNAL\r\n"));
  NSRunLoop::currentRunLoop().run();
  EXPECT_FALSE(tool->isValid());
}

TEST_F(ConnectionEnd, AHangUpInTheMiddleOfTheAuthenticationEndsTheRunLoop) {
  ASSERT_TRUE(test::sendRaw(channels.toTool.far.number(), "OK 0123"));
  channels.toTool.far.reset();
  NSRunLoop::currentRunLoop().run();
  EXPECT_FALSE(tool->isValid());
}

TEST_F(ConnectionEnd, AHangUpOfTheInputAloneEndsTheRunLoop) {
  channels.toTool.far.reset();
  NSRunLoop::currentRunLoop().run();
  EXPECT_FALSE(tool->isValid());
}

TEST_F(ConnectionEnd, AHangUpOfTheOutputAloneEndsTheRunLoop) {
  channels.toMaster.near.reset();
  NSRunLoop::currentRunLoop().run();
  EXPECT_FALSE(tool->isValid());
}

TEST_F(ConnectionEnd, AHangUpOfEitherChannelLaterOnEndsTheRunLoop) {
  for (const bool input : {true, false}) {
    Channels other;
    const auto connection = other.toolSide();
    connection->setRootObject(root);
    BusPeer master(other);
    master.ask(master.request("one"));
    ASSERT_TRUE(pump(*connection, master, [&] { return master.answers.size() == 1; }));
    if (input)
      master.closeOutput(); // its output is the tool's input
    else
      master.closeInput();
    tool = nullptr; // leaves the run loop
    NSRunLoop::currentRunLoop().run();
    EXPECT_FALSE(connection->isValid());
  }
}

// What the tool has said before its master begins to listen is the tool's fault all the same.
TEST(AMaster, LacksNothingWhereTheToolsAuthenticationIsThereAlreadyAndWrong) {
  std::string flood(1, '\0');
  while (flood.size() < (1U << 17))
    flood += "AUTH EXTERNAL 30\r\n";
  for (const std::string &said : {std::string("AUTH"), flood, std::string(1 << 17, '\0'),
                                  std::string("\0AUTH MAGIC\r\nBEGIN\r\n", 19)}) {
    Channels channels;
    const int far = channels.toMaster.far.number();
    ASSERT_GT(::send(far, said.data(), said.size(), MSG_DONTWAIT), 0);
    const auto master = channels.masterSide();
    ASSERT_TRUE(master);
    while (master->dispatch()) {
    }
    EXPECT_EQ(master->lack(), 0);
  }
}

TEST_F(ConnectionEnd, GarbageAfterTheAuthenticationEndsTheRunLoop) {
  BusPeer master(channels);
  master.ask(master.request("one"));
  ASSERT_TRUE(pump(*tool, master, [&] { return master.answers.size() == 1; }));
  ASSERT_TRUE(test::sendRaw(master.output(), std::string(64, '\x7f')));
  NSRunLoop::currentRunLoop().run();
  EXPECT_FALSE(tool->isValid());
}

TEST_F(ConnectionEnd, ADescriptorWithTheAuthenticationIsClosedAndEndsTheRunLoop) {
  test::SocketPair uninvited(SOCK_STREAM);
  ASSERT_TRUE(test::sendRaw(channels.toTool.far.number(), "O", {uninvited.far.number()}));
  uninvited.far.reset();
  NSRunLoop::currentRunLoop().run();
  EXPECT_FALSE(tool->isValid());
  pollfd end{uninvited.near.number(), 0, 0};
  EXPECT_EQ(::poll(&end, 1, 0), 1);
}

TEST_F(ConnectionEnd, ADescriptorWithAMessageIsClosedAndEndsTheRunLoop) {
  test::SocketPair uninvited(SOCK_STREAM);
  BusPeer master(channels);
  master.ask(master.request("one"));
  ASSERT_TRUE(pump(*tool, master, [&] { return master.answers.size() == 1; }));
  ASSERT_TRUE(test::sendRaw(master.output(), "l", {uninvited.far.number()}));
  uninvited.far.reset();
  NSRunLoop::currentRunLoop().run();
  EXPECT_FALSE(tool->isValid());
  pollfd end{uninvited.near.number(), 0, 0};
  EXPECT_EQ(::poll(&end, 1, 0), 1);
}

// A master by hand that asks without end and reads nothing, against the tool's side in a thread of
// the test's own making.
class Unread : public ConnectionEnd {
protected:
  Unread() {
    EXPECT_TRUE(test::sendRaw(channels.toTool.far.number(),
                              std::string("OK 0123456789abcdef0123456789abcdef\r\n")));
  }

  // How many bytes of the messages the tool's side takes while nobody reads what it answers.
  std::size_t takenOf(const std::string &messages, std::size_t most) {
    const int output = channels.toTool.far.number();
    std::size_t taken = 0, at = 0;
    for (int idle = 0; idle < 3 && taken < most && tool->isValid();) {
      const ssize_t sent =
          ::send(output, messages.data() + at, messages.size() - at, MSG_DONTWAIT | MSG_NOSIGNAL);
      if (sent > 0) {
        taken += static_cast<std::size_t>(sent);
        at = (at + static_cast<std::size_t>(sent)) % messages.size();
      }
      bool moved = false;
      for (int i = 0; i < 10000 && tool->dispatch(); ++i)
        moved = true;
      idle = sent > 0 || moved ? 0 : idle + 1;
    }
    return taken;
  }

  static std::string ping(std::string_view path = "/") {
    return test::wireMessage({path, "org.freedesktop.DBus.Peer", "Ping", "", true},
                             test::WireArguments(std::endian::native), 7);
  }
};

TEST_F(Unread, RepliesStopTheReadingUntilTheyAreRead) {
  constexpr std::size_t kMost = std::size_t{8} << 20;
  EXPECT_LT(takenOf(ping(), kMost), kMost);
  EXPECT_TRUE(tool->isValid());
  std::vector<pollfd> descriptors;
  tool->appendPollDescriptors(descriptors);
  EXPECT_EQ(::poll(descriptors.data(), descriptors.size(), 0), 0); // it sleeps meanwhile
  // And then it goes on.
  std::string bytes(std::size_t{1} << 20, '\0');
  while (::recv(channels.toMaster.near.number(), bytes.data(), bytes.size(), MSG_DONTWAIT) > 0) {
  }
  EXPECT_EQ(::poll(descriptors.data(), descriptors.size(), 0), 1);
  EXPECT_GT(takenOf(ping(), 1000), 0U);
}

TEST_F(Unread, AHangUpOfEitherChannelIsSeenMeanwhile) {
  for (const bool input : {true, false}) {
    SCOPED_TRACE(input ? "input" : "output");
    channels = Channels();
    tool = channels.toolSide();
    ASSERT_TRUE(test::sendRaw(channels.toTool.far.number(),
                              std::string("OK 0123456789abcdef0123456789abcdef\r\n")));
    (void)takenOf(ping(), std::size_t{8} << 20);
    tool->setRootObject(root);
    (input ? channels.toTool.far : channels.toMaster.near).reset();
    NSRunLoop::currentRunLoop().run();
    EXPECT_FALSE(tool->isValid());
  }
}

TEST_F(Unread, RepliesTakeNoMoreMemoryThanAFewMessages) {
  // The library tells the name of an unknown interface again.
  const std::string message = test::wireMessage(
      {"/", "org.freedesktop.DBus.Properties", "GetAll", "s", true},
      test::WireArguments(std::endian::native).string(std::string(std::size_t{4} << 20, 'p')), 7);
  struct rusage before {
  }, after{};
  ::getrusage(RUSAGE_SELF, &before);
  EXPECT_GT(takenOf(message, 32 * message.size()), 0U);
  ::getrusage(RUSAGE_SELF, &after);
  EXPECT_LT(after.ru_maxrss - before.ru_maxrss, (64 + test::kSanitizerMebibytes) << 10);
}

TEST_F(ConnectionEnd, WhatArrivedBeforeAHangUpIsStillServed) {
  BusPeer master(channels);
  master.ask(master.request("first"));
  ASSERT_TRUE(pump(*tool, master, [&] { return master.answers.size() == 1; }));
  master.tell(master.request("last words"));
  master.close();
  NSRunLoop::currentRunLoop().run();
  EXPECT_THAT(root.requests, ElementsAre(Requested{"path", "/p"_ns, "first"_ns},
                                         Requested{"path", "/p"_ns, "last words"_ns}));
  EXPECT_FALSE(tool->isValid());
}

TEST_F(ConnectionEnd, AnExceptionOutOfARequestLeavesTheRunLoop) {
  BusPeer master(channels);
  root.onRequest = [](const Requested &, FinderClient &) { throw std::runtime_error("raised"); };
  master.tell(master.request("one"));
  EXPECT_THROW((void)pump(*tool, master, [] { return false; }), std::runtime_error);
  // The connection itself is as good as before.
  root.onRequest = nullptr;
  master.tell(master.request("two"));
  ASSERT_TRUE(pump(*tool, master, [&] { return root.requests.size() == 2; }));
}

TEST(RunLoop, WithoutConnectionsReturnsAtOnce) { NSRunLoop::currentRunLoop().run(); }

TEST_F(ConnectionEnd, AConnectionThatGoesLeavesTheRunLoop) {
  tool = nullptr;
  NSRunLoop::currentRunLoop().run();
}

// A master in a process of its own, since self() waits.
class WaitingForSelf : public testing::Test {
protected:
  using Answer = std::function<int(BusPeer &, sd_bus_message *)>;

  // Serves one request whose answer is "text", then self(), against a master that answers self in
  // the given way (0: not at all); returns when self() has.
  void askAndWait(const Answer &answer) {
    RecordingRoot root;
    Channels channels;
    const pid_t master = ::fork();
    if (master == 0) {
      channels.toTool.near.reset();
      channels.toMaster.far.reset();
      ::_exit(playMaster(channels, answer));
    }
    channels.toTool.far.reset();
    channels.toMaster.near.reset();
    auto tool = channels.toolSide();
    tool->setRootObject(root);
    root.onRequest = [](const Requested &, FinderClient &client) {
      client.noteLines(nullptr, "/p"_ns);
      client.self();
      throw std::runtime_error("self returned");
    };
    EXPECT_THROW(NSRunLoop::currentRunLoop().run(), std::runtime_error);
    tool = nullptr; // the master sees the end
    int status = -1;
    ASSERT_EQ(::waitpid(master, &status, 0), master);
    EXPECT_EQ(status, 0);
  }

private:
  struct Master {
    BusPeer &peer;
    const Answer &answer;
    bool noted = false, asked = false;
  };

  static int take(sd_bus_message *message, void *data, sd_bus_error *) {
    auto &master = *static_cast<Master *>(data);
    if (sd_bus_message_is_method_call(message, "Tesker.Client", "noteLines_for_") > 0)
      master.noted = true;
    if (sd_bus_message_is_method_call(message, "Tesker.Client", "self") <= 0)
      return 0;
    master.asked = true;
    return master.answer(master.peer, message);
  }

  // 0 when the tool told what it found, then asked, and then went away.
  static int playMaster(Channels &channels, const Answer &answer) {
    BusPeer peer(channels);
    Master master{peer, answer};
    sd_bus_add_filter(peer.bus(), nullptr, take, &master);
    peer.tell(peer.request("old"));
    while (peer.isOpen()) {
      if (peer.step())
        continue;
      std::vector<pollfd> descriptors;
      peer.appendPollDescriptors(descriptors);
      ::poll(descriptors.data(), descriptors.size(), -1);
    }
    return master.noted && master.asked ? 0 : 1;
  }
};

TEST_F(WaitingForSelf, EndsWithTheAnswer) {
  askAndWait([](BusPeer &, sd_bus_message *message) {
    return sd_bus_reply_method_return(message, "o", "/me");
  });
}

TEST_F(WaitingForSelf, EndsWithAnAnswerOfAnotherKind) {
  askAndWait([](BusPeer &, sd_bus_message *message) {
    return sd_bus_reply_method_return(message, nullptr);
  });
}

TEST_F(WaitingForSelf, EndsWithAnErrorReply) {
  askAndWait([](BusPeer &, sd_bus_message *message) {
    return sd_bus_reply_method_errorf(message, "Tesker.Error", "no");
  });
}

TEST_F(WaitingForSelf, EndsWhenTheMasterGoes) {
  askAndWait([](BusPeer &peer, sd_bus_message *) {
    peer.closeInput();
    peer.closeOutput();
    return 1;
  });
}

TEST_F(WaitingForSelf, EndsWhenOneChannelHangsUp) {
  askAndWait([](BusPeer &peer, sd_bus_message *) {
    peer.closeInput();
    return 1;
  });
  askAndWait([](BusPeer &peer, sd_bus_message *) {
    peer.closeOutput();
    return 1;
  });
}

TEST_F(WaitingForSelf, EndsWhenTheMasterBreaksTheProtocol) {
  askAndWait([](BusPeer &peer, sd_bus_message *) {
    (void)test::sendRaw(peer.output(), std::string(64, '\x7f'));
    return 1;
  });
}

} // namespace
} // namespace tesker
