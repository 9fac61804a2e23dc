#include "protocol/AuthenticationGate.h"

#include <array>
#include <cerrno>
#include <fcntl.h>
#include <span>
#include <sys/socket.h>

namespace tesker {

namespace {

// As recv(2); -1 where descriptors have come along, which the kernel closes.
ssize_t takeWithoutDescriptors(int socket, std::span<char> bytes) {
  iovec piece{bytes.data(), bytes.size()};
  msghdr message{};
  message.msg_iov = &piece;
  message.msg_iovlen = 1;
  const ssize_t taken = OperatingSystem::current().receiveMessage(socket, message, MSG_DONTWAIT);
  return (message.msg_flags & MSG_CTRUNC) != 0 ? -1 : taken;
}

} // namespace

Result<AuthenticationGate> AuthenticationGate::before(FileDescriptor input) {
  OperatingSystem &system = OperatingSystem::current();
  AuthenticationGate gate(std::move(input));
  std::array<int, 2> ends{};
  const int flags = system.control(gate.descriptor(), F_GETFL);
  if (flags < 0 || system.control(gate.descriptor(), F_SETFL, flags | O_NONBLOCK) < 0 ||
      system.createSocketPair(SOCK_STREAM | SOCK_NONBLOCK, ends) < 0)
    return Failure{errno};
  gate.ownEnd_ = FileDescriptor(ends[0]);
  gate.libraryEnd_ = FileDescriptor(ends[1]);
  return gate;
}

// How many of the bytes belong to the answer, which ends with its line.
std::size_t AuthenticationGate::lengthOfAnswer(std::string_view bytes) {
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    isComplete_ = last_ == '\r' && bytes[i] == '\n';
    last_ = bytes[i];
    if (isComplete_)
      return i + 1;
  }
  return bytes.size();
}

void AuthenticationGate::pass() {
  if (isComplete_)
    return;
  std::array<char, 256> bytes;
  const int input = input_.number();
  OperatingSystem &system = OperatingSystem::current();
  const ssize_t size = system.receive(input, bytes.data(), bytes.size(), MSG_PEEK | MSG_DONTWAIT);
  if (size < 0 && errno == EAGAIN)
    return;
  if (size > 0) {
    const std::size_t length = lengthOfAnswer({bytes.data(), static_cast<std::size_t>(size)});
    const ssize_t taken = takeWithoutDescriptors(input, {bytes.data(), length});
    if (taken > 0 && system.send(ownEnd_.number(), bytes.data(), length, 0) == taken)
      return;
  }
  ownEnd_.reset(); // the library sees the end
}

bool AuthenticationGate::open(int libraryEnd) const {
  return OperatingSystem::current().putInPlaceOf(input_.number(), libraryEnd) >= 0;
}

} // namespace tesker
