#include "platform/foundation/NSAutoreleasePool.h"

#include <algorithm>

namespace tesker {

namespace {

// Innermost last; never destroyed, since exit() may be called inside a pool.
std::vector<NSAutoreleasePool *> &pools() {
  static auto &stack = *new std::vector<NSAutoreleasePool *>;
  return stack;
}

} // namespace

Ref<NSAutoreleasePool> NSAutoreleasePool::create() {
  return allocate<NSAutoreleasePool>(NSDefaultMallocZone());
}

void NSAutoreleasePool::addObject(Ref<NSObject> object) {
  assert(!pools().empty());
  pools().back()->objects_.push_back(std::move(object));
}

NSAutoreleasePool::NSAutoreleasePool() { pools().push_back(this); }

NSAutoreleasePool::~NSAutoreleasePool() {
  while (!objects_.empty()) {
    // Taken out first: whatever goes with it may add further objects.
    const Ref<NSObject> last = std::move(objects_.back());
    objects_.pop_back();
  }
  std::erase(pools(), this);
}

} // namespace tesker
