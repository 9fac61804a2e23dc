#include "platform/ports/Port.h"

#include <array>
#include <cerrno>
#include <limits>
#include <map>
#include <sys/socket.h>

namespace tesker {

namespace {

struct Rights {
  FileDescriptor receive;
  FileDescriptor send;
};

// Never destroyed, since the process may end while ports are in use.
std::map<port_t, Rights> &portTable() {
  static auto &table = *new std::map<port_t, Rights>;
  return table;
}

// The next number, or PORT_NULL after the last.
port_t unusedNumber() {
  static port_t last = PORT_NULL;
  return last == std::numeric_limits<port_t>::max() ? PORT_NULL : ++last;
}

port_t portForRights(Rights rights) {
  const port_t port = unusedNumber();
  if (port != PORT_NULL)
    portTable().emplace(port, std::move(rights));
  return port;
}

// Nil when the task holds nothing of the port.
Rights *rightsOf(port_t port) {
  const auto found = portTable().find(port);
  return found != portTable().end() ? &found->second : nullptr;
}

} // namespace

port_t task_self() {
  static const port_t self = unusedNumber();
  return self;
}

port_t bootstrap_port() {
  static const port_t nameServer = unusedNumber();
  return nameServer;
}

kern_return_t port_allocate(port_t task, port_t &port) {
  if (task != task_self())
    return EINVAL;
  std::array<int, 2> ends{};
  if (OperatingSystem::current().createSocketPair(SOCK_STREAM, ends) < 0)
    return errno;
  const port_t allocated = portForRights({FileDescriptor(ends[0]), FileDescriptor(ends[1])});
  if (allocated == PORT_NULL)
    return EAGAIN;
  port = allocated;
  return KERN_SUCCESS;
}

port_t portForReceiveRight(FileDescriptor socket) { return portForRights({std::move(socket), {}}); }

port_t portForSendRight(FileDescriptor socket) { return portForRights({{}, std::move(socket)}); }

int receiveDescriptor(port_t port) {
  const Rights *rights = rightsOf(port);
  return rights != nullptr ? rights->receive.number() : -1;
}

int sendDescriptor(port_t port) {
  const Rights *rights = rightsOf(port);
  return rights != nullptr ? rights->send.number() : -1;
}

FileDescriptor takeReceiveRight(port_t port) {
  Rights *rights = rightsOf(port);
  return rights != nullptr ? std::move(rights->receive) : FileDescriptor();
}

FileDescriptor takeSendRight(port_t port) {
  Rights *rights = rightsOf(port);
  return rights != nullptr ? std::move(rights->send) : FileDescriptor();
}

void port_deallocate(port_t port) { portTable().erase(port); }

} // namespace tesker
