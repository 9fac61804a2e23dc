#include "platform/foundation/NSObject.h"

#include "platform/foundation/NSString.h"

#include <algorithm>
#include <cstdlib>
#include <cxxabi.h>
#include <functional>
#include <limits>
#include <memory>
#include <new>
#include <string>
#include <typeinfo>

namespace tesker {

namespace {

// Innermost last; never destroyed, since exit() may be called inside a pool.
std::vector<NSAutoreleasePool *> &pools() {
  static auto &stack = *new std::vector<NSAutoreleasePool *>;
  return stack;
}

} // namespace

std::size_t NSObject::hash() const { return std::hash<const void *>()(this); }

bool NSObject::isEqual(const NSObject &other) const { return this == &other; }

NSString NSObject::description() const {
  int status = 0;
  const char *mangled = typeid(*this).name();
  const std::unique_ptr<char, decltype(&std::free)> name(
      abi::__cxa_demangle(mangled, nullptr, nullptr, &status), &std::free);
  return NSString::create("<" + std::string(status == 0 ? &*name : mangled) + ">");
}

NSString NSObject::asString() const { return nullptr; }

void NSObject::destroy() const {
  NSZone &zone = *zone_;
  const std::size_t size = size_;
  // Every class has NSObject as its first and only object base, so the block starts here.
  auto *block = const_cast<NSObject *>(this);
  block->~NSObject();
  zone.deallocate(block, size, alignof(std::max_align_t));
}

std::uint32_t checkedBlockSize(std::size_t size, std::size_t room) {
  constexpr std::size_t kLargest = std::numeric_limits<std::uint32_t>::max();
  if (room > kLargest - size)
    throw std::bad_alloc();
  return static_cast<std::uint32_t>(size + room);
}

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
