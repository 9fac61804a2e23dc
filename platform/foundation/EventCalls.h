// EventCalls.h - the system calls that gather what is waited for in one descriptor.
//
// A part of OperatingSystem.h, which says how they answer. All descriptors are close-on-exec.
#pragma once

#include <chrono>
#include <cstdint>
#include <sys/epoll.h>

namespace tesker {

class EventCalls {
public:
  virtual int createEventPoll(); // epoll_create1
  // epoll_ctl.
  virtual int controlEventPoll(int eventPoll, int operation, int descriptor, std::uint32_t events);
  // timerfd_create, on the clock that only goes forward.
  virtual int createTimer();
  // timerfd_settime: expires once in so long, at once for 0 and less.
  virtual int setTimer(int timer, std::chrono::nanoseconds time);
  // The same: never expires.
  virtual int stopTimer(int timer);

protected:
  ~EventCalls() = default;
};

} // namespace tesker
