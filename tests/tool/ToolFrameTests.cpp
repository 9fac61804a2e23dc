// The tool process from its start to its end, against a master that takes every step itself.

#include "examples/MachOWriter.h"
#include "platform/ports/HostInfo.h"
#include "tests/ports/RawSockets.h"
#include "tests/protocol/ConnectionPair.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/DescribingImage.h"
#include "tests/support/RefusedSystemCall.h"
#include "tests/tool/ToolUnderTest.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
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
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

class ToolProcess : public testing::Test {
protected:
  // A request whose walk is short.
  void request(NSConnection &connection, const std::string &path) {
    connection.rootProxy().findAppsInSearchPath(NSString::create(path), nullptr, client);
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

void expectNotTrusted(const std::string &directory) {
  ToolUnderTest tool(directory);
  EXPECT_THAT(tool.logLines(), ElementsAre("TeskerTool: Cannot get bootstrap port : 1100"));
  EXPECT_EQ(tool.exitStatus(), 0);
}

TEST(ToolProcessAlone, WithADirectoryThatItsGroupMayWriteToLogsThatAndExitsWithStatusZero) {
  const TemporaryDirectory temporary;
  expectNotTrusted(temporary.makeDirectory("names", 0770));
}

TEST(ToolProcessAlone, WithADirectoryOfAnotherUserLogsThatAndExitsWithStatusZero) {
  TESKER_SKIP_UNLESS_ROOT();
  const TemporaryDirectory temporary;
  const std::string strangers = temporary.makeDirectory("names", 0700);
  ASSERT_EQ(::chown(strangers.c_str(), test::kOtherUser, test::kOtherUser), 0);
  expectNotTrusted(strangers);
}

TEST(ToolProcessAlone, TakesNoNoticeOfArguments) {
  const TemporaryDirectory temporary;
  ToolUnderTest tool(temporary.makeDirectory("names", 0700), {}, {"--help", "", "/path"});
  EXPECT_THAT(tool.logLines(), ElementsAre("TeskerTool: Cannot get bootstrap port : 1102"));
  EXPECT_EQ(tool.exitStatus(), 0);
}

// As when no descriptors are left. (A real lack of them is one for the sanitizers, too.)
void refuseSocketPairs() { test::refuseSystemCall(SYS_socketpair, EMFILE); }

TEST_F(ToolProcess, WithoutDescriptorsForAPortLogsThatAndExitsWithStatusZero) {
  ToolUnderTest tool(master.directory(), refuseSocketPairs);
  EXPECT_THAT(tool.logLines(), ElementsAre("TeskerTool: Cannot allocate new port : 24"));
  EXPECT_EQ(tool.exitStatus(), 0);
}

// What the bus library needs to know about its sockets.
void refuseFileStatusFlags() {
  sock_filter program[] = {
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_fcntl, 0, 3),
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, args[1])),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, F_GETFL, 0, 1),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | ENOMEM),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
  };
  const sock_fprog filter{6, program};
  ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
  ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter);
}

TEST_F(ToolProcess, ABusThatCannotBeStartedIsLoggedAndTheStatusIsZero) {
  ToolUnderTest tool(master.directory(), refuseFileStatusFlags);
  const auto connection = master.connect();
  EXPECT_THAT(tool.logLines(),
              ElementsAre("TeskerTool: Cannot start connection : " + std::to_string(ENOMEM)));
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
      NSConnection::Side::server);
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
      NSPort::portWithMachPort(port), NSPort::portWithMachPort(toTool), NSConnection::Side::server);
  request(*connection, "/nowhere");
  serveToTheEnd(*connection);
  EXPECT_THAT(client->keys, ElementsAre("/nowhere"));
  EXPECT_EQ(tool.exitStatus(), 0);
}

TEST_F(ToolProcess, AMalformedMessageIsLoggedAndTheStatusIsZero) {
  const test::SocketPair pair(SOCK_STREAM);
  const FileDescriptor file(::open("/dev/null", O_RDWR | O_CLOEXEC));
  for (const std::vector<int> &carried :
       {std::vector<int>{}, {pair.near.number(), pair.far.number()}, {file.number()}}) {
    ToolUnderTest tool(master.directory());
    master.sendBytes(master.receivePort().port, messageText(79), carried);
    EXPECT_THAT(tool.logLines(), ElementsAre("TeskerTool: Cannot receive port for replies : " +
                                             std::to_string(EBADMSG)));
    EXPECT_EQ(tool.exitStatus(), 0);
  }
}

TEST_F(ToolProcess, AMessageThatEndsBeforeItsLastByteIsLoggedAndTheStatusIsZero) {
  const test::SocketPair pair(SOCK_STREAM);
  ToolUnderTest tool(master.directory());
  const port_t toTool = master.receivePort().port;
  master.sendBytes(toTool, messageText(79).substr(0, 31), {pair.far.number()});
  port_deallocate(toTool);
  EXPECT_THAT(tool.logLines(), ElementsAre("TeskerTool: Cannot receive port for replies : " +
                                           std::to_string(ECONNRESET)));
  EXPECT_EQ(tool.exitStatus(), 0);
}

TEST_F(ToolProcess, APortThatLeadsNowhereEndsItWithStatusZero) {
  const FileDescriptor unconnected(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  ToolUnderTest tool(master.directory());
  master.sendBytes(master.receivePort().port, messageText(79), {unconnected.number()});
  EXPECT_EQ(tool.exitStatus(), 0);
  EXPECT_THAT(tool.logLines(), IsEmpty());
}

TEST_F(ToolProcess, AMasterThatSpeaksNoBusEndsItWithStatusZero) {
  ToolUnderTest tool(master.directory());
  const port_t toTool = master.receivePort().port;
  const port_t fromTool = master.sendPort(toTool, 79);
  master.sendBytes(toTool, "garbage\r\n" + std::string(1000, '\0'));
  EXPECT_EQ(tool.exitStatus(), 0);
  EXPECT_THAT(tool.logLines(), IsEmpty());
  port_deallocate(fromTool);
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

// Every directory of the tree makes the tool log a long line, and all lines together are more than
// the pipe holds: the walk cannot have ended when the first one is read.
TEST_F(ToolProcess, AMasterThatGoesDuringTheWalkEndsItWithStatus255) {
  const TemporaryDirectory tree;
  constexpr std::size_t kDirectories = 100;
  for (std::size_t i = 0; i < kDirectories; ++i)
    tree.writeFile(std::string(200, 'd') + std::to_string(i) + "/Bad.app/registry.table", "");
  ToolUnderTest tool(master.directory(), [] { ::fcntl(STDERR_FILENO, F_SETPIPE_SZ, 4096); });
  auto connection = master.connect();
  request(*connection, tree.path());
  ASSERT_TRUE(serve(*connection, [&] { return !connection->hasUnsent(); }));
  EXPECT_THAT(tool.nextLogLine(), StartsWith("*** Applications Finder: error parsing "));
  master.goAway();
  connection = nullptr;
  const auto lines = tool.logLines();
  EXPECT_EQ(tool.exitStatus(), 255);
  EXPECT_LT(lines.size(), kDirectories - 1);
  ASSERT_THAT(lines, Not(IsEmpty()));
  EXPECT_EQ(lines.back(), "Tool: bootstrap port died: 1102; exiting");
}

#ifndef __SANITIZE_ADDRESS__ // which ends a process that gets no memory, and needs much itself
// An application that describes itself at such length that the tool gets no memory for it.
class ToolProcessWithLittleMemory : public ToolProcess {
protected:
  ToolProcessWithLittleMemory() {
    const std::string header = '{' + std::string(std::size_t{18} << 20, 'x');
    tree.writeFile("huge", executable(header), 0755);
    tree.writeFile("small", executable("F\tSmall\tSmall\ticon\n"), 0755);
  }

  static std::string executable(const std::string &header) { return test::imageWithHeader(header); }
  static void allowLittleMemory() {
    const struct rlimit little { std::size_t{48} << 20, std::size_t{48} << 20 };
    ::setrlimit(RLIMIT_AS, &little);
    ::setenv("TESKER_HOST_CPU", "i386", 1);
  }

  TemporaryDirectory tree;
  ToolUnderTest tool{master.directory(), allowLittleMemory};
};

TEST_F(ToolProcessWithLittleMemory, AnExceptionForAPathOfTheRequestIsLoggedAndNothingIsAnswered) {
  const auto connection = master.connect();
  request(*connection, tree.path("huge"));
  serveToTheEnd(*connection);
  EXPECT_THAT(tool.logLines(),
              ElementsAre("TeskerTool [" + std::to_string(tool.process()) + "] exception"));
  EXPECT_EQ(tool.exitStatus(), 0);
  EXPECT_THAT(client->keys, IsEmpty());
  EXPECT_EQ(client->selfCalls, 0);
}

TEST_F(ToolProcessWithLittleMemory, ALackOfMemoryAtAnEntryEndsTheSearchWithoutAnAnswer) {
  const auto connection = master.connect();
  request(*connection, tree.path());
  serveToTheEnd(*connection);
  EXPECT_THAT(tool.logLines(),
              ElementsAre("TeskerTool [" + std::to_string(tool.process()) + "] exception"));
  EXPECT_EQ(tool.exitStatus(), 0);
  EXPECT_THAT(client->keys, IsEmpty());
}
#endif

TEST_F(ToolProcess, WithoutStandardDescriptorsOpensTheNullDeviceInTheirPlace) {
  ToolUnderTest tool(master.directory(), [] {
    for (int descriptor = 0; descriptor <= 2; ++descriptor)
      ::close(descriptor);
  });
  const port_t toTool = master.receivePort().port; // the tool is behind its start
  const std::string descriptors = "/proc/" + std::to_string(tool.process()) + "/fd/";
  for (const char *descriptor : {"0", "1", "2"})
    EXPECT_EQ(std::filesystem::read_symlink(descriptors + descriptor), "/dev/null");
  const auto connection = master.connect(toTool);
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
