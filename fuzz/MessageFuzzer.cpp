// MessageFuzzer.cpp - receives what the input sends (MessageParts.h) over a socket of either type.
// No descriptor is left behind.
#include "fuzz/Check.h"
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

void receiveAll(Input input) {
  const unsigned choice = input.byte();
  test::SocketPair pair(choice % 2 == 0 ? SOCK_SEQPACKET : SOCK_STREAM);
  const port_t port = portForReceiveRight(std::move(pair.near));
  sendParts(pair.far.number(), input, Descriptors());
  if (choice / 2 % 2 == 0)
    pair.far.reset();
  while (receiveOne(port)) {
  }
  port_deallocate(port);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  const auto before = test::openDescriptorCount();
  receiveAll(Input(data, size));
  check(test::openDescriptorCount() == before);
  return 0;
}
