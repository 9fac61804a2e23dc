// ReadySet.h - one descriptor for many: readable when one of them is ready, or a time has come.
// Internal to the master.
//
// An epoll(7) and a timer. What is watched is forgotten before it is looked at, while it is still
// open, and said again afterwards. A descriptor that was closed could not be forgotten any more:
// its number may be another thread's by then, and a child that the host has forked without
// executing a program may hold it open, and with it the set readable.
#pragma once

#include "platform/foundation/Files.h"
#include "platform/foundation/Result.h"

#include <optional>
#include <poll.h>
#include <utility>
#include <vector>

namespace tesker {

class ReadySet {
public:
  // Watches nothing. Fails with the errno.
  [[nodiscard]] static Result<ReadySet> create();

  // The same for the life of the set.
  int descriptor() const { return events_.number(); }
  // Watches nothing any more. To be called before anything that is watched may be closed.
  void forget();
  // Watches these, after forget(), and wakes in so many milliseconds; never for -1. Negative
  // descriptors are passed over, as poll(2) does. 0, or the errno; all that can be watched is
  // watched then, too, and so is the time.
  [[nodiscard]] int watch(const std::vector<pollfd> &descriptors, int milliseconds);
  // Becomes readable at once.
  void wake();

private:
  ReadySet(FileDescriptor events, FileDescriptor timer)
      : events_(std::move(events)), timer_(std::move(timer)) {}

  FileDescriptor events_;
  FileDescriptor timer_;
  std::vector<int> watched_; // without the timer
};

} // namespace tesker
