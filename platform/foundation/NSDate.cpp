#include "platform/foundation/NSDate.h"

#include <functional>

namespace tesker {

Ref<NSDate> NSDate::dateWithTimeIntervalSince1970(double seconds) {
  return allocate<NSDate>(NSDefaultMallocZone(), seconds);
}

std::size_t NSDate::hash() const { return std::hash<double>()(seconds_); }

bool NSDate::isEqual(const NSObject *other) const {
  const auto *date = as<NSDate>(other);
  return date != nullptr && date->seconds_ == seconds_;
}

} // namespace tesker
