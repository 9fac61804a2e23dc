#include "parsing/TKLine.h"

#include "platform/foundation/NSException.h"
#include "platform/foundation/NSLog.h"
#include "platform/foundation/PropertyList.h"

#include <unordered_set>

namespace tesker {

NSString sharedWord(std::string_view word) {
  static auto &words = *new std::unordered_set<NSString, StringKeyHash, StringKeyEqual>;
  const auto known = words.find(word);
  return known != words.end() ? *known : *words.insert(NSString::create(word)).first;
}

std::optional<TKLine> TKLine::initWithString(NSZone &zone, std::string_view text) {
  try {
    const Ref<NSObject> parsed = propertyList(text);
    if (const NSDictionary *pairs = parsed->asDictionary()) {
      TKLine record = create(pairs->count(), zone);
      record.addEntriesFromDictionary(*pairs);
      return record;
    }
  } catch (const NSException &) {
    NSLog("*** Could not parse icon header: %@", {text});
  }
  return std::nullopt;
}

void TKLine::setObjectForKey(RefPtr<NSObject> object, const NSString &key) {
  if (object)
    mdict_.set(key, Ref<NSObject>::adopt(*object.leak()));
}

void TKLine::set(std::string_view key, const NSString &string) {
  setObjectForKey(string, sharedWord(key));
}

void TKLine::setFrom(const NSDictionary &dictionary, std::string_view itsKey,
                     std::string_view key) {
  if (NSObject *value = dictionary.objectForKey(itsKey))
    mdict_.set(sharedWord(key), Ref<NSObject>(*value));
}

void TKLine::addEntriesFromDictionary(const NSDictionary &dictionary) {
  for (const auto &[key, value] : dictionary)
    mdict_.set(key, value);
}

} // namespace tesker
