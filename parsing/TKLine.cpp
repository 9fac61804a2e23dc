#include "parsing/TKLine.h"

#include "platform/foundation/NSException.h"
#include "platform/foundation/NSLog.h"
#include "platform/foundation/NSSet.h"
#include "platform/foundation/PropertyList.h"

namespace tesker {

namespace {

// The one string object for a key of the parsers' own, of which there are few and many records.
Ref<NSString> sharedKey(std::string_view key) {
  static NSMutableSet &keys = *NSMutableSet::create().leak();
  if (const auto known = keys.member(key))
    return known.toRef();
  auto made = NSString::create(key);
  keys.addObject(made);
  return made;
}

} // namespace

Ref<TKLine> TKLine::create(std::size_t capacity, NSZone &zone) {
  return allocate<TKLine>(zone, NSMutableDictionary::create(capacity, zone));
}

RefPtr<TKLine> TKLine::initWithString(NSZone &zone, std::string_view text) {
  RefPtr<NSDictionary> parsed;
  try {
    parsed = as<NSDictionary>(propertyList(text));
  } catch (const NSException &) {
    NSLog("*** Could not parse icon header: %@", {text});
  }
  if (!parsed)
    return nullptr;
  return allocate<TKLine>(zone, NSMutableDictionary::copyOf(*parsed, zone));
}

std::size_t TKLine::count() const { return mdict_->count(); }

RefPtr<NSObject> TKLine::objectForKey(std::string_view key) const {
  return mdict_->objectForKey(key);
}

NSKeyEnumerator TKLine::keyEnumerator() const { return mdict_->keyEnumerator(); }

void TKLine::setObjectForKey(RefPtr<NSObject> object, const NSString &key) {
  if (object)
    mdict_->setObjectForKey(std::move(object), key);
}

void TKLine::set(std::string_view key, RefPtr<NSObject> object) {
  if (object)
    mdict_->setObjectForKey(std::move(object), *sharedKey(key));
}

void TKLine::set(std::string_view key, std::string_view text) {
  set(key, NSString::create(text, zone()));
}

void TKLine::removeObjectForKey(std::string_view key) { mdict_->removeObjectForKey(key); }

} // namespace tesker
