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

// The one string for a word of the parsers' own, of which there are few and many records.
[[nodiscard]] NSString sharedWord(std::string_view word);

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
  void setObjectForKey(RefPtr<NSObject> object, const NSString &key);
  void setObjectForKey(const NSString &string, const NSString &key) {
    setObjectForKey(string.object(), key);
  }
  // The same for a key of the parsers' own.
  void set(std::string_view key, const NSString &string);
  // Sets the key to what the dictionary has under its own; nothing when it has nothing there.
  void setFrom(const NSDictionary &dictionary, std::string_view itsKey, std::string_view key);
  // Sets every pair of the dictionary, in its order.
  void addEntriesFromDictionary(const NSDictionary &dictionary);
  void removeObjectForKey(std::string_view key) { mdict_.remove(key); }

  // Equal values for the same keys, in whatever order.
  bool operator==(const TKLine &other) const = default;

private:
  explicit TKLine(PairTable pairs) : mdict_(std::move(pairs)) {}
  PairTable mdict_;
};

using Records = std::vector<TKLine>;

} // namespace tesker
