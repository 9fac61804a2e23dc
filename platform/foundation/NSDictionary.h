// NSDictionary.h - maps from strings to objects.
//
// Keys are strings, compared by their bytes; values are objects and never nil. Dictionaries keep
// insertion order: replacing a value keeps the key's place, so the enumeration order is the order
// of the source and the same input gives the same text. Subclasses may keep their pairs elsewhere
// by overriding the primitives (count, objectForKey, keyEnumerator and the two that change).
#pragma once

#include "platform/foundation/NSArray.h"
#include "platform/foundation/NSString.h"

namespace tesker {

// Walks over the keys as they were when it was made.
class NSKeyEnumerator {
public:
  explicit NSKeyEnumerator(Ref<NSArray> keys) : keys_(std::move(keys)) {}
  // The next key, or nil after the last.
  [[nodiscard]] RefPtr<NSString> nextObject();

private:
  Ref<NSArray> keys_;
  std::size_t next_ = 0;
};

class NSDictionary : public NSObject {
public:
  virtual std::size_t count() const = 0;
  // The value, or nil when there is none for the key.
  [[nodiscard]] virtual RefPtr<NSObject> objectForKey(std::string_view key) const = 0;
  [[nodiscard]] virtual NSKeyEnumerator keyEnumerator() const = 0;

  // The keys (strings) in enumeration order.
  [[nodiscard]] Ref<NSMutableArray> allKeys() const;

  // Dictionaries are equal when they have equal values for the same keys, in whatever order.
  std::size_t hash() const override;
  bool isEqual(const NSObject *other) const override;
  Ref<NSString> description() const override;
};

class NSMutableDictionary : public NSDictionary {
public:
  // A new empty dictionary with room for capacity pairs before it has to grow.
  [[nodiscard]] static Ref<NSMutableDictionary> create(std::size_t capacity = 0,
                                                       NSZone &zone = NSDefaultMallocZone());

  // Raises NSInvalidArgumentException when the object is nil.
  virtual void setObjectForKey(RefPtr<NSObject> object, const NSString &key) = 0;
  // Nothing when there is no such key.
  virtual void removeObjectForKey(std::string_view key) = 0;

  // Sets every pair of the other dictionary, in its enumeration order.
  void addEntriesFromDictionary(const NSDictionary &other);
  [[nodiscard]] static Ref<NSMutableDictionary> copyOf(const NSDictionary &other,
                                                       NSZone &zone = NSDefaultMallocZone());
};

} // namespace tesker
