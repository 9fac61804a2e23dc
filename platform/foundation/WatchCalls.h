// WatchCalls.h - the system calls that have the system tell what changes in directories.
//
// A part of OperatingSystem.h, which says how they answer. Events are read as from a file.
#pragma once

#include <cstdint>
#include <sys/inotify.h>

namespace tesker {

class WatchCalls {
public:
  virtual int createWatches(); // inotify_init1: close-on-exec, never waits
  // inotify_add_watch: the number of the watch, the one from before where the same is watched
  // already.
  virtual int addWatch(int watches, const char *path, std::uint32_t events);
  virtual int removeWatch(int watches, int watch); // inotify_rm_watch

protected:
  ~WatchCalls() = default;
};

} // namespace tesker
