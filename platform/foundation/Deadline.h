// Deadline.h - the end of all waiting, on a clock that only goes forward.
#pragma once

#include "platform/foundation/OperatingSystem.h"

#include <algorithm>
#include <chrono>
#include <limits>

namespace tesker {

class Deadline {
public:
  using Clock = std::chrono::steady_clock;
  // So far ahead that it does not matter; sums with the clock do not wrap.
  static constexpr std::chrono::hours kLongest{24 * 365};

  static Deadline in(std::chrono::nanoseconds time) {
    return Deadline(OperatingSystem::current().steadyTime() +
                    std::min<std::chrono::nanoseconds>(time, kLongest));
  }

  bool passed() const { return OperatingSystem::current().steadyTime() >= end_; }
  // Milliseconds to wait in poll(2), rounded up.
  int pollTimeout() const {
    const auto left =
        std::chrono::ceil<std::chrono::milliseconds>(end_ - OperatingSystem::current().steadyTime())
            .count();
    return static_cast<int>(std::clamp<decltype(left)>(left, 0, std::numeric_limits<int>::max()));
  }
  friend Deadline earlier(Deadline a, Deadline b) { return a.end_ < b.end_ ? a : b; }

private:
  explicit Deadline(Clock::time_point end) : end_(end) {}
  Clock::time_point end_;
};

} // namespace tesker
