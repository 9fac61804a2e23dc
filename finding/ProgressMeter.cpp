#include "finding/ProgressMeter.h"

#include "platform/foundation/OperatingSystem.h"

namespace tesker {

void ProgressMeter::begins(const NSString &path) {
  path_ = directory_ = path;
  look();
}

void ProgressMeter::enters(const NSString &directory, std::size_t records) {
  directory_ = directory;
  records_ = records;
  ++directories_;
  look();
}

void ProgressMeter::counts(std::size_t entries) {
  entries_ += entries;
  if (entries == kEntriesBetween)
    look();
}

void ProgressMeter::examines(const NSString &directory, std::size_t records) {
  if (!directory_.isSameObjectAs(directory))
    directory_ = directory;
  records_ = records;
  if (++examined_ % kApplicationsBetween == 0)
    look();
}

void ProgressMeter::look() {
  const auto now = OperatingSystem::current().steadyTime();
  if (now < next_)
    return;
  next_ = now + kTimeBetween;
  listener_(*this);
}

} // namespace tesker
