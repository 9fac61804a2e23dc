// NSRunLoop.h - waits for what arrives and has it served.
#pragma once

#include <vector>

namespace tesker {

class NSConnection;

// There is one run loop, the current one.
class NSRunLoop {
public:
  [[nodiscard]] static NSRunLoop &currentRunLoop();

  // Serves the connection until it is removed, which the connection does itself when it goes.
  void addConnection(NSConnection &connection);
  void removeConnection(const NSConnection &connection);

  // Serves the connections until the last one has ended. Exceptions out of the objects called leave
  // through here; the loop can be run again.
  void run();

private:
  [[nodiscard]] bool dispatchAll();

  std::vector<NSConnection *> connections_;
};

} // namespace tesker
