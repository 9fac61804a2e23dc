#include "platform/ports/Bootstrap.h"

#include "platform/ports/BootstrapDirectory.h"
#include "platform/ports/ServiceSocket.h"

#include <cerrno>
#include <functional>
#include <map>
#include <string>

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
  if (!isTrustedPeer(socket))
    return Failure{BOOTSTRAP_NOT_PRIVILEGED};
  return socket;
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

} // namespace tesker
