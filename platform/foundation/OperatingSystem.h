// OperatingSystem.h - the system calls, in one place.
//
// Everything that reads or changes the file system, talks over sockets, starts processes, tells the
// time or looks up users goes through the one object of this class that is in force, so that a test
// can replace it: count calls, make them fail, or serve a file system of its own. The base class
// makes the real calls. Unless said otherwise a method answers as the call in section 2 or 3 of the
// manual does: -1 and errno on failure. Calls interrupted by a signal are resumed.
//
// Past it go what confines the process (finding/Confinement), what a child does between fork and
// exec, what a program does with its own signals and terminal, and the libraries for D-Bus and the
// log.
#pragma once

#include "platform/foundation/EventCalls.h"
#include "platform/foundation/FileCalls.h"
#include "platform/foundation/ProcessCalls.h"
#include "platform/foundation/SocketCalls.h"
#include "platform/foundation/WatchCalls.h"

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <poll.h>
#include <string>
#include <sys/types.h>

namespace tesker {

// A row of the password database (passwd(5)). A missing home is nil.
struct UserEntry {
  std::string name;
  uid_t uid;
  gid_t gid;
  std::optional<std::string> home;
};

class OperatingSystem : public FileCalls,
                        public SocketCalls,
                        public ProcessCalls,
                        public EventCalls,
                        public WatchCalls {
public:
  virtual ~OperatingSystem() = default;

  // Whole seconds since 1970; the fraction is dropped.
  virtual std::int64_t currentTime();
  // On a clock that only goes forward.
  virtual std::chrono::steady_clock::time_point steadyTime();
  // Resumed after a signal, it waits for the rest of its time.
  virtual int poll(struct pollfd *descriptors, nfds_t count, int timeoutMilliseconds);

  virtual uid_t userId();
  virtual uid_t effectiveUserId();
  virtual int supplementaryGroups(gid_t *groups, int room); // getgroups
  // Nothing when the database has no such entry.
  virtual std::optional<UserEntry> userWithId(uid_t uid);
  virtual std::optional<UserEntry> userWithName(const std::string &name);
  virtual std::optional<std::string> groupNameWithId(gid_t gid);

  // Anonymous memory of whole pages, zeroed; nil on failure. Never given back.
  virtual void *allocatePages(std::size_t size);

  // The one in force.
  static OperatingSystem &current() {
    OperatingSystem *inForce = inForce_.load(std::memory_order_acquire);
    return inForce != nullptr ? *inForce : real();
  }

private:
  friend class ScopedOperatingSystem;
  static OperatingSystem &real();
  static std::atomic<OperatingSystem *> inForce_; // nil until the real one is first asked for
};

// Puts another implementation in force for as long as it lives, then the one before again: for all
// threads, none of which may make calls while that changes.
class ScopedOperatingSystem {
public:
  explicit ScopedOperatingSystem(OperatingSystem &replacement);
  ~ScopedOperatingSystem();
  ScopedOperatingSystem(const ScopedOperatingSystem &) = delete;
  ScopedOperatingSystem &operator=(const ScopedOperatingSystem &) = delete;

private:
  OperatingSystem *before_;
};

// ---- what the environment says ----

// The variable's value; nothing when it is unset or empty, which count alike everywhere.
[[nodiscard]] std::optional<std::string> environmentValue(const char *variable);

// HOME, else the home of the process's user in the password database; nothing when neither says.
[[nodiscard]] std::optional<std::string> homeDirectory();

} // namespace tesker
