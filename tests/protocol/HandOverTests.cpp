// The hand-over, each side against another one that sends and reads plain bytes.

#include "platform/ports/Bootstrap.h"
#include "protocol/HandOver.h"
#include "tests/protocol/ConnectionPair.h"
#include "tests/support/LogCapture.h"
#include "tests/support/ScopedEnvironment.h"
#include "tests/support/TemporaryDirectory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <set>
#include <sys/resource.h>
#include <thread>

namespace tesker {
namespace {

using test::messageText;
using test::openDescriptorCount;
using test::pump;
using test::receiveRaw;
using test::sendRaw;
using test::SocketPair;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

constexpr const char *kServiceName = "Miniapp_boot_port";

bool isReadable(const FileDescriptor &socket) {
  pollfd waiting{socket.number(), POLLIN, 0};
  return ::poll(&waiting, 1, 0) == 1;
}

class HandOver : public testing::Test {
protected:
  const test::TemporaryDirectory temporary;
  const std::string directory = temporary.makeDirectory("names", 0700);
  const std::string socketPath = directory + "/" + kServiceName;
};

// ---- the tool's side ----

// The words of a message, as they came.
PortMessage wordsOf(const std::string &bytes) {
  MessageBytes words{};
  bytes.copy(reinterpret_cast<char *>(words.data()), words.size());
  return decode(words);
}

// A master that is played while newSlave() waits: it is given the packet that the tool has sent and
// what came with it.
class ToolsHandOver : public HandOver {
protected:
  using Packet = std::pair<std::string, std::vector<FileDescriptor>>;

  ToolsHandOver() { EXPECT_EQ(::listen(listener.number(), 4), 0); }

  RefPtr<NSConnection> newSlaveWith(const std::function<void(Packet &)> &playMaster) {
    std::thread master([&] {
      accepted = FileDescriptor(::accept4(listener.number(), nullptr, nullptr, SOCK_CLOEXEC));
      Packet packet = receiveRaw(accepted.number());
      if (packet.second.size() == 1)
        playMaster(packet);
    });
    auto connection = newSlave();
    ::shutdown(listener.number(), SHUT_RDWR); // in case that nobody has come
    master.join();
    return connection;
  }

  const FileDescriptor listener = test::boundSocket(socketPath);
  const test::ScopedEnvironment variable{"TESKER_BOOTSTRAP_DIR", directory};
  const test::LogCapture log;
  FileDescriptor accepted;
};

TEST_F(ToolsHandOver, TheMessageNamesTheTaskTheServiceAndTheNewPort) {
  port_t service = PORT_NULL;
  ASSERT_EQ(bootstrap_look_up(bootstrap_port(), kServiceName, service), BOOTSTRAP_SUCCESS);
  std::string bytes;
  (void)newSlaveWith([&](Packet &packet) { bytes = packet.first; });
  ASSERT_EQ(bytes.size(), 32U);
  const PortMessage words = wordsOf(bytes);
  EXPECT_EQ(words.msg_local_port, task_self());
  EXPECT_EQ(words.msg_remote_port, service);
  EXPECT_EQ((std::set{words.msg_local_port, words.msg_remote_port, words.port, PORT_NULL}.size()),
            4U);
  EXPECT_EQ(words.msg_id, 78U);
}

TEST_F(ToolsHandOver, TheMessageCarriesOneEndOfAStreamOfWhichTheToolKeepsTheOther) {
  int type = 0, hangUps = -1;
  (void)newSlaveWith([&](Packet &packet) {
    const int carried = packet.second.at(0).number();
    socklen_t size = sizeof type;
    EXPECT_EQ(::getsockopt(carried, SOL_SOCKET, SO_TYPE, &type, &size), 0);
    pollfd end{carried, 0, 0};
    hangUps = ::poll(&end, 1, 0);
  });
  EXPECT_EQ(type, SOCK_STREAM);
  EXPECT_EQ(hangUps, 0);
}

TEST_F(ToolsHandOver, TheConnectionReadsFromTheToolsPortAndWritesToTheMasters) {
  SocketPair toMaster(SOCK_STREAM);
  FileDescriptor toTool;
  const auto connection = newSlaveWith([&](Packet &packet) {
    toTool = std::move(packet.second.at(0));
    EXPECT_TRUE(sendRaw(toTool.number(), messageText(79), {toMaster.far.number()}));
    toMaster.far.reset();
  });
  ASSERT_TRUE(connection);
  EXPECT_TRUE(connection->isValid());
  // The tool begins the authentication.
  ASSERT_TRUE(pump(*connection, *connection, [&] { return isReadable(toMaster.near); }));
  EXPECT_THAT(receiveRaw(toMaster.near.number()).first,
              StartsWith(std::string("\0AUTH ANONYMOUS", 15)));
  toTool.reset();
  EXPECT_TRUE(pump(*connection, *connection, [&] { return !connection->isValid(); }));
  EXPECT_THAT(log.syslogged, IsEmpty());
}

TEST_F(ToolsHandOver, NothingElseIsSentToTheService) {
  SocketPair toMaster(SOCK_STREAM);
  const auto connection = newSlaveWith([&](Packet &packet) {
    EXPECT_TRUE(sendRaw(packet.second.at(0).number(), messageText(79), {toMaster.far.number()}));
  });
  ASSERT_TRUE(connection);
  char byte = 0;
  EXPECT_EQ(::recv(accepted.number(), &byte, 1, MSG_DONTWAIT), -1);
  EXPECT_EQ(errno, EAGAIN); // and the socket is still open, as a sign of life
}

TEST_F(ToolsHandOver, AFailedOneLeavesOnlyTheSignOfLifeOpen) {
  port_t service = PORT_NULL;
  ASSERT_EQ(bootstrap_look_up(bootstrap_port(), kServiceName, service), BOOTSTRAP_SUCCESS);
  SocketPair carried(SOCK_STREAM);
  accepted = FileDescriptor(::dup(listener.number())); // counted, as the accepted one will be
  const auto before = openDescriptorCount();
  EXPECT_FALSE(newSlaveWith([&](Packet &packet) {
    EXPECT_TRUE(sendRaw(packet.second.at(0).number(), messageText(80), {carried.far.number()}));
    EXPECT_TRUE(sendRaw(packet.second.at(0).number(), messageText(79)));
  }));
  EXPECT_EQ(openDescriptorCount(), before);
  EXPECT_THAT(log.syslogged, ElementsAre("TeskerTool: Received unexpected message: 0",
                                         "TeskerTool: Cannot receive port for replies : " +
                                             std::to_string(EBADMSG)));
}

TEST_F(ToolsHandOver, WhatKeepsTheToolFromLookingIsLogged) {
  class FailingSystem final : public OperatingSystem {
    int openAt(int, const char *, int, mode_t) override {
      errno = EMFILE;
      return -1;
    }
  } failing;
  const ScopedOperatingSystem inForce(failing);
  EXPECT_FALSE(newSlave());
  EXPECT_THAT(log.syslogged,
              ElementsAre("TeskerTool: Cannot get bootstrap port : " + std::to_string(EMFILE)));
}

// ---- the master's side ----

class MastersHandOver : public HandOver {
protected:
  using State = MasterHandOver::State;

  // A connection as a tool makes it.
  FileDescriptor connect() const {
    FileDescriptor socket(::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0));
    const sockaddr_un address = test::addressOf(socketPath);
    EXPECT_EQ(
        ::connect(socket.number(), reinterpret_cast<const sockaddr *>(&address), sizeof address),
        0);
    return socket;
  }

  MasterHandOver master = std::move(*MasterHandOver::listen(directory));
  SocketPair toTool{SOCK_STREAM};
};

TEST_F(MastersHandOver, AnswersOverTheToolsPortWithAPortOfItsOwn) {
  const FileDescriptor tool = connect();
  ASSERT_TRUE(sendRaw(tool.number(), messageText(78), {toTool.far.number()}));
  ASSERT_EQ(master.step(), State::done);
  ASSERT_TRUE(master.connection());
  auto [bytes, rights] = receiveRaw(toTool.near.number());
  ASSERT_EQ(bytes.size(), 32U);
  ASSERT_EQ(rights.size(), 1U);
  const PortMessage words = wordsOf(bytes);
  EXPECT_EQ(words.msg_simple, 0);
  EXPECT_EQ(words.msg_size, 32U);
  EXPECT_EQ(words.msg_type, 0U);
  EXPECT_EQ(words.msg_id, 79U);
  EXPECT_EQ(words.portDescriptor, 0x10012006U);
  // The master reads from it, answers over the other, and sees its end.
  ASSERT_TRUE(sendRaw(rights[0].number(), std::string("\0AUTH ANONYMOUS 61\r\n", 20)));
  NSConnection &connection = *master.connection();
  ASSERT_TRUE(pump(connection, connection, [&] { return isReadable(toTool.near); }));
  EXPECT_THAT(receiveRaw(toTool.near.number()).first, StartsWith("OK "));
  rights.clear();
  EXPECT_TRUE(pump(connection, connection, [&] { return !connection.isValid(); }));
}

TEST_F(MastersHandOver, SaysWhyItCannotAnswerTheFirstMessage) {
  class Lacking final : public OperatingSystem {
    ssize_t sendMessage(int, const msghdr &, int) override {
      errno = ETOOMANYREFS;
      return -1;
    }
  } system;
  const FileDescriptor tool = connect();
  ASSERT_TRUE(sendRaw(tool.number(), messageText(78), {toTool.far.number()}));
  const ScopedOperatingSystem inForce(system);
  EXPECT_EQ(master.step(), State::failed);
  EXPECT_EQ(master.reason(), std::string("the tool's first message cannot be answered: ") +
                                 std::strerror(ETOOMANYREFS));
}

TEST_F(MastersHandOver, IsLostWhereTheToolHasGoneBeforeTheAnswer) {
  const FileDescriptor tool = connect();
  ASSERT_TRUE(sendRaw(tool.number(), messageText(78), {toTool.far.number()}));
  toTool.near.reset();
  EXPECT_EQ(master.step(), State::lost);
}

TEST_F(MastersHandOver, AToolThatAuthenticatesWronglyAtOnceIsNotALackOfThisSide) {
  class QuickTool final : public OperatingSystem {
  public:
    explicit QuickTool(const FileDescriptor &socket) : socket_(socket) {}
    ssize_t sendMessage(int socket, const msghdr &message, int flags) override {
      const ssize_t sent = OperatingSystem::sendMessage(socket, message, flags);
      const auto [bytes, rights] = receiveRaw(socket_.number());
      EXPECT_TRUE(sendRaw(rights.at(0).number(), "AUTH ANONYMOUS\r\nBEGIN\r\n"));
      return sent;
    }

  private:
    const FileDescriptor &socket_;
  } system(toTool.near);
  const FileDescriptor tool = connect();
  ASSERT_TRUE(sendRaw(tool.number(), messageText(78), {toTool.far.number()}));
  const ScopedOperatingSystem inForce(system);
  ASSERT_EQ(master.step(), State::done);
  EXPECT_FALSE(master.connection()->isValid());
}

TEST_F(MastersHandOver, WaitsForAToolAndForItsMessage) {
  EXPECT_EQ(master.step(), State::waiting);
  const FileDescriptor tool = connect();
  EXPECT_EQ(master.step(), State::waiting);
  std::vector<pollfd> descriptors;
  master.appendPollDescriptors(descriptors);
  EXPECT_EQ(::poll(descriptors.data(), descriptors.size(), 0), 0);
  ASSERT_TRUE(sendRaw(tool.number(), messageText(78), {toTool.far.number()}));
  EXPECT_EQ(::poll(descriptors.data(), descriptors.size(), 0), 1);
  EXPECT_EQ(master.step(), State::done);
}

TEST_F(MastersHandOver, TakesTheFirstMessageOfThoseWhoHaveConnected) {
  const FileDescriptor silent = connect(), tool = connect();
  ASSERT_TRUE(sendRaw(tool.number(), messageText(78), {toTool.far.number()}));
  ASSERT_EQ(master.step(), State::done);
  EXPECT_EQ(receiveRaw(toTool.near.number()).first.size(), 32U);
  pollfd end{silent.number(), 0, 0};
  EXPECT_EQ(::poll(&end, 1, 0), 0); // a sign of life, too
}

TEST_F(MastersHandOver, TakesFewConnectionsAtATimeAndKeepsFewOfAToolThatConnectsOften) {
  std::vector<FileDescriptor> tools;
  for (std::size_t i = 0; i < 4 * BootstrapService::kMostConnections; ++i)
    tools.push_back(connect());
  const auto before = openDescriptorCount();
  for (std::size_t i = 0; i < tools.size(); ++i)
    EXPECT_EQ(master.step(), State::waiting);
  EXPECT_EQ(openDescriptorCount() - before,
            static_cast<std::ptrdiff_t>(BootstrapService::kMostConnections));
  EXPECT_FALSE(hasHungUp(tools.front().number()));
  EXPECT_TRUE(hasHungUp(tools.back().number()));
  // The first one's message is taken all the same.
  ASSERT_TRUE(sendRaw(tools.front().number(), messageText(78), {toTool.far.number()}));
  EXPECT_EQ(master.step(), State::done);
}

TEST_F(MastersHandOver, FailsWhereTheSystemRefusesTheToolsConnection) {
  const FileDescriptor tool = connect();
  struct rlimit before {};
  ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &before), 0);
  const struct rlimit none { 0, before.rlim_max };
  ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &none), 0);
  EXPECT_EQ(master.step(), State::failed);
  ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &before), 0);
  EXPECT_EQ(master.reason(), "the tool's connection cannot be accepted: Too many open files");
}

TEST_F(MastersHandOver, KeepsAcceptingWhoLooksForASignOfLifeAfterwards) {
  const FileDescriptor tool = connect();
  ASSERT_TRUE(sendRaw(tool.number(), messageText(78), {toTool.far.number()}));
  ASSERT_EQ(master.step(), State::done);
  const FileDescriptor again = connect();
  std::vector<pollfd> descriptors;
  master.appendPollDescriptors(descriptors);
  EXPECT_EQ(::poll(descriptors.data(), descriptors.size(), 0), 1);
  EXPECT_EQ(master.step(), State::done);
  EXPECT_EQ(::poll(descriptors.data(), descriptors.size(), 0), 0);
}

TEST_F(MastersHandOver, TakesFewAtATimeOfThoseWhoConnectAndLeave) {
  const FileDescriptor tool = connect();
  ASSERT_TRUE(sendRaw(tool.number(), messageText(78), {toTool.far.number()}));
  ASSERT_EQ(master.step(), State::done);
  for (std::size_t i = 0; i < 2 * BootstrapService::kMostConnections; ++i)
    (void)connect();
  std::vector<pollfd> descriptors;
  master.appendPollDescriptors(descriptors);
  ASSERT_EQ(master.step(), State::done);
  EXPECT_EQ(::poll(descriptors.data(), descriptors.size(), 0), 1);
  ASSERT_EQ(master.step(), State::done);
  EXPECT_EQ(::poll(descriptors.data(), descriptors.size(), 0), 0);
}

TEST_F(MastersHandOver, IsNotWokenByWhatComesOverTheServiceAfterwards) {
  const FileDescriptor tool = connect();
  ASSERT_TRUE(sendRaw(tool.number(), messageText(78), {toTool.far.number()}));
  ASSERT_EQ(master.step(), State::done);
  ASSERT_TRUE(sendRaw(tool.number(), "more"));
  std::vector<pollfd> descriptors;
  master.appendPollDescriptors(descriptors);
  EXPECT_EQ(::poll(descriptors.data(), descriptors.size(), 0), 0);
}

TEST_F(MastersHandOver, AMessageWithAnotherIdBreaksItAndIsClosed) {
  const FileDescriptor tool = connect();
  ASSERT_TRUE(sendRaw(tool.number(), messageText(79), {toTool.far.number()}));
  toTool.far.reset();
  EXPECT_EQ(master.step(), State::broken);
  EXPECT_EQ(master.reason(), "the tool's first message has the number 79 instead of 78");
  EXPECT_FALSE(master.connection());
  pollfd end{toTool.near.number(), 0, 0};
  EXPECT_EQ(::poll(&end, 1, 0), 1);
}

TEST_F(MastersHandOver, AToolThatHangsUpIsLost) {
  FileDescriptor tool = connect();
  ASSERT_EQ(master.step(), State::waiting);
  tool.reset();
  EXPECT_EQ(master.step(), State::lost);
}

TEST_F(MastersHandOver, AToolThatSendsNothingMoreIsLost) {
  const FileDescriptor tool = connect();
  ASSERT_EQ(::shutdown(tool.number(), SHUT_WR), 0);
  EXPECT_EQ(master.step(), State::lost);
}

TEST_F(MastersHandOver, AToolThatDoesNotReadItsPortIsNotWaitedFor) {
  while (::send(toTool.far.number(), "filling", 7, MSG_DONTWAIT) > 0) {
  }
  const FileDescriptor tool = connect();
  ASSERT_TRUE(sendRaw(tool.number(), messageText(78), {toTool.far.number()}));
  EXPECT_EQ(master.step(), State::lost);
}

TEST_F(MastersHandOver, WithoutItsDirectoryFailsWithTheStatus) {
  ASSERT_EQ(::chmod(directory.c_str(), 0755), 0);
  EXPECT_EQ(MasterHandOver::listen(directory).error(), BOOTSTRAP_NOT_PRIVILEGED);
}

} // namespace
} // namespace tesker
