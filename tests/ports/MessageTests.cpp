#include "platform/ports/Message.h"
#include "tests/ports/RawSockets.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <fcntl.h>
#include <netinet/in.h>

namespace tesker {
namespace {

using test::messageText;
using test::openDescriptorCount;
using test::receiveRaw;
using test::sendRaw;
using test::SocketPair;

// A port of this task whose other end the test plays.
class PortToFarSide {
public:
  explicit PortToFarSide(int type) {
    SocketPair pair(type);
    far = std::move(pair.far);
    port = portForReceiveRight(std::move(pair.near));
  }
  ~PortToFarSide() { port_deallocate(port); }
  PortToFarSide(const PortToFarSide &) = delete;
  PortToFarSide &operator=(const PortToFarSide &) = delete;

  // msg_receive without waiting for what does not come.
  int receive(PortMessage &message) const {
    message.msg_local_port = port;
    return msg_receive(message, kReceiveTimeout, 0);
  }

  port_t port;
  FileDescriptor far;
};

// A stream socket to be carried.
FileDescriptor carriedSocket() { return FileDescriptor(::socket(AF_UNIX, SOCK_STREAM, 0)); }

// What msg_receive answers for what was sent; and nothing of it stays open.
int statusOf(int type, std::string_view bytes, const std::vector<int> &descriptors) {
  const PortToFarSide port(type);
  const auto before = openDescriptorCount();
  EXPECT_TRUE(sendRaw(port.far.number(), bytes, descriptors));
  PortMessage message;
  message.msg_id = 4711;
  const int status = port.receive(message);
  if (status != 0) {
    EXPECT_EQ(message.msg_id, 4711U);
    EXPECT_EQ(openDescriptorCount(), before);
  }
  port_deallocate(message.port);
  return status;
}

TEST(Message, IsEightLittleEndianWords) {
  PortMessage message;
  message.msg_local_port = 1;
  message.msg_remote_port = 0x01020304;
  message.msg_id = 78;
  message.port = 0xfffefdfc;
  const MessageBytes expected{
      0,    0,    0,    0,    // simple 0: carries a right
      32,   0,    0,    0,    // size
      0,    0,    0,    0,    // type: normal
      1,    0,    0,    0,    // local port
      4,    3,    2,    1,    // remote port
      78,   0,    0,    0,    // id
      6,    0x20, 1,    0x10, // one port of 32 bits, in line
      0xfc, 0xfd, 0xfe, 0xff, // port
  };
  EXPECT_EQ(encode(message), expected);
  EXPECT_EQ(decode(expected), message);
}

TEST(Message, ItsSimpleBitsAreTheFirstWordsHighest) {
  MessageBytes bytes = encode(PortMessage());
  bytes[0] = bytes[1] = bytes[2] = 0xff; // unused
  bytes[3] = 1;
  EXPECT_EQ(decode(bytes).msg_simple, 1);
  PortMessage message;
  message.msg_simple = 1;
  EXPECT_EQ(encode(message)[3], 1);
}

TEST(MessageSend, SendsThirtyTwoBytesWithTheSendRight) {
  SocketPair service(SOCK_SEQPACKET);
  PortMessage message;
  message.msg_remote_port = portForSendRight(std::move(service.near));
  message.msg_id = 78;
  ASSERT_EQ(port_allocate(task_self(), message.port), KERN_SUCCESS);
  ASSERT_EQ(msg_send(message, kSendHandOff, 0), 0);

  auto [bytes, rights] = receiveRaw(service.far.number());
  const MessageBytes expected = encode(message);
  EXPECT_EQ(bytes, std::string(expected.begin(), expected.end()));
  ASSERT_EQ(rights.size(), 1U);
  ASSERT_TRUE(sendRaw(rights[0].number(), "through the port"));
  EXPECT_EQ(receiveRaw(receiveDescriptor(message.port)).first, "through the port");
  port_deallocate(message.port);
  port_deallocate(message.msg_remote_port);
}

TEST(MessageSend, KeepsNoSendRightSoThatTheFarSidesEndIsSeen) {
  SocketPair service(SOCK_SEQPACKET);
  PortMessage message;
  message.msg_remote_port = portForSendRight(std::move(service.near));
  ASSERT_EQ(port_allocate(task_self(), message.port), KERN_SUCCESS);
  ASSERT_EQ(msg_send(message, kSendHandOff, 0), 0);
  EXPECT_EQ(sendDescriptor(message.port), -1);
  service.far.reset(); // and with it the message that nobody has read
  PortMessage reply;
  reply.msg_local_port = message.port;
  EXPECT_EQ(msg_receive(reply, kReceiveUntilNoSenders, 0), ECONNRESET);
  port_deallocate(message.port);
  port_deallocate(message.msg_remote_port);
}

TEST(MessageSend, WithoutARightToSendToOrToCarryIsRefused) {
  SocketPair service(SOCK_SEQPACKET);
  PortMessage message;
  message.msg_remote_port = task_self();
  EXPECT_EQ(msg_send(message, 0, 0), EBADF);
  message.msg_remote_port = portForSendRight(std::move(service.near));
  message.port = task_self();
  EXPECT_EQ(msg_send(message, 0, 0), EINVAL);
  port_deallocate(message.msg_remote_port);
}

TEST(MessageSend, ToAFarSideThatHasGoneGivesTheErrorAndKeepsTheRight) {
  SocketPair service(SOCK_SEQPACKET);
  PortMessage message;
  message.msg_remote_port = portForSendRight(std::move(service.near));
  ASSERT_EQ(port_allocate(task_self(), message.port), KERN_SUCCESS);
  service.far.reset();
  EXPECT_EQ(msg_send(message, kSendHandOff, 0), EPIPE);
  EXPECT_GE(sendDescriptor(message.port), 0);
  port_deallocate(message.port);
  port_deallocate(message.msg_remote_port);
}

TEST(MessageSend, ToAFullSocketEndsAtTheTimeOut) {
  SocketPair pair(SOCK_STREAM);
  while (::send(pair.near.number(), "filling", 7, MSG_DONTWAIT) > 0) {
  }
  PortMessage message;
  message.msg_remote_port = portForSendRight(std::move(pair.near));
  ASSERT_EQ(port_allocate(task_self(), message.port), KERN_SUCCESS);
  EXPECT_EQ(msg_send(message, kSendTimeout, 1), ETIMEDOUT);
  port_deallocate(message.port);
  port_deallocate(message.msg_remote_port);
}

TEST(MessageReceive, GivesThePacketsWordsAndANewNumberForTheRight) {
  const PortToFarSide port(SOCK_SEQPACKET);
  SocketPair carried(SOCK_STREAM);
  ASSERT_TRUE(sendRaw(port.far.number(), messageText(78), {carried.far.number()}));
  carried.far.reset();
  PortMessage message;
  ASSERT_EQ(port.receive(message), 0);
  EXPECT_EQ(message.msg_id, 78U);
  EXPECT_EQ(message.portDescriptor, 0x10012006U);
  EXPECT_EQ(message.msg_local_port, port.port);
  EXPECT_EQ(message.msg_remote_port, PORT_NULL);
  EXPECT_GT(message.port, port.port);
  EXPECT_EQ(::fcntl(sendDescriptor(message.port), F_GETFD), FD_CLOEXEC);
  ASSERT_TRUE(sendRaw(sendDescriptor(message.port), "carried"));
  EXPECT_EQ(receiveRaw(carried.near.number()).first, "carried");
  port_deallocate(message.port);
}

TEST(MessageReceive, OfAStreamTakesTheMessageInHoweverManyParts) {
  const PortToFarSide port(SOCK_STREAM);
  const FileDescriptor right = carriedSocket();
  const std::string text = messageText(79);
  ASSERT_TRUE(sendRaw(port.far.number(), text.substr(0, 1), {right.number()}));
  PortMessage message;
  // Each part is there before the next is waited for.
  for (std::size_t at = 1; at < text.size(); ++at)
    ASSERT_TRUE(sendRaw(port.far.number(), text.substr(at, 1)));
  EXPECT_EQ(port.receive(message), 0);
  EXPECT_EQ(message.msg_id, 79U);
  port_deallocate(message.port);
}

TEST(MessageReceive, OfAStreamReadsNothingBeyondTheMessage) {
  const PortToFarSide port(SOCK_STREAM);
  const FileDescriptor right = carriedSocket();
  ASSERT_TRUE(sendRaw(port.far.number(), messageText(79) + "what follows", {right.number()}));
  PortMessage message;
  ASSERT_EQ(port.receive(message), 0);
  EXPECT_EQ(receiveRaw(receiveDescriptor(port.port)).first, "what follows");
  port_deallocate(message.port);
}

TEST(MessageReceive, WaitsForTheRestOfAMessageUntilTheTimeOut) {
  const FileDescriptor right = carriedSocket();
  EXPECT_EQ(statusOf(SOCK_STREAM, messageText(79).substr(0, 31), {right.number()}), ETIMEDOUT);
  const PortToFarSide silent(SOCK_SEQPACKET);
  PortMessage message;
  EXPECT_EQ(silent.receive(message), ETIMEDOUT);
}

TEST(MessageReceive, AnotherLengthOfPacketIsMalformed) {
  const FileDescriptor right = carriedSocket();
  EXPECT_EQ(statusOf(SOCK_SEQPACKET, messageText(78).substr(0, 31), {right.number()}), EBADMSG);
  EXPECT_EQ(statusOf(SOCK_SEQPACKET, messageText(78) + "x", {right.number()}), EBADMSG);
  EXPECT_EQ(statusOf(SOCK_SEQPACKET, messageText(78), {right.number()}), 0);
}

class MessageReceiveOf : public testing::TestWithParam<int> {};
INSTANTIATE_TEST_SUITE_P(EitherSocket, MessageReceiveOf,
                         testing::Values(SOCK_STREAM, SOCK_SEQPACKET), [](const auto &instance) {
                           return instance.param == SOCK_STREAM ? "Stream" : "Packets";
                         });

TEST_P(MessageReceiveOf, AMessageWithoutARightIsMalformed) {
  EXPECT_EQ(statusOf(GetParam(), messageText(79), {}), EBADMSG);
}

TEST_P(MessageReceiveOf, MoreThanOneRightIsMalformedAndAllAreClosed) {
  const FileDescriptor right = carriedSocket();
  EXPECT_EQ(statusOf(GetParam(), messageText(79), {right.number(), right.number()}), EBADMSG);
  EXPECT_EQ(statusOf(GetParam(), messageText(79), std::vector<int>(250, right.number())), EBADMSG);
}

TEST_P(MessageReceiveOf, ARightThatIsNoLocalStreamSocketIsMalformed) {
  const FileDescriptor file(::open("/dev/null", O_RDWR | O_CLOEXEC));
  const FileDescriptor packets(::socket(AF_UNIX, SOCK_SEQPACKET, 0));
  const FileDescriptor network(::socket(AF_INET, SOCK_STREAM, 0));
  const Result<Pipe> pipe = createPipe();
  ASSERT_TRUE(pipe);
  for (const FileDescriptor *wrong : {&file, &packets, &network, &pipe->writeEnd}) {
    ASSERT_TRUE(*wrong);
    EXPECT_EQ(statusOf(GetParam(), messageText(79), {wrong->number()}), EBADMSG);
  }
}

TEST_P(MessageReceiveOf, ARightThatTheSystemSaysNothingAboutIsNotMalformed) {
  class Silent final : public OperatingSystem {
    int socketOption(int socket, int option, void *value, socklen_t size) override {
      errno = ENOBUFS;
      return option == SO_DOMAIN ? -1 : OperatingSystem::socketOption(socket, option, value, size);
    }
  } system;
  const ScopedOperatingSystem inForce(system);
  EXPECT_EQ(statusOf(GetParam(), messageText(79), {carriedSocket().number()}), ENOBUFS);
}

TEST_P(MessageReceiveOf, TheEndOfThePortIsAnErrorOfItsOwn) {
  PortToFarSide port(GetParam());
  port.far.reset();
  PortMessage message;
  EXPECT_EQ(port.receive(message), ECONNRESET);
}

TEST(MessageReceive, AnEndBeforeTheWholeMessageClosesTheRight) {
  PortToFarSide port(SOCK_STREAM);
  const FileDescriptor right = carriedSocket();
  const auto before = openDescriptorCount();
  ASSERT_TRUE(sendRaw(port.far.number(), messageText(79).substr(0, 31), {right.number()}));
  port.far.reset();
  PortMessage message;
  EXPECT_EQ(port.receive(message), ECONNRESET);
  EXPECT_EQ(openDescriptorCount(), before - 1); // the far end, closed by the test
}

TEST(MessageReceive, ARightThatComesLaterThanTheFirstByteIsMalformed) {
  const PortToFarSide port(SOCK_STREAM);
  const FileDescriptor right = carriedSocket();
  const auto before = openDescriptorCount();
  const std::string text = messageText(79);
  ASSERT_TRUE(sendRaw(port.far.number(), text.substr(0, 16)));
  ASSERT_TRUE(sendRaw(port.far.number(), text.substr(16), {right.number()}));
  PortMessage message;
  EXPECT_EQ(port.receive(message), EBADMSG);
  EXPECT_EQ(openDescriptorCount(), before);
}

TEST(MessageReceive, TakesTheRightThatComesAfterAnotherControlMessage) {
  for (const int type : {SOCK_SEQPACKET, SOCK_STREAM}) {
    const PortToFarSide port(type);
    const int on = 1; // the kernel puts the sender's credentials in front
    ASSERT_EQ(::setsockopt(receiveDescriptor(port.port), SOL_SOCKET, SO_PASSCRED, &on, sizeof on),
              0);
    const FileDescriptor carried = carriedSocket();
    ASSERT_TRUE(sendRaw(port.far.number(), messageText(79), {carried.number()}));
    PortMessage message;
    EXPECT_EQ(port.receive(message), 0);
    EXPECT_GE(sendDescriptor(message.port), 0);
    port_deallocate(message.port);
  }
}

TEST(MessageReceive, WithoutAReceiveRightIsRefused) {
  PortMessage message;
  message.msg_local_port = task_self();
  EXPECT_EQ(msg_receive(message, 0, 0), EBADF);
}

} // namespace
} // namespace tesker
