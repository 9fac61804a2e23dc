#include "platform/ports/Bootstrap.h"

#include "platform/ports/BootstrapDirectory.h"

#include <cerrno>
#include <map>
#include <poll.h>
#include <sys/socket.h>

namespace tesker {

namespace {

// The send rights that look-ups have made, by name. Never destroyed, as the ports.
std::map<std::string, port_t, std::less<>> &rememberedServices() {
  static auto &services = *new std::map<std::string, port_t, std::less<>>;
  return services;
}

kern_return_t connectToService(std::string_view name, FileDescriptor &connection) {
  FileDescriptor directory;
  const kern_return_t status = openBootstrapDirectory(bootstrapDirectory(), directory);
  if (status != BOOTSTRAP_SUCCESS)
    return status;
  const auto address = serviceAddress(directory, name);
  if (!address)
    return BOOTSTRAP_UNKNOWN_SERVICE;
  FileDescriptor socket(::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0));
  if (!socket)
    return BOOTSTRAP_UNKNOWN_SERVICE;
  const auto *where = reinterpret_cast<const sockaddr *>(&*address);
  while (::connect(socket.get(), where, sizeof *address) < 0)
    if (errno != EINTR)
      return errno == EACCES || errno == EPERM ? BOOTSTRAP_NOT_PRIVILEGED
                                               : BOOTSTRAP_UNKNOWN_SERVICE;
  if (!isTrustedPeer(socket))
    return BOOTSTRAP_NOT_PRIVILEGED;
  connection = std::move(socket);
  return BOOTSTRAP_SUCCESS;
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
    FileDescriptor connection;
    if (const kern_return_t status = connectToService(name, connection); status != 0)
      return status;
    const port_t port = portForSendRight(std::move(connection));
    if (port == PORT_NULL)
      return BOOTSTRAP_UNKNOWN_SERVICE;
    remembered = services.emplace(name, port).first;
  }
  service = remembered->second;
  return BOOTSTRAP_SUCCESS;
}

} // namespace tesker
