#include "platform/foundation/WatchCalls.h"

namespace tesker {

int WatchCalls::createWatches() { return ::inotify_init1(IN_CLOEXEC | IN_NONBLOCK); }

int WatchCalls::addWatch(int watches, const char *path, std::uint32_t events) {
  return ::inotify_add_watch(watches, path, events);
}

int WatchCalls::removeWatch(int watches, int watch) { return ::inotify_rm_watch(watches, watch); }

} // namespace tesker
