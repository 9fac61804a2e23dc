#include "platform/ports/Bootstrap.h"

#include "platform/foundation/OperatingSystem.h"

#include <algorithm>
#include <cerrno>
#include <functional>
#include <map>
#include <string>
#include <sys/socket.h>
#include <unistd.h>

namespace tesker {

namespace {

// The send rights that look-ups have made, by name. Never destroyed, as the ports.
std::map<std::string, port_t, std::less<>> &rememberedServices() {
  static auto &services = *new std::map<std::string, port_t, std::less<>>;
  return services;
}

// What a failed connect(2) in the directory says about the service.
kern_return_t statusOfRefusal(int error, const BootstrapDirectory &directory) {
  switch (error) {
  case EACCES:
  case EPERM:
    return BOOTSTRAP_NOT_PRIVILEGED;
  case ENOENT: // the socket, or else the way to it
    if (const Result<> reached = directory.reach(); !reached)
      return reached.error();
    return BOOTSTRAP_UNKNOWN_SERVICE;
  case ENOTDIR: // the name is a link that leads nowhere
  case ELOOP:
  case ECONNREFUSED: // not a socket, or nobody listens
  case EPROTOTYPE:   // a socket of another type
    return BOOTSTRAP_UNKNOWN_SERVICE;
  default:
    return error;
  }
}

// Fails with the status.
Result<FileDescriptor> connectToService(std::string_view name) {
  const Result<BootstrapDirectory> directory = BootstrapDirectory::open(bootstrapDirectory());
  if (!directory)
    return directory.failure();
  const auto address = directory->addressOf(name);
  if (!address)
    return Failure{BOOTSTRAP_UNKNOWN_SERVICE};
  FileDescriptor socket = createServiceSocket();
  if (!socket)
    return Failure{errno};
  if (const Result<> connected = connectTo(*address, socket); !connected)
    return Failure{statusOfRefusal(connected.error(), *directory)};
  if (const Result<> trusted = checkPeer(socket); !trusted)
    return trusted.failure();
  return socket;
}

constexpr const char *kNameInParent = "bootstrap";

// Where everybody may write, so the directory inside is checked as well.
std::string parentInTmp() {
  return "/tmp/tesker-" + std::to_string(OperatingSystem::current().effectiveUserId());
}

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

// The path without what its end may have and still name the same directory: behind a slash, or a
// slash and a dot, a link at the end would be followed.
std::string withoutTrailingSlashes(std::string path) {
  while (path.size() > 1 && (path.ends_with('/') || path.ends_with("/.")))
    path.pop_back();
  return path;
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
  if (status.st_uid != system.effectiveUserId() || (status.st_mode & 07777) != 0700)
    return Failure{BOOTSTRAP_NOT_PRIVILEGED};
  return opened;
}

} // namespace

kern_return_t bootstrap_look_up(port_t bootstrap, std::string_view name, port_t &service) {
  if (bootstrap != bootstrap_port())
    return BOOTSTRAP_NOT_PRIVILEGED;
  auto &services = rememberedServices();
  auto remembered = services.find(name);
  if (remembered != services.end() && hasHungUp(sendDescriptor(remembered->second))) {
    port_deallocate(remembered->second);
    services.erase(remembered);
    remembered = services.end();
  }
  if (remembered == services.end()) {
    Result<FileDescriptor> connection = connectToService(name);
    if (!connection)
      return connection.error();
    const port_t port = portForSendRight(std::move(*connection));
    if (port == PORT_NULL)
      return EAGAIN;
    remembered = services.emplace(name, port).first;
  }
  service = remembered->second;
  return BOOTSTRAP_SUCCESS;
}

std::string bootstrapDirectory() {
  if (const auto directory = environmentValue("TESKER_BOOTSTRAP_DIR"))
    return *directory;
  if (const auto directory = environmentValue("XDG_RUNTIME_DIR"))
    return *directory + "/tesker/bootstrap";
  return parentInTmp() + "/" + kNameInParent;
}

Result<BootstrapDirectory> BootstrapDirectory::open(const std::string &given) {
  const std::string path = withoutTrailingSlashes(given);
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

FileDescriptor createServiceSocket(int flags) {
  return FileDescriptor(OperatingSystem::current().createSocket(SOCK_SEQPACKET | flags));
}

Result<> connectTo(const sockaddr_un &address, const FileDescriptor &socket) {
  if (OperatingSystem::current().connect(socket.number(), address) < 0)
    return Failure{errno};
  return {};
}

Result<> bindTo(const sockaddr_un &address, const FileDescriptor &socket) {
  if (OperatingSystem::current().bind(socket.number(), address) < 0)
    return Failure{errno};
  return {};
}

Result<> checkPeer(const FileDescriptor &socket) {
  OperatingSystem &system = OperatingSystem::current();
  ucred peer{};
  if (system.socketOption(socket.number(), SO_PEERCRED, &peer, sizeof peer) != 0)
    return Failure{errno};
  if (peer.uid != system.effectiveUserId() && peer.uid != 0)
    return Failure{BOOTSTRAP_NOT_PRIVILEGED};
  return {};
}

bool hasHungUp(int socket) {
  if (socket < 0)
    return true;
  pollfd descriptor{socket, 0, 0}; // a hang-up is always reported
  return OperatingSystem::current().poll(&descriptor, 1, 0) > 0;
}

} // namespace tesker
