// BootstrapDirectory.h - the directory that stands for the name space of services.
//
// It is $TESKER_BOOTSTRAP_DIR, else $XDG_RUNTIME_DIR/tesker/bootstrap, else
// /tmp/tesker-UID/bootstrap; an empty variable counts as unset. It must be a directory, not a link
// to one, of the effective user with permission bits exactly 0700; in /tmp its parent too. A
// service is a listening AF_UNIX/SOCK_SEQPACKET socket of the service's name in it.
#pragma once

#include "platform/foundation/FileDescriptor.h"

#include <optional>
#include <string>
#include <string_view>
#include <sys/un.h>

namespace tesker {

// The path, from the environment as it is now.
[[nodiscard]] std::string bootstrapDirectory();

class BootstrapDirectory {
public:
  // Opens the directory and checks what was opened, so that nothing can be put in its place later.
  // Fails with 1102 when it does not exist, with 1100 when it is not to be trusted or may not be
  // opened, or with the errno when the system refuses what it takes to find out (Bootstrap.h).
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

} // namespace tesker
