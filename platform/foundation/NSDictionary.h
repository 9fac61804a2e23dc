// NSDictionary.h - a map from strings to objects, as a property list holds it.
//
//   if (const NSArray *types = list.arrayForKey("NSTypes"))
//     for (const auto &[key, value] : dictionary) ...
//
// Keys are compared by their bytes. The order of the pairs is that of their insertion.
#pragma once

#include "platform/foundation/NSArray.h"
#include "platform/foundation/PairTable.h"

#include <string_view>

namespace tesker {

class NSDictionary final : public NSObject {
public:
  // A new empty dictionary.
  [[nodiscard]] static Ref<NSDictionary> create(NSZone &zone = NSDefaultMallocZone());

  std::size_t count() const { return pairs_.count(); }
  auto begin() const { return pairs_.begin(); }
  auto end() const { return pairs_.end(); }

  // The value, lent until the dictionary changes; nil when there is none for the key.
  NSObject *objectForKey(std::string_view key) const { return pairs_.find(key); }
  // The same when it is of that kind, nil otherwise.
  NSString stringForKey(std::string_view key) const;
  const NSArray *arrayForKey(std::string_view key) const;
  const NSDictionary *dictionaryForKey(std::string_view key) const;

  // Raises NSInvalidArgumentException when the object is nil. The key is copied into the
  // dictionary's zone where it is in another.
  void setObjectForKey(RefPtr<NSObject> object, const NSString &key);
  void setObjectForKey(const NSString &string, const NSString &key) {
    setObjectForKey(string.object(), key);
  }
  // Nothing when there is no such key.
  void removeObjectForKey(std::string_view key) { pairs_.remove(key); }
  // Sets every pair of the other dictionary, in its order.
  void addEntriesFromDictionary(const NSDictionary &other);

  // Dictionaries are equal when they have equal values for the same keys, in whatever order.
  std::size_t hash() const override { return pairs_.hash(); }
  bool isEqual(const NSObject &other) const override;
  NSString description() const override;
  const NSDictionary *asDictionary() const override { return this; }

private:
  friend NSObject;
  explicit NSDictionary(NSZone &zone) : pairs_(0, zone) {}
  PairTable pairs_;
};

} // namespace tesker
