#include "platform/ports/BootstrapDirectory.h"

#include "platform/ports/Bootstrap.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tesker {

namespace {

constexpr const char *kNameInParent = "bootstrap";

// Nil when the variable is unset or empty.
const char *environmentValue(const char *variable) {
  const char *value = std::getenv(variable);
  return value != nullptr && *value != '\0' ? value : nullptr;
}

// Where everybody may write, so the directory inside is checked as well.
std::string parentInTmp() { return "/tmp/tesker-" + std::to_string(::geteuid()); }

kern_return_t openPrivateDirectory(int above, const char *name, FileDescriptor &directory) {
  FileDescriptor opened(::openat(above, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  if (!opened)
    return errno == ENOENT ? BOOTSTRAP_UNKNOWN_SERVICE : BOOTSTRAP_NOT_PRIVILEGED;
  struct stat status {};
  if (OperatingSystem::current().statDescriptor(opened.get(), status) < 0 ||
      status.st_uid != ::geteuid() || (status.st_mode & 0777) != 0700)
    return BOOTSTRAP_NOT_PRIVILEGED;
  directory = std::move(opened);
  return BOOTSTRAP_SUCCESS;
}

} // namespace

std::string bootstrapDirectory() {
  if (const char *directory = environmentValue("TESKER_BOOTSTRAP_DIR"))
    return directory;
  if (const char *directory = environmentValue("XDG_RUNTIME_DIR"))
    return std::string(directory) + "/tesker/bootstrap";
  return parentInTmp() + "/" + kNameInParent;
}

kern_return_t openBootstrapDirectory(const std::string &path, FileDescriptor &directory) {
  const std::string parent = parentInTmp();
  if (path != parent + "/" + kNameInParent)
    return openPrivateDirectory(AT_FDCWD, path.c_str(), directory);
  FileDescriptor above;
  const kern_return_t status = openPrivateDirectory(AT_FDCWD, parent.c_str(), above);
  if (status != BOOTSTRAP_SUCCESS)
    return status;
  return openPrivateDirectory(above.get(), kNameInParent, directory);
}

std::optional<sockaddr_un> serviceAddress(const FileDescriptor &directory, std::string_view name) {
  if (name.empty() || name.find('/') != std::string_view::npos ||
      name.find('\0') != std::string_view::npos)
    return std::nullopt;
  const std::string path =
      "/proc/self/fd/" + std::to_string(directory.get()) + "/" + std::string(name);
  sockaddr_un address{};
  if (path.size() >= sizeof address.sun_path)
    return std::nullopt;
  address.sun_family = AF_UNIX;
  std::copy(path.begin(), path.end(), address.sun_path);
  return address;
}

bool isTrustedPeer(const FileDescriptor &socket) {
  ucred peer{};
  socklen_t size = sizeof peer;
  return ::getsockopt(socket.get(), SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0 &&
         (peer.uid == ::geteuid() || peer.uid == 0);
}

bool hasHungUp(int socket) {
  if (socket < 0)
    return true;
  pollfd descriptor{socket, 0, 0}; // a hang-up is always reported
  return OperatingSystem::current().poll(&descriptor, 1, 0) > 0;
}

} // namespace tesker
