// NSPort.h - a Mach port as an object.
#pragma once

#include "platform/foundation/NSObject.h"
#include "platform/ports/Port.h"

namespace tesker {

// Owns what the task holds of the port, and gives it up when it goes. A connection made over the
// port takes its right out (NSConnection.h).
class NSPort final : public NSObject {
public:
  [[nodiscard]] static Ref<NSPort> portWithMachPort(port_t machPort) {
    return allocate<NSPort>(NSDefaultMallocZone(), machPort);
  }
  port_t machPort() const { return machPort_; }

private:
  friend NSObject;
  explicit NSPort(port_t machPort) : machPort_(machPort) {}
  ~NSPort() override { port_deallocate(machPort_); }

  port_t machPort_;
};

} // namespace tesker
