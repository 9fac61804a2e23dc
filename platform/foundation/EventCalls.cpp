#include "platform/foundation/EventCalls.h"

#include <algorithm>
#include <sys/timerfd.h>

namespace tesker {

int EventCalls::createEventPoll() { return ::epoll_create1(EPOLL_CLOEXEC); }

int EventCalls::controlEventPoll(int eventPoll, int operation, int descriptor,
                                 std::uint32_t events) {
  epoll_event event{};
  event.events = events;
  event.data.fd = descriptor;
  return ::epoll_ctl(eventPoll, operation, descriptor, &event);
}

int EventCalls::createTimer() {
  return ::timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC);
}

int EventCalls::setTimer(int timer, std::chrono::nanoseconds time) {
  constexpr long kNanosecondsInASecond = 1'000'000'000;
  const long nanoseconds = std::max<long>(time.count(), 1); // 0 would stop it
  itimerspec setting{};
  setting.it_value = {.tv_sec = nanoseconds / kNanosecondsInASecond,
                      .tv_nsec = nanoseconds % kNanosecondsInASecond};
  return ::timerfd_settime(timer, 0, &setting, nullptr);
}

int EventCalls::stopTimer(int timer) {
  const itimerspec never{};
  return ::timerfd_settime(timer, 0, &never, nullptr);
}

} // namespace tesker
