// NSDate.h - a moment, in seconds since 1970-01-01 00:00:00 UTC.
#pragma once

#include "platform/foundation/NSObject.h"

namespace tesker {

class NSDate final : public NSObject {
public:
  [[nodiscard]] static Ref<NSDate> dateWithTimeIntervalSince1970(double seconds);
  double timeIntervalSince1970() const { return seconds_; }

  std::size_t hash() const override;
  bool isEqual(const NSObject *other) const override;

private:
  friend NSObject;
  explicit NSDate(double seconds) : seconds_(seconds) {}
  double seconds_;
};

} // namespace tesker
