// MessageFuzzer.cpp - receives what the input sends (MessageParts.h) over a socket of either type,
// and sends until the far side takes nothing any longer. No descriptor is left behind.
//
// The input's first byte says which type it is, and in bits 1 to 4 whether the far side has gone,
// whether it is sent to, and whether system calls fail (FailingCalls.h).
#include "fuzz/Check.h"
#include "fuzz/FailingCalls.h"
#include "fuzz/MessageParts.h"
#include "platform/ports/Message.h"

#include <cerrno>
#include <cstdint>

using namespace tesker;

namespace {

// One message. False at the port's end, and when there is nothing to receive.
bool receiveOne(port_t port) {
  PortMessage message;
  message.msg_local_port = port;
  const PortMessage before = message;
  const int status = msg_receive(message, kReceiveTimeout, 0);
  if (status != 0) {
    check(message == before);
    return status == EBADMSG;
  }
  check(message.msg_local_port == port && message.msg_remote_port == PORT_NULL);
  check(sendDescriptor(message.port) >= 0 && decode(encode(message)) == message);
  port_deallocate(message.port);
  return true;
}

// As many messages as there is room for. What carries a port is the receiver's afterwards.
void sendAll(port_t port, const FailingCalls &failing) {
  constexpr int kMost = 10000; // far more than there is room for
  port_t carried = PORT_NULL;
  PortMessage message;
  check(msg_receive(message, kReceiveTimeout, 0) == EBADF);
  check(port_allocate(PORT_NULL, carried) == EINVAL);
  check(msg_send(messageCarrying(carried, port, 1), kSendTimeout, 0) == EINVAL);
  check(msg_send(messageCarrying(carried, PORT_NULL, 1), kSendTimeout, 0) == EBADF);
  int status = 0;
  for (int i = 0; i < kMost && status == 0; ++i) {
    if (port_allocate(task_self(), carried) != 0)
      return check(failing.hasFailed());
    status = msg_send(messageCarrying(carried, port, 1), kSendTimeout, 0);
    check((sendDescriptor(carried) < 0) == (status == 0));
    port_deallocate(carried);
  }
  check(status == ETIMEDOUT || status == EPIPE || status == ECONNRESET || status == ETOOMANYREFS ||
        failing.hasFailed());
}

void tryPort(Input input) {
  const unsigned choice = input.byte();
  Input none("");
  FailingCalls failing(choice / 8 % 2 != 0 ? input : none);
  test::SocketPair pair(choice % 2 == 0 ? SOCK_SEQPACKET : SOCK_STREAM);
  const port_t port = portForReceiveRight(std::move(pair.near));
  sendParts(pair.far.number(), input, Descriptors());
  if (choice / 2 % 2 == 0)
    pair.far.reset();
  const ScopedOperatingSystem scoped(failing);
  while (receiveOne(port)) {
  }
  if (choice / 4 % 2 != 0) {
    const port_t target = portForSendRight(takeReceiveRight(port));
    sendAll(target, failing);
    port_deallocate(target);
  }
  port_deallocate(port);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  const auto before = test::openDescriptorCount();
  tryPort(Input(data, size));
  check(test::openDescriptorCount() == before);
  return 0;
}
