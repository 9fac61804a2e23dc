#include "platform/ports/Port.h"

#include <array>
#include <cerrno>
#include <limits>
#include <map>
#include <mutex>
#include <sys/socket.h>

namespace tesker {

namespace {

struct Rights {
  FileDescriptor receive;
  FileDescriptor send;
};

// What the process holds, for all of its threads.
class PortTable {
public:
  // Never destroyed, since the process may end while ports are in use.
  static PortTable &ofTask() {
    static auto &table = *new PortTable;
    return table;
  }

  // The next number, or PORT_NULL after the last.
  port_t unusedNumber() {
    const std::lock_guard lock(mutex_);
    return nextNumber();
  }
  port_t add(Rights rights) {
    const std::lock_guard lock(mutex_);
    const port_t port = nextNumber();
    if (port != PORT_NULL)
      table_.emplace(port, std::move(rights));
    return port;
  }
  // What the function gives for the port's rights; without any, where the task holds none.
  template <class Function> auto with(port_t port, Function function) {
    const std::lock_guard lock(mutex_);
    const auto found = table_.find(port);
    Rights none;
    return function(found != table_.end() ? found->second : none);
  }
  void remove(port_t port) {
    const std::lock_guard lock(mutex_);
    table_.erase(port);
  }

private:
  port_t nextNumber() { return last_ == std::numeric_limits<port_t>::max() ? PORT_NULL : ++last_; }

  std::mutex mutex_;
  std::map<port_t, Rights> table_;
  port_t last_ = PORT_NULL;
};

} // namespace

port_t task_self() {
  static const port_t self = PortTable::ofTask().unusedNumber();
  return self;
}

port_t bootstrap_port() {
  static const port_t nameServer = PortTable::ofTask().unusedNumber();
  return nameServer;
}

kern_return_t port_allocate(port_t task, port_t &port) {
  if (task != task_self())
    return EINVAL;
  std::array<int, 2> ends{};
  if (OperatingSystem::current().createSocketPair(SOCK_STREAM, ends) < 0)
    return errno;
  const port_t allocated =
      PortTable::ofTask().add({FileDescriptor(ends[0]), FileDescriptor(ends[1])});
  if (allocated == PORT_NULL)
    return EAGAIN;
  port = allocated;
  return KERN_SUCCESS;
}

port_t portForReceiveRight(FileDescriptor socket) {
  return PortTable::ofTask().add({std::move(socket), {}});
}

port_t portForSendRight(FileDescriptor socket) {
  return PortTable::ofTask().add({{}, std::move(socket)});
}

int receiveDescriptor(port_t port) {
  return PortTable::ofTask().with(port, [](Rights &rights) { return rights.receive.number(); });
}

int sendDescriptor(port_t port) {
  return PortTable::ofTask().with(port, [](Rights &rights) { return rights.send.number(); });
}

FileDescriptor takeReceiveRight(port_t port) {
  return PortTable::ofTask().with(port, [](Rights &rights) { return std::move(rights.receive); });
}

FileDescriptor takeSendRight(port_t port) {
  return PortTable::ofTask().with(port, [](Rights &rights) { return std::move(rights.send); });
}

void port_deallocate(port_t port) { PortTable::ofTask().remove(port); }

} // namespace tesker
