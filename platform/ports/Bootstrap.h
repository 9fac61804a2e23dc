// Bootstrap.h - services found by name.
//
// A directory stands for the name space: $TESKER_BOOTSTRAP_DIR, else
// $XDG_RUNTIME_DIR/tesker/bootstrap, else /tmp/tesker-UID/bootstrap; an empty variable counts as
// unset. It must be a directory, not a link to one, of the effective user with permission bits
// exactly 0700; in /tmp its parent too. A service is a listening AF_UNIX/SOCK_SEQPACKET socket of
// the service's name in it. Both sides talk to the same user or root only.
// Threading: one thread. Nothing is logged.
#pragma once

#include "platform/ports/Port.h"

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace tesker {

inline constexpr kern_return_t BOOTSTRAP_SUCCESS = 0;
inline constexpr kern_return_t BOOTSTRAP_NOT_PRIVILEGED = 1100;
inline constexpr kern_return_t BOOTSTRAP_NAME_IN_USE = 1101;
inline constexpr kern_return_t BOOTSTRAP_UNKNOWN_SERVICE = 1102;

// The name of the master's service.
inline constexpr std::string_view kMasterServiceName = "Miniapp_boot_port";

// The directory that stands for the name space, from the environment as it is now.
[[nodiscard]] std::string bootstrapDirectory();

// Stores a send right to the service: the remembered one while its far side lives (one poll), else
// a new connection, which is remembered in its place. The right stays the look-up's own. Answers 0;
// 1100 when the directory, the socket or the service's user is not to be trusted; 1102 when the
// directory or the service does not exist or nobody listens. On failure nothing is stored.
[[nodiscard]] kern_return_t bootstrap_look_up(port_t bootstrap, std::string_view name,
                                              port_t &service);

// The service's side: listens under a name for as long as the object lives, and keeps the
// connections of those who looked it up open, which is how they see that the service lives. At the
// end the socket is removed, unless another one has taken its place meanwhile.
class BootstrapService {
public:
  // Listens under the name in the directory, which is made with mode 0700 if it is missing, with
  // all that is missing above it. A socket that nobody listens on any more is replaced. Stores the
  // service and answers 0; 1100 when the directory is not to be trusted; 1101 when something is
  // there under the name: a service that lives, or no socket at all; or else the positive errno,
  // EWOULDBLOCK when the directory stayed locked (flock(2)) for two seconds.
  [[nodiscard]] static kern_return_t checkIn(const std::string &directory, std::string_view name,
                                             std::unique_ptr<BootstrapService> &service);
  ~BootstrapService();
  BootstrapService(const BootstrapService &) = delete;
  BootstrapService &operator=(const BootstrapService &) = delete;

  // Readable when somebody has looked the service up: for poll(2).
  int descriptor() const { return listener_.get(); }

  // Takes the next one who has looked the service up, without waiting: a port with the receive
  // right for that one's messages, which stays the service's own. PORT_NULL when nobody waits, or
  // the one who does belongs to another user (then the connection is closed). Connections that
  // ended meanwhile are given up; their numbers then have no right any more.
  [[nodiscard]] port_t acceptConnection();

private:
  BootstrapService(FileDescriptor directory, std::string name, FileDescriptor listener);

  FileDescriptor directory_;
  std::string name_;
  FileDescriptor listener_;
  unsigned long long device_ = 0, inode_ = 0; // of the socket's name
  std::vector<port_t> accepted_;
};

} // namespace tesker
