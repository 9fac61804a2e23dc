#include "master/ReadySet.h"

#include "platform/foundation/OperatingSystem.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
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
  ReadySet set(std::move(events), std::move(timer));
  if (const int error = set.arm(set.timer_.number(), POLLIN); error != 0)
    return Failure{error};
  return set;
}

void ReadySet::drop() { OperatingSystem::current().dropEvents(events_.number()); }

int ReadySet::watch(const std::vector<pollfd> &descriptors, int milliseconds) {
  std::vector<int> wanted;
  wanted.reserve(descriptors.size());
  int failed = 0;
  for (const pollfd &one : descriptors) {
    if (one.fd < 0)
      continue;
    wanted.push_back(one.fd);
    if (const int error = arm(one.fd, one.events); error != 0)
      failed = error;
  }
  for (const int before : watched_)
    if (std::ranges::find(wanted, before) == wanted.end()) // it may be closed, or something else
      OperatingSystem::current().controlEventPoll(events_.number(), EPOLL_CTL_DEL, before, 0);
  watched_ = std::move(wanted);
  OperatingSystem &system = OperatingSystem::current();
  if (milliseconds < 0)
    system.stopTimer(timer_.number());
  else
    system.setTimer(timer_.number(), std::chrono::milliseconds(milliseconds));
  if (const int error = arm(timer_.number(), POLLIN); error != 0)
    failed = error;
  return failed;
}

void ReadySet::wake() { OperatingSystem::current().setTimer(timer_.number(), {}); }

// The bits of poll(2) are those of epoll(7).
int ReadySet::arm(int descriptor, short events) {
  OperatingSystem &system = OperatingSystem::current();
  const auto bits = static_cast<std::uint32_t>(events);
  if (system.controlEventPoll(events_.number(), EPOLL_CTL_MOD, descriptor, bits) == 0)
    return 0;
  if (errno == ENOENT &&
      system.controlEventPoll(events_.number(), EPOLL_CTL_ADD, descriptor, bits) == 0)
    return 0;
  return errno;
}

} // namespace tesker
