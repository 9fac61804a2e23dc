// TeskerObjectTable.h - a map from objects to untyped pointers.
//
// For values that are not objects. Keys are compared by isEqual and kept alive by exactly one
// reference each while they are in the table; values are opaque pointers that the table never
// looks at and never frees.
#pragma once

#include "platform/foundation/NSObject.h"

#include <memory_resource>
#include <unordered_map>
#include <vector>

namespace tesker {

class TeskerObjectTable final : public NSObject {
public:
  // An empty table, in the zone, with room for capacity pairs.
  [[nodiscard]] static Ref<TeskerObjectTable> create(std::size_t capacity = 0,
                                                     NSZone &zone = NSDefaultMallocZone());

  std::size_t count() const;
  // True when the key is present, whatever its value, nil included.
  bool hasValueForObject(const NSObject &object) const;
  // The value; nil when the key is absent.
  void *valueForObject(const NSObject &object) const;
  // For a key equal to one already present the value changes and the first key object stays.
  void setValueForObject(void *value, Ref<NSObject> object);
  // The value of the key, which is made with the given one where it was absent: one look-up for
  // "have I met this, and when".
  void *valueForObjectOrSet(void *value, const Ref<NSObject> &object);
  // Nothing when the key is absent.
  void removeValueForObject(const NSObject &object);
  void removeAllObjects();
  // All keys, in no promised order.
  [[nodiscard]] std::vector<Ref<NSObject>> allObjects() const;

  // Equal to a table with equal keys and the very same pointers.
  std::size_t hash() const override;
  bool isEqual(const NSObject &other) const override;

private:
  friend NSObject;
  explicit TeskerObjectTable(NSZone &zone) : table_(&zone) {}

  // Both take a bare object too, so that a look-up takes no reference.
  static const NSObject &objectOf(const NSObject &object) { return object; }
  static const NSObject &objectOf(const Ref<NSObject> &key) { return *key; }
  struct KeyHash {
    using is_transparent = void;
    template <class Key> std::size_t operator()(const Key &key) const {
      return objectOf(key).hash();
    }
  };
  struct KeyEqual {
    using is_transparent = void;
    template <class A, class B> bool operator()(const A &a, const B &b) const {
      return objectOf(a).isEqual(objectOf(b));
    }
  };
  std::pmr::unordered_map<Ref<NSObject>, void *, KeyHash, KeyEqual> table_;
};

} // namespace tesker
