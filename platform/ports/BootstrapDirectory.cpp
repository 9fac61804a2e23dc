#include "platform/ports/BootstrapDirectory.h"

#include "platform/foundation/OperatingSystem.h"
#include "platform/ports/Bootstrap.h"

#include <algorithm>
#include <cerrno>
#include <sys/socket.h>
#include <unistd.h>

namespace tesker {

namespace {

constexpr const char *kNameInParent = "bootstrap";

// Where everybody may write, so the directory inside is checked as well.
std::string parentInTmp() { return "/tmp/tesker-" + std::to_string(::geteuid()); }

// What a failed open(2) says about the directory.
kern_return_t statusOfRefusal(int error) {
  switch (error) {
  case ENOENT:
    return BOOTSTRAP_UNKNOWN_SERVICE;
  case ENOTDIR: // a link or a file in its place
  case ELOOP:
  case EACCES:
  case EPERM:
    return BOOTSTRAP_NOT_PRIVILEGED;
  default:
    return error;
  }
}

// Fails with the status.
Result<FileDescriptor> openPrivateDirectory(int above, const char *name) {
  OperatingSystem &system = OperatingSystem::current();
  FileDescriptor opened(system.openAt(above, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW));
  if (!opened)
    return Failure{statusOfRefusal(errno)};
  struct stat status {};
  if (system.statDescriptor(opened.number(), status) < 0)
    return Failure{errno};
  if (status.st_uid != ::geteuid() || (status.st_mode & 0777) != 0700)
    return Failure{BOOTSTRAP_NOT_PRIVILEGED};
  return opened;
}

} // namespace

std::string bootstrapDirectory() {
  if (const auto directory = environmentValue("TESKER_BOOTSTRAP_DIR"))
    return *directory;
  if (const auto directory = environmentValue("XDG_RUNTIME_DIR"))
    return *directory + "/tesker/bootstrap";
  return parentInTmp() + "/" + kNameInParent;
}

Result<BootstrapDirectory> BootstrapDirectory::open(const std::string &path) {
  const std::string parent = parentInTmp();
  const bool isInTmp = path == parent + "/" + kNameInParent;
  Result<FileDescriptor> opened =
      openPrivateDirectory(AT_FDCWD, isInTmp ? parent.c_str() : path.c_str());
  if (opened && isInTmp)
    opened = openPrivateDirectory(opened->number(), kNameInParent);
  if (!opened)
    return opened.failure();
  return BootstrapDirectory(std::move(*opened));
}

std::optional<sockaddr_un> BootstrapDirectory::addressOf(std::string_view name) const {
  if (name.empty() || name.find('/') != std::string_view::npos ||
      name.find('\0') != std::string_view::npos)
    return std::nullopt;
  const std::string path = wayThroughDescriptor() + "/" + std::string(name);
  sockaddr_un address{};
  if (path.size() >= sizeof address.sun_path)
    return std::nullopt;
  address.sun_family = AF_UNIX;
  std::copy(path.begin(), path.end(), address.sun_path);
  return address;
}

Result<> BootstrapDirectory::reach() const {
  if (OperatingSystem::current().access(wayThroughDescriptor().c_str(), F_OK) < 0)
    return Failure{errno};
  return {};
}

std::string BootstrapDirectory::wayThroughDescriptor() const {
  return "/proc/self/fd/" + std::to_string(descriptor());
}

} // namespace tesker
