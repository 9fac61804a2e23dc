// BootstrapDirectory.h - the directory and the sockets behind Bootstrap.h, as both sides see them.
// Internal to Bootstrap.h.
//
// Threading: one thread. Nothing is logged.
#pragma once

#include "platform/ports/Port.h"

#include <optional>
#include <string>
#include <string_view>
#include <sys/un.h>

namespace tesker {

// Opens the directory and checks what was opened, so that nothing can be put in its place later.
// Answers 0, 1102 when it does not exist, 1100 when it is not to be trusted or cannot be opened.
[[nodiscard]] kern_return_t openBootstrapDirectory(const std::string &path,
                                                   FileDescriptor &directory);

// The socket's address under the name in the open directory, by way of the descriptor, so that no
// directory is too far down for a socket address; it holds while the descriptor is open. Nothing
// for a name that cannot be a file's, or is too long.
[[nodiscard]] std::optional<sockaddr_un> serviceAddress(const FileDescriptor &directory,
                                                        std::string_view name);

// True when the other end of the connected socket belongs to this process's effective user or root.
[[nodiscard]] bool isTrustedPeer(const FileDescriptor &socket);

// True when the other end of the socket is gone, or there is no socket. One poll, without waiting.
[[nodiscard]] bool hasHungUp(int socket);

} // namespace tesker
