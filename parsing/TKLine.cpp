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

void TKLine::keepDescriptions() {
  for (const auto &[key, value] : mdict_)
    if (!value->asString())
      mdict_.set(key, descriptionOnly(*value)); // in its place
}

std::size_t TKLine::textLength() const {
  std::size_t length = 0;
  for (const auto &[key, value] : mdict_)
    length += key.length() + value->description().length();
  return length;
}

void TKLine::addEntriesFromDictionary(const NSDictionary &dictionary) {
  for (const auto &[key, value] : dictionary)
    mdict_.set(key, value);
}

} // namespace tesker
