#include "master/ReadySet.h"

#include "platform/foundation/OperatingSystem.h"

#include <cerrno>
#include <chrono>
#include <cstdint>
#include <sys/epoll.h>

namespace tesker {

Result<ReadySet> ReadySet::create() {
  OperatingSystem &system = OperatingSystem::current();
  FileDescriptor events(system.createEventPoll());
  if (!events)
    return Failure{errno};
  FileDescriptor timer(system.createTimer());
  if (!timer)
    return Failure{errno};
  if (system.controlEventPoll(events.number(), EPOLL_CTL_ADD, timer.number(), EPOLLIN) != 0)
    return Failure{errno};
  return ReadySet(std::move(events), std::move(timer));
}

void ReadySet::forget() {
  OperatingSystem &system = OperatingSystem::current();
  for (const int descriptor : watched_)
    system.controlEventPoll(events_.number(), EPOLL_CTL_DEL, descriptor, 0);
  watched_.clear();
  system.stopTimer(timer_.number());
}

int ReadySet::watch(const std::vector<pollfd> &descriptors, int milliseconds) {
  OperatingSystem &system = OperatingSystem::current();
  watched_.reserve(descriptors.size());
  int failed = 0;
  for (const pollfd &one : descriptors) {
    if (one.fd < 0)
      continue;
    // The bits of poll(2) are those of epoll(7).
    const auto events = static_cast<std::uint32_t>(one.events);
    if (system.controlEventPoll(events_.number(), EPOLL_CTL_ADD, one.fd, events) == 0 ||
        errno == EEXIST) // it could not be forgotten
      watched_.push_back(one.fd);
    else
      failed = errno;
  }
  if (milliseconds >= 0)
    system.setTimer(timer_.number(), std::chrono::milliseconds(milliseconds));
  return failed;
}

void ReadySet::wake() { OperatingSystem::current().setTimer(timer_.number(), {}); }

} // namespace tesker
