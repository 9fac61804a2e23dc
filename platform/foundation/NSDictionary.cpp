#include "platform/foundation/NSDictionary.h"

#include "platform/foundation/NSException.h"
#include "platform/foundation/PropertyListDescription.h"

namespace tesker {

Ref<NSDictionary> NSDictionary::create(NSZone &zone) { return allocate<NSDictionary>(zone, zone); }

NSString NSDictionary::stringForKey(std::string_view key) const {
  const NSObject *value = objectForKey(key);
  return value != nullptr ? value->asString() : NSString();
}

const NSArray *NSDictionary::arrayForKey(std::string_view key) const {
  const NSObject *value = objectForKey(key);
  return value != nullptr ? value->asArray() : nullptr;
}

const NSDictionary *NSDictionary::dictionaryForKey(std::string_view key) const {
  const NSObject *value = objectForKey(key);
  return value != nullptr ? value->asDictionary() : nullptr;
}

void NSDictionary::setObjectForKey(RefPtr<NSObject> object, const NSString &key) {
  if (!object)
    throw NSException(NSInvalidArgumentException, "attempt to set a nil value in a dictionary");
  pairs_.set(key.copy(zone()), Ref<NSObject>::adopt(*object.leak()));
}

void NSDictionary::addEntriesFromDictionary(const NSDictionary &other) {
  if (&other == this)
    return;
  for (const auto &[key, value] : other)
    setObjectForKey(value, key);
}

bool NSDictionary::isEqual(const NSObject &other) const {
  const NSDictionary *dictionary = other.asDictionary();
  return dictionary != nullptr && dictionary->pairs_ == pairs_;
}

NSString NSDictionary::description() const { return propertyListDescription(*this); }

} // namespace tesker
