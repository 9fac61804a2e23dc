// BootstrapService.h - the side of a service: listening under a name (Bootstrap.h).
#pragma once

#include "platform/foundation/Result.h"
#include "platform/ports/Bootstrap.h"
#include "platform/ports/Port.h"

#include <memory>
#include <string>
#include <string_view>
#include <sys/types.h>
#include <vector>

namespace tesker {

// Listens under a name for as long as it lives, and keeps the connections of those who looked it up
// open, which is how they see that the service lives. At the end the socket is removed, unless
// another one has taken its place meanwhile.
class BootstrapService {
public:
  // So many connections are kept at a time. A process that looks a service up needs one, and a
  // second when the first has broken; more would be a way to use up this process's descriptors.
  static constexpr std::size_t kMostConnections = 16;

  // Listens under the name in the directory, which is made with mode 0700 if it is missing, with
  // all that is missing above it. A socket that nobody listens on any more is replaced. Fails with
  // 1100 when the directory is not to be trusted; with 1101 when something is there under the name:
  // a service that lives, or something that is not a socket; or else with the errno, EWOULDBLOCK
  // when the directory stayed locked (flock(2)) for two seconds.
  [[nodiscard]] static Result<std::unique_ptr<BootstrapService>>
  checkIn(const std::string &directory, std::string_view name);
  ~BootstrapService();
  BootstrapService(const BootstrapService &) = delete;
  BootstrapService &operator=(const BootstrapService &) = delete;

  // Readable when somebody has looked the service up: for poll(2).
  int descriptor() const { return listener_.number(); }

  // Takes the next one who has looked the service up, without waiting: a port with the receive
  // right for that one's messages, which stays the service's own. PORT_NULL when nobody waits, or
  // when the connection was closed at once: its process belongs to another user, or
  // kMostConnections are there already. Connections that ended meanwhile are given up; their
  // numbers then have no right any more. Fails with the errno when the system refuses, such as
  // EMFILE, where the one who waits goes on waiting.
  [[nodiscard]] Result<port_t> acceptConnection();

private:
  BootstrapService(BootstrapDirectory directory, std::string name);
  void setListener(FileDescriptor listener);

  BootstrapDirectory directory_;
  std::string name_;
  FileDescriptor listener_;
  dev_t device_ = 0; // of the socket's name
  ino_t inode_ = 0;
  std::vector<port_t> accepted_;
};

} // namespace tesker
