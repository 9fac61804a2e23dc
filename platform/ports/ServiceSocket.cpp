#include "platform/ports/ServiceSocket.h"

#include <cerrno>
#include <unistd.h>

namespace tesker {

namespace {

const sockaddr *generic(const sockaddr_un &address) {
  return reinterpret_cast<const sockaddr *>(&address);
}

} // namespace

FileDescriptor createServiceSocket(int flags) {
  return FileDescriptor(::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | flags, 0));
}

Result<> connectTo(const sockaddr_un &address, const FileDescriptor &socket) {
  while (::connect(socket.number(), generic(address), sizeof address) < 0)
    if (errno != EINTR)
      return Failure{errno};
  return {};
}

Result<> bindTo(const sockaddr_un &address, const FileDescriptor &socket) {
  if (::bind(socket.number(), generic(address), sizeof address) < 0)
    return Failure{errno};
  return {};
}

bool isTrustedPeer(const FileDescriptor &socket) {
  ucred peer{};
  socklen_t size = sizeof peer;
  return ::getsockopt(socket.number(), SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0 &&
         (peer.uid == ::geteuid() || peer.uid == 0);
}

bool hasHungUp(int socket) {
  if (socket < 0)
    return true;
  pollfd descriptor{socket, 0, 0}; // a hang-up is always reported
  return OperatingSystem::current().poll(&descriptor, 1, 0) > 0;
}

} // namespace tesker
