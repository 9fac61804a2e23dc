#include "platform/foundation/NSData.h"

#include "platform/foundation/NSString.h"
#include "platform/foundation/PropertyList.h"

namespace tesker {

Ref<NSData> NSData::create(std::string_view bytes, NSZone &zone) {
  return allocate<NSData>(zone, bytes, zone);
}

std::size_t NSData::hash() const { return StringKeyHash()(bytes()); }

bool NSData::isEqual(const NSObject *other) const {
  const auto *data = as<NSData>(other);
  return data != nullptr && data->bytes() == bytes();
}

Ref<NSString> NSData::description() const { return propertyListDescription(*this); }

} // namespace tesker
