#include "platform/foundation/NSObject.h"

#include "platform/foundation/NSString.h"

#include <cstdlib>
#include <cxxabi.h>
#include <functional>
#include <memory>
#include <typeinfo>

namespace tesker {

std::size_t NSObject::hash() const { return std::hash<const void *>()(this); }

bool NSObject::isEqual(const NSObject *other) const { return this == other; }

Ref<NSString> NSObject::description() const {
  int status = 0;
  const std::unique_ptr<char, decltype(&std::free)> name(
      abi::__cxa_demangle(typeid(*this).name(), nullptr, nullptr, &status), &std::free);
  return NSString::create("<" + std::string(status == 0 ? name.get() : typeid(*this).name()) + ">");
}

void NSObject::destroy() const {
  NSZone &zone = *zone_;
  const std::size_t size = size_;
  // Every class has NSObject as its first and only object base, so the block starts here.
  auto *block = const_cast<NSObject *>(this);
  block->~NSObject();
  zone.deallocate(block, size, alignof(std::max_align_t));
}

bool isEqual(const NSObject *a, const NSObject *b) {
  if (a == b)
    return true;
  return a != nullptr && b != nullptr && a->isEqual(b);
}

} // namespace tesker
