// ServiceSocket.h - the sockets between services and those who look them up.
// Internal to the bootstrap names.
#pragma once

#include "platform/foundation/FileDescriptor.h"

#include <sys/socket.h>
#include <sys/un.h>

namespace tesker {

// A new packet socket, close-on-exec, with further flags of socket(2); none, and errno, when the
// system refuses.
[[nodiscard]] FileDescriptor createServiceSocket(int flags = 0);

// As connect(2) and bind(2); fail with the errno.
[[nodiscard]] Result<> connectTo(const sockaddr_un &address, const FileDescriptor &socket);
[[nodiscard]] Result<> bindTo(const sockaddr_un &address, const FileDescriptor &socket);

// True when the other end of the connected socket belongs to this process's effective user or root.
[[nodiscard]] bool isTrustedPeer(const FileDescriptor &socket);

// True when the other end of the socket is gone, or there is no socket. One poll, without waiting.
[[nodiscard]] bool hasHungUp(int socket);

} // namespace tesker
