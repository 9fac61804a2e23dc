#include "protocol/NSRunLoop.h"

#include "protocol/NSConnection.h"

#include <algorithm>

namespace tesker {

NSRunLoop &NSRunLoop::currentRunLoop() {
  static auto &loop = *new NSRunLoop; // connections may outlive static objects
  return loop;
}

void NSRunLoop::addConnection(NSConnection &connection) {
  removeConnection(connection);
  connections_.push_back(&connection);
}

void NSRunLoop::removeConnection(const NSConnection &connection) {
  std::erase(connections_, &connection);
}

void NSRunLoop::run() {
  std::vector<pollfd> descriptors;
  for (;;) {
    if (dispatchAll())
      continue;
    descriptors.clear();
    int timeout = -1;
    for (const NSConnection *connection : connections_) {
      connection->appendPollDescriptors(descriptors);
      const int own = connection->pollTimeout();
      timeout = timeout < 0 ? own : (own < 0 ? timeout : std::min(timeout, own));
    }
    if (descriptors.empty())
      return;
    OperatingSystem::current().poll(descriptors.data(), descriptors.size(), timeout);
  }
}

// True when one of the connections may have more to do at once.
bool NSRunLoop::dispatchAll() {
  bool more = false;
  const std::vector<NSConnection *> connections = connections_;
  for (NSConnection *connection : connections)
    if (std::find(connections_.begin(), connections_.end(), connection) != connections_.end())
      more = connection->dispatch() || more;
  return more;
}

} // namespace tesker
