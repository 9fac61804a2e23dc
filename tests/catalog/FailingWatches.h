// FailingWatches.h - an operating system that loses events, fails, or has no time.
#pragma once

#include "tests/support/CountingOperatingSystem.h"

#include <cerrno>
#include <chrono>
#include <string>
#include <sys/inotify.h>
#include <utility>

namespace tesker::test {

class FailingWatches : public CountingOperatingSystem {
public:
  // Calls that begin with that text fail, after so many that succeed.
  std::string failing;
  std::size_t after = 0;
  int error = 0;
  bool failsOnce = false;
  // What is read next is lost, as when there is no more room for events.
  bool losesEvents = false;
  // Every time limit is over at once.
  bool isHurried = false;

  ssize_t read(int descriptor, void *buffer, std::size_t size) override {
    const ssize_t got = CountingOperatingSystem::read(descriptor, buffer, size);
    if (got < 0 || !std::exchange(losesEvents, false))
      return got;
    *static_cast<inotify_event *>(buffer) = {
        .wd = -1, .mask = IN_Q_OVERFLOW, .cookie = 0, .len = 0};
    return sizeof(inotify_event);
  }
  std::chrono::steady_clock::time_point steadyTime() override {
    return isHurried ? now_ += std::chrono::hours(1) : OperatingSystem::steadyTime();
  }

protected:
  bool mayBeMade(const std::string &call) override {
    if (failing.empty() || !call.starts_with(failing))
      return true;
    if (after > 0) {
      --after;
      return true;
    }
    if (failsOnce)
      failing.clear();
    errno = error;
    return false;
  }

private:
  std::chrono::steady_clock::time_point now_;
};

} // namespace tesker::test
