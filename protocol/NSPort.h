// NSPort.h - a Mach port with an owner.
#pragma once

#include "platform/ports/Port.h"

#include <utility>

namespace tesker {

// Owns what the task holds of the port, and gives it up when it goes. Moves, never copies. A
// connection made over the port takes its right out (NSConnection.h).
class NSPort {
public:
  [[nodiscard]] static NSPort portWithMachPort(port_t machPort) { return NSPort(machPort); }
  NSPort(NSPort &&other) noexcept : machPort_(std::exchange(other.machPort_, PORT_NULL)) {}
  NSPort &operator=(NSPort &&other) noexcept {
    std::swap(machPort_, other.machPort_);
    return *this;
  }
  NSPort(const NSPort &) = delete;
  NSPort &operator=(const NSPort &) = delete;
  ~NSPort() { port_deallocate(machPort_); }

  // PORT_NULL once it has been moved from.
  port_t machPort() const { return machPort_; }

private:
  explicit NSPort(port_t machPort) : machPort_(machPort) {}

  port_t machPort_;
};

} // namespace tesker
