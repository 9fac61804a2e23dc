#include "platform/foundation/SocketCalls.h"

#include "platform/foundation/Resumed.h"

namespace tesker {

namespace {

const sockaddr *generic(const sockaddr_un &address) {
  return reinterpret_cast<const sockaddr *>(&address);
}

} // namespace

int SocketCalls::createSocket(int type) { return ::socket(AF_UNIX, type | SOCK_CLOEXEC, 0); }

int SocketCalls::createSocketPair(int type, std::array<int, 2> &ends) {
  return ::socketpair(AF_UNIX, type | SOCK_CLOEXEC, 0, ends.data());
}

int SocketCalls::bind(int socket, const sockaddr_un &address) {
  return ::bind(socket, generic(address), sizeof address);
}

int SocketCalls::listen(int socket) { return ::listen(socket, SOMAXCONN); }

int SocketCalls::connect(int socket, const sockaddr_un &address) {
  return resumed([&] { return ::connect(socket, generic(address), sizeof address); });
}

int SocketCalls::accept(int socket) {
  return resumed([&] { return ::accept4(socket, nullptr, nullptr, SOCK_CLOEXEC); });
}

int SocketCalls::socketOption(int socket, int option, void *value, socklen_t size) {
  return ::getsockopt(socket, SOL_SOCKET, option, value, &size);
}

ssize_t SocketCalls::sendMessage(int socket, const msghdr &message, int flags) {
  return resumed([&] { return ::sendmsg(socket, &message, flags | MSG_NOSIGNAL); });
}

ssize_t SocketCalls::receiveMessage(int socket, msghdr &message, int flags) {
  return resumed([&] { return ::recvmsg(socket, &message, flags | MSG_CMSG_CLOEXEC); });
}

ssize_t SocketCalls::send(int socket, const void *bytes, std::size_t size, int flags) {
  iovec piece{const_cast<void *>(bytes), size};
  msghdr message{};
  message.msg_iov = &piece;
  message.msg_iovlen = 1;
  return sendMessage(socket, message, flags);
}

ssize_t SocketCalls::receive(int socket, void *bytes, std::size_t size, int flags) {
  iovec piece{bytes, size};
  msghdr message{};
  message.msg_iov = &piece;
  message.msg_iovlen = 1;
  return receiveMessage(socket, message, flags);
}

} // namespace tesker
