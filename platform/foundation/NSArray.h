// NSArray.h - an ordered collection of objects, as a property list holds it.
#pragma once

#include "platform/foundation/NSObject.h"

#include <memory_resource>
#include <vector>

namespace tesker {

class NSArray final : public NSObject {
public:
  // A new empty array.
  [[nodiscard]] static Ref<NSArray> create(NSZone &zone = NSDefaultMallocZone());

  std::size_t count() const { return items_.size(); }
  auto begin() const { return items_.begin(); }
  auto end() const { return items_.end(); }

  // Appends the object; raises NSInvalidArgumentException when it is nil.
  void addObject(RefPtr<NSObject> object);

  // Arrays are equal when their elements are, in order.
  std::size_t hash() const override;
  bool isEqual(const NSObject &other) const override;
  NSString description() const override;
  const NSArray *asArray() const override { return this; }

private:
  friend NSObject;
  explicit NSArray(NSZone &zone) : items_(&zone) {}
  std::pmr::vector<Ref<NSObject>> items_;
};

} // namespace tesker
