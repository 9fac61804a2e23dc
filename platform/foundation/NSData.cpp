#include "platform/foundation/NSData.h"

#include "platform/foundation/PropertyListDescription.h"

namespace tesker {

Ref<NSData> NSData::create(std::string_view bytes, NSZone &zone) {
  return allocate<NSData>(zone, NSString::create(bytes, zone));
}

bool NSData::isEqual(const NSObject &other) const {
  const NSData *data = other.asData();
  return data != nullptr && data->bytes() == bytes();
}

NSString NSData::description() const { return propertyListDescription(*this); }

} // namespace tesker
