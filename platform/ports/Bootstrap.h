// Bootstrap.h - services found by name.
//
// Behind a name stands a socket in a directory, and a process that listens on it
// (BootstrapService.h). Both sides talk to processes of the same user or of root only.
#pragma once

#include "platform/foundation/Files.h"
#include "platform/ports/Port.h"

#include <optional>
#include <string>
#include <string_view>
#include <sys/socket.h>
#include <sys/un.h>

namespace tesker {

// What can be wrong with a name, its directory or its service. Other failures are the errno.
inline constexpr kern_return_t BOOTSTRAP_SUCCESS = 0;
inline constexpr kern_return_t BOOTSTRAP_NOT_PRIVILEGED = 1100;
inline constexpr kern_return_t BOOTSTRAP_NAME_IN_USE = 1101;
inline constexpr kern_return_t BOOTSTRAP_UNKNOWN_SERVICE = 1102;

// Stores a send right to the service: the remembered one while its far side lives (one poll), else
// a new connection, which is remembered in its place. The right stays the look-up's own. Answers 0;
// 1100 when the directory, the socket or the service's user is not to be trusted; 1102 when the
// directory or the service does not exist or nobody listens; the positive errno when the system
// refuses what a look-up needs, so that nothing is known about the service: EMFILE, or ENOENT where
// there is no /proc. On failure nothing is stored.
[[nodiscard]] kern_return_t bootstrap_look_up(port_t bootstrap, std::string_view name,
                                              port_t &service);

// ---- the directory that stands for the name space of services ----
//
// It is $TESKER_BOOTSTRAP_DIR, else $XDG_RUNTIME_DIR/tesker/bootstrap, else
// /tmp/tesker-UID/bootstrap; an empty variable counts as unset. It must be a directory, not a link
// to one, of the effective user with mode exactly 0700 (none of the special bits either); in /tmp
// its parent too. Slashes at the end of the path change nothing about that. A service is a
// listening AF_UNIX/SOCK_SEQPACKET socket of the service's name in it.

// The path, from the environment as it is now.
[[nodiscard]] std::string bootstrapDirectory();

class BootstrapDirectory {
public:
  // Opens the directory and checks what was opened, so that nothing can be put in its place later.
  // Fails with 1102 when it does not exist, with 1100 when it is not to be trusted or may not be
  // opened, or with the errno when the system refuses what it takes to find out (see above).
  [[nodiscard]] static Result<BootstrapDirectory> open(const std::string &path);

  int descriptor() const { return directory_.number(); }

  // The socket's address under the name, by way of the descriptor, so that no directory is too far
  // down for a socket address; it holds while this object lives. Nothing for a name that cannot be
  // a file's, or is too long.
  [[nodiscard]] std::optional<sockaddr_un> addressOf(std::string_view name) const;
  // Whether that way leads anywhere. Fails with the errno, as where there is no /proc.
  [[nodiscard]] Result<> reach() const;

private:
  explicit BootstrapDirectory(FileDescriptor directory) : directory_(std::move(directory)) {}
  std::string wayThroughDescriptor() const;

  FileDescriptor directory_;
};

// ---- the sockets between services and those who look them up ----

// A new packet socket, close-on-exec, with further flags of socket(2); none, and errno, when the
// system refuses.
[[nodiscard]] FileDescriptor createServiceSocket(int flags = 0);

// As connect(2) and bind(2); fail with the errno.
[[nodiscard]] Result<> connectTo(const sockaddr_un &address, const FileDescriptor &socket);
[[nodiscard]] Result<> bindTo(const sockaddr_un &address, const FileDescriptor &socket);

// Whether the other end of the connected socket belongs to this process's effective user or root.
// Fails with 1100 when it does not, and with the errno when the system does not tell.
[[nodiscard]] Result<> checkPeer(const FileDescriptor &socket);

// True when the other end of the socket is gone, or there is no socket. One poll, without waiting.
[[nodiscard]] bool hasHungUp(int socket);

} // namespace tesker
