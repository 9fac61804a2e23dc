// TKLine.h - the record of one application, document type, services provider or bundle.
//
// Pairs of a string key and, as a rule, a string value. The keys that the parsers fill:
//   path       full path of the executable
//   type       "app", "extension", "services", "bundle", "InspectorCommand"
//   name       of the application, or the file extension, or the bundle's executable
//   appName    the application that an extension belongs to
//   icon       name of the icon
//   priority   "NSPrimary" on extensions of new-style wrappers
//   suitable   "no" when the executable cannot run on this machine; absent otherwise
// A brace line or an inspector's dictionary may bring any other key, and values that are arrays or
// dictionaries.
#pragma once

#include "platform/foundation/NSDictionary.h"

#include <optional>
#include <string_view>
#include <vector>

namespace tesker {

// The words of the parsers' own records: few, in many records, so each is one string.
struct RecordWords {
  const NSString path = "path"_ns;
  const NSString type = "type"_ns;
  const NSString name = "name"_ns;
  const NSString appName = "appName"_ns;
  const NSString icon = "icon"_ns;
  const NSString priority = "priority"_ns;
  const NSString suitable = "suitable"_ns;

  const NSString app = "app"_ns;
  const NSString extension = "extension"_ns;
  const NSString services = "services"_ns;
  const NSString bundle = "bundle"_ns;
  const NSString inspectorCommand = "InspectorCommand"_ns;
  const NSString primary = "NSPrimary"_ns;
  const NSString applicationIcon = "NSApplicationIcon"_ns;
  const NSString no = "no"_ns;
};

// Made at the first call; lives as long as the process.
[[nodiscard]] const RecordWords &recordWords();

class TKLine {
public:
  // An empty record with room for capacity pairs before it has to grow.
  [[nodiscard]] static TKLine create(std::size_t capacity = 0,
                                     NSZone &zone = NSDefaultMallocZone()) {
    return TKLine(PairTable(capacity, zone));
  }

  // The record that the property-list text holds. Nothing when it does not hold a dictionary; text
  // that cannot be parsed is also logged through NSLog, "*** Could not parse icon header: %@".
  [[nodiscard]] static std::optional<TKLine> initWithString(NSZone &zone, std::string_view text);

  std::size_t count() const { return mdict_.count(); }
  // In the order of their insertion: NSString key, Ref<NSObject> value.
  auto begin() const { return mdict_.begin(); }
  auto end() const { return mdict_.end(); }
  // The value, lent until the record changes; nil when there is none for the key.
  const NSObject *objectForKey(std::string_view key) const { return mdict_.find(key); }

  // A nil value is ignored, so that optional values can be set without testing them.
  void setObjectForKey(RefPtr<NSObject> object, const NSString &key) {
    if (object)
      mdict_.set(key, Ref<NSObject>::adopt(*object.leak()));
  }
  void set(const NSString &key, const NSString &string) { setObjectForKey(string.object(), key); }
  // Sets the key to what the dictionary has under its own; nothing when it has nothing there.
  void setFrom(const NSDictionary &dictionary, std::string_view itsKey, const NSString &key);
  // Sets every pair of the dictionary, in its order.
  void addEntriesFromDictionary(const NSDictionary &dictionary);
  void removeObjectForKey(std::string_view key) { mdict_.remove(key); }

  // Values that are not strings stay as their descriptions only (descriptionOnly), which is all
  // that travels of them. Returns the bytes of all keys and values, before they share what is
  // equal.
  std::size_t keepDescriptions();

  // Equal values for the same keys, in whatever order.
  bool operator==(const TKLine &other) const = default;

private:
  explicit TKLine(PairTable pairs) : mdict_(std::move(pairs)) {}
  PairTable mdict_;
};

using Records = std::vector<TKLine>;

} // namespace tesker
