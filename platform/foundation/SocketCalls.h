// SocketCalls.h - the system calls that sockets take.
//
// A part of OperatingSystem.h, which says how they answer. All sockets are of AF_UNIX, and
// close-on-exec; so are descriptors that come in a message. Nothing sent raises SIGPIPE.
#pragma once

#include <array>
#include <cstddef>
#include <sys/socket.h>
#include <sys/types.h>
#include <sys/un.h>

namespace tesker {

class SocketCalls {
public:
  virtual int createSocket(int type);
  virtual int createSocketPair(int type, std::array<int, 2> &ends);
  virtual int bind(int socket, const sockaddr_un &address);
  virtual int listen(int socket);
  virtual int connect(int socket, const sockaddr_un &address);
  virtual int accept(int socket);
  // The value of an option of SOL_SOCKET, which has to be of the given size.
  virtual int socketOption(int socket, int option, void *value, socklen_t size);
  virtual ssize_t sendMessage(int socket, const msghdr &message, int flags);
  virtual ssize_t receiveMessage(int socket, msghdr &message, int flags);
  // The same for bytes alone; descriptors that come along are closed.
  ssize_t send(int socket, const void *bytes, std::size_t size, int flags);
  ssize_t receive(int socket, void *bytes, std::size_t size, int flags);

protected:
  ~SocketCalls() = default;
};

} // namespace tesker
