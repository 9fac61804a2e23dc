#include "parsing/TKLine.h"

#include "platform/foundation/NSException.h"
#include "platform/foundation/NSLog.h"
#include "platform/foundation/PropertyList.h"
#include "platform/foundation/PropertyListDescription.h"

namespace tesker {

const RecordWords &recordWords() {
  static const auto &words = *new RecordWords;
  return words;
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

void TKLine::setFrom(const NSDictionary &dictionary, std::string_view itsKey, const NSString &key) {
  if (NSObject *value = dictionary.objectForKey(itsKey))
    mdict_.set(key, Ref<NSObject>(*value));
}

std::size_t TKLine::keepDescriptions() {
  std::size_t length = 0;
  for (const auto &[key, value] : mdict_) {
    NSString text = value->asString();
    if (!text) {
      const auto description = descriptionOnly(*value);
      text = description->description();
      mdict_.set(key, description); // in its place
    }
    length += key.length() + text.length();
  }
  return length;
}

void TKLine::addEntriesFromDictionary(const NSDictionary &dictionary) {
  for (const auto &[key, value] : dictionary)
    mdict_.set(key, value);
}

} // namespace tesker
