#include "caching/ChangeTest.h"

#include <algorithm>

namespace tesker {

RefPtr<NSDate> changeDateOf(const NSFileAttributes *attributes) {
  if (attributes == nullptr)
    return nullptr;
  return NSDate::dateWithTimeIntervalSince1970(
      std::max(attributes->_mtime(), attributes->_getLastChangeTime()));
}

bool hasChanged(const NSFileAttributes *attributes, const NSDate *changeDate,
                const FilerTS &stamp) {
  const auto current = changeDateOf(attributes);
  return !current || !isEqual(changeDate, current.get()) ||
         current->isEqual(&*NSDate::dateWithTimeIntervalSince1970(stamp.time));
}

} // namespace tesker
