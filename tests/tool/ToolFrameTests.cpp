// The tool process from its start to its end, against a master that takes every step itself.

#include "platform/mach/TaskPriority.h"
#include "tests/connection/ConnectionPair.h"
#include "tests/mach/RawSockets.h"
#include "tests/support/ChildProcess.h"
#include "tests/tool/ToolUnderTest.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>

namespace tesker {
namespace {

using test::MasterInSteps;
using test::messageText;
using test::NotingClient;
using test::serve;
using test::TemporaryDirectory;
using test::ToolUnderTest;
using testing::ElementsAre;
using testing::IsEmpty;

class ToolProcess : public testing::Test {
protected:
  // A request whose walk is short.
  void request(NSConnection &connection, const std::string &path) {
    connection.rootProxy().findAppsInSearchPath(*NSString::create(path), nullptr, client);
  }
  // Serves the tool to its end.
  static void serveToTheEnd(NSConnection &connection) {
    (void)serve(connection, [] { return false; });
  }

  MasterInSteps master;
  Ref<NotingClient> client = NotingClient::create();
};

TEST(ToolProcessAlone, WithoutAServiceLogsOneLineAndExitsWithStatusZero) {
  const TemporaryDirectory temporary;
  ToolUnderTest tool(temporary.makeDirectory("names", 0700));
  EXPECT_THAT(tool.logLines(), ElementsAre("TeskerTool: Cannot get bootstrap port : 1102"));
  EXPECT_EQ(tool.exitStatus(), 0);
}

TEST(ToolProcessAlone, WithADirectoryNotToBeTrustedLogsThatAndExitsWithStatusZero) {
  const TemporaryDirectory temporary;
  ToolUnderTest tool(temporary.makeDirectory("names", 0770));
  EXPECT_THAT(tool.logLines(), ElementsAre("TeskerTool: Cannot get bootstrap port : 1100"));
  EXPECT_EQ(tool.exitStatus(), 0);
}

TEST(ToolProcessAlone, TakesNoNoticeOfArguments) {
  const TemporaryDirectory temporary;
  ToolUnderTest tool(temporary.makeDirectory("names", 0700), {}, {"--help", "", "/path"});
  EXPECT_THAT(tool.logLines(), ElementsAre("TeskerTool: Cannot get bootstrap port : 1102"));
  EXPECT_EQ(tool.exitStatus(), 0);
}

// As when no descriptors are left. (A real lack of them is one for the sanitizers, too.)
void refuseSocketPairs() {
  sock_filter program[] = {
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_socketpair, 0, 1),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | EMFILE),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
  };
  const sock_fprog filter{4, program};
  ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
  ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter);
}

TEST_F(ToolProcess, WithoutDescriptorsForAPortLogsThatAndExitsWithStatusZero) {
  ToolUnderTest tool(master.directory(), refuseSocketPairs);
  EXPECT_THAT(tool.logLines(), ElementsAre("TeskerTool: Cannot allocate new port : 24"));
  EXPECT_EQ(tool.exitStatus(), 0);
}

TEST_F(ToolProcess, HandsItsPortOverInMessageSeventyEight) {
  ToolUnderTest tool(master.directory());
  const PortMessage message = master.receivePort();
  EXPECT_EQ(message.msg_id, 78U);
  EXPECT_EQ(message.msg_simple, 0);
  EXPECT_EQ(message.msg_size, 32U);
  EXPECT_EQ(message.msg_type, 0U);
  EXPECT_EQ(message.portDescriptor, 0x10012006U);
}

TEST_F(ToolProcess, WaitsOnAfterMessagesWithOtherIds) {
  ToolUnderTest tool(master.directory());
  const port_t toTool = master.receivePort().port;
  const port_t first = master.sendPort(toTool, 78);
  const port_t second = master.sendPort(toTool, 0xffffffff);
  EXPECT_EQ(tool.nextLogLine(), "TeskerTool: Received unexpected message: 0");
  EXPECT_EQ(tool.nextLogLine(), "TeskerTool: Received unexpected message: 0");
  for (const port_t port : {first, second}) {
    pollfd end{receiveDescriptor(port), 0, 0};
    EXPECT_EQ(::poll(&end, 1, -1), 1); // the tool has closed what came with it
  }
  const auto connection = NSConnection::initWithReceivePort(
      NSPort::portWithMachPort(master.sendPort(toTool, 79)), NSPort::portWithMachPort(toTool),
      NSConnection::Side::Server);
  request(*connection, "/nowhere");
  serveToTheEnd(*connection);
  EXPECT_THAT(client->keys, ElementsAre("/nowhere"));
  EXPECT_EQ(tool.exitStatus(), 0);
  EXPECT_THAT(tool.logLines(), IsEmpty());
}

TEST_F(ToolProcess, AMessageThatComesInPartsIsWaitedFor) {
  ToolUnderTest tool(master.directory());
  const port_t toTool = master.receivePort().port;
  port_t port = PORT_NULL;
  ASSERT_EQ(port_allocate(task_self(), port), KERN_SUCCESS);
  const std::string text = messageText(79);
  master.sendBytes(toTool, text.substr(0, 5), {sendDescriptor(port)});
  takeSendRight(port).reset();
  master.sendBytes(toTool, text.substr(5, 20));
  master.sendBytes(toTool, text.substr(25));
  const auto connection = NSConnection::initWithReceivePort(
      NSPort::portWithMachPort(port), NSPort::portWithMachPort(toTool), NSConnection::Side::Server);
  request(*connection, "/nowhere");
  serveToTheEnd(*connection);
  EXPECT_THAT(client->keys, ElementsAre("/nowhere"));
  EXPECT_EQ(tool.exitStatus(), 0);
}

TEST_F(ToolProcess, AMalformedMessageIsLoggedAndTheStatusIsZero) {
  ToolUnderTest tool(master.directory());
  master.sendBytes(master.receivePort().port, messageText(79)); // carries nothing
  EXPECT_THAT(tool.logLines(), ElementsAre("TeskerTool: Cannot receive port for replies : " +
                                           std::to_string(EBADMSG)));
  EXPECT_EQ(tool.exitStatus(), 0);
}

TEST_F(ToolProcess, AMasterThatGoesBeforeItsMessageIsLoggedAndTheStatusIsZero) {
  ToolUnderTest tool(master.directory());
  port_deallocate(master.receivePort().port);
  EXPECT_THAT(tool.logLines(), ElementsAre("TeskerTool: Cannot receive port for replies : " +
                                           std::to_string(ECONNRESET)));
  EXPECT_EQ(tool.exitStatus(), 0);
}

TEST_F(ToolProcess, AnswersItsRequestAsksForSelfAndExitsWithStatusZero) {
  ToolUnderTest tool(master.directory());
  const auto connection = master.connect();
  request(*connection, "/nowhere");
  serveToTheEnd(*connection);
  EXPECT_THAT(client->texts, ElementsAre("(0)"));
  EXPECT_THAT(client->keys, ElementsAre("/nowhere"));
  EXPECT_EQ(client->selfCalls, 1);
  EXPECT_EQ(tool.exitStatus(), 0);
  EXPECT_THAT(tool.logLines(), IsEmpty());
}

TEST_F(ToolProcess, ServesOneRequestOnly) {
  ToolUnderTest tool(master.directory());
  const auto connection = master.connect();
  request(*connection, "/first");
  request(*connection, "/second");
  serveToTheEnd(*connection);
  EXPECT_THAT(client->keys, ElementsAre("/first"));
  EXPECT_EQ(client->selfCalls, 1);
  EXPECT_EQ(tool.exitStatus(), 0);
}

TEST_F(ToolProcess, AMasterThatHangsUpWithoutARequestEndsItWithStatusZero) {
  ToolUnderTest tool(master.directory());
  (void)master.connect(); // and lets go at once
  EXPECT_EQ(tool.exitStatus(), 0);
  EXPECT_THAT(tool.logLines(), IsEmpty());
}

TEST_F(ToolProcess, AMasterThatHangsUpBeforeTheAnswerEndsItWithStatusZero) {
  ToolUnderTest tool(master.directory());
  auto connection = master.connect();
  request(*connection, "/nowhere");
  ASSERT_TRUE(serve(*connection, [&] { return !connection->hasUnsent(); }));
  connection = nullptr;
  EXPECT_EQ(tool.exitStatus(), 0);
  EXPECT_THAT(tool.logLines(), IsEmpty());
}

TEST_F(ToolProcess, AMasterThatIsGoneWhenTheWalkBeginsEndsItWithStatus255) {
  ToolUnderTest tool(master.directory());
  const auto connection = master.connect();
  master.goAway(); // the channels stay
  request(*connection, "/nowhere");
  serveToTheEnd(*connection);
  EXPECT_EQ(tool.exitStatus(), 255);
  EXPECT_THAT(tool.logLines(), ElementsAre("Tool: bootstrap port died: 1102; exiting"));
  EXPECT_THAT(client->keys, IsEmpty());
}

TEST_F(ToolProcess, WithoutStandardDescriptorsOpensTheNullDeviceInTheirPlace) {
  ToolUnderTest tool(master.directory(), [] {
    for (int descriptor = 0; descriptor <= 2; ++descriptor)
      ::close(descriptor);
  });
  const auto connection = master.connect(); // the tool is behind its start
  const std::string descriptors = "/proc/" + std::to_string(tool.process()) + "/fd/";
  for (const char *descriptor : {"0", "1", "2"})
    EXPECT_EQ(std::filesystem::read_symlink(descriptors + descriptor), "/dev/null");
  request(*connection, "/nowhere");
  serveToTheEnd(*connection);
  EXPECT_THAT(client->keys, ElementsAre("/nowhere"));
  EXPECT_EQ(tool.exitStatus(), 0);
}

TEST_F(ToolProcess, IgnoresBrokenPipes) {
  ToolUnderTest tool(master.directory(), [] { ::signal(SIGPIPE, SIG_DFL); });
  const auto connection = master.connect();
  std::ifstream status("/proc/" + std::to_string(tool.process()) + "/status");
  std::string line;
  while (std::getline(status, line) && line.find("SigIgn:") == std::string::npos) {
  }
  ASSERT_GT(line.size(), 8U);
  EXPECT_NE(std::stoull(line.substr(8), nullptr, 16) & (1ULL << (SIGPIPE - 1)), 0U);
}

TEST_F(ToolProcess, RunsAtPrioritySixteen) {
  ToolUnderTest tool(master.directory());
  test::Channels channels;
  const port_t toTool = master.receivePort().port;
  channels.toMaster.near = takeReceiveRight(master.sendPort(toTool, 79));
  channels.toTool.far = takeSendRight(toTool);
  test::BusPeer peer(channels);
  peer.ask(peer.call("org.freedesktop.DBus.Peer", "Ping"));
  while (peer.isOpen() && peer.answers.empty()) {
    std::vector<pollfd> descriptors;
    peer.appendPollDescriptors(descriptors);
    if (!peer.step())
      ::poll(descriptors.data(), descriptors.size(), -1);
  }
  ASSERT_THAT(peer.answers, ElementsAre("")); // its run loop runs
  const int priority = ::getpriority(PRIO_PROCESS, static_cast<id_t>(tool.process()));
  test::inChild([&] {
    task_priority(task_self(), 16, true); // as far as it is permitted here
    EXPECT_EQ(priority, ::getpriority(PRIO_PROCESS, 0));
  });
}

} // namespace
} // namespace tesker
