#include "protocol/AuthenticationGate.h"

#include <array>
#include <cerrno>
#include <fcntl.h>
#include <span>
#include <sys/socket.h>
#include <sys/uio.h>
#include <unistd.h>

namespace tesker {

namespace {

// As recv(2); -1 where descriptors have come along, which the kernel closes.
ssize_t takeWithoutDescriptors(int socket, std::span<char> bytes) {
  iovec piece{bytes.data(), bytes.size()};
  msghdr message{};
  message.msg_iov = &piece;
  message.msg_iovlen = 1;
  const ssize_t taken = ::recvmsg(socket, &message, MSG_DONTWAIT);
  return (message.msg_flags & MSG_CTRUNC) != 0 ? -1 : taken;
}

} // namespace

Result<AuthenticationGate> AuthenticationGate::before(FileDescriptor input) {
  AuthenticationGate gate(std::move(input));
  int ends[2] = {-1, -1};
  const int flags = ::fcntl(gate.descriptor(), F_GETFL);
  if (flags < 0 || ::fcntl(gate.descriptor(), F_SETFL, flags | O_NONBLOCK) < 0 ||
      ::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, ends) < 0)
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
  const ssize_t size = ::recv(input, bytes.data(), bytes.size(), MSG_PEEK | MSG_DONTWAIT);
  if (size < 0 && (errno == EAGAIN || errno == EINTR))
    return;
  if (size > 0) {
    const std::size_t length = lengthOfAnswer({bytes.data(), static_cast<std::size_t>(size)});
    const ssize_t taken = takeWithoutDescriptors(input, {bytes.data(), length});
    if (taken > 0 && ::send(ownEnd_.number(), bytes.data(), length, MSG_NOSIGNAL) == taken)
      return;
  }
  ownEnd_.reset(); // the library sees the end
}

bool AuthenticationGate::open(int libraryEnd) const {
  return ::dup3(input_.number(), libraryEnd, O_CLOEXEC) >= 0;
}

} // namespace tesker
