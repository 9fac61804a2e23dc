// NSArray.h - ordered collections of objects.
//
// An array keeps one reference on each element and never holds nil. An NSArray does not change,
// except as the NSMutableArray that it was made as; do not change one while iterating over it.
#pragma once

#include "platform/foundation/NSObject.h"

#include <memory_resource>
#include <string_view>
#include <vector>

namespace tesker {

class NSString;
class NSMutableArray;

class NSArray : public NSObject {
public:
  std::size_t count() const { return items_.size(); }
  // The element; raises NSRangeException when there is none at the index.
  [[nodiscard]] Ref<NSObject> objectAtIndex(std::size_t index) const;
  auto begin() const { return items_.begin(); }
  auto end() const { return items_.end(); }

  // The elements' descriptions with the separator between neighbours; "" for an empty array.
  [[nodiscard]] Ref<NSString> componentsJoinedByString(std::string_view separator) const;
  [[nodiscard]] Ref<NSMutableArray> mutableCopy() const;

  // Arrays are equal when their elements are, in order.
  std::size_t hash() const override;
  bool isEqual(const NSObject *other) const override;
  Ref<NSString> description() const override;

protected:
  friend NSObject;
  explicit NSArray(NSZone &zone) : items_(&zone) {}
  std::pmr::vector<Ref<NSObject>> items_;
};

class NSMutableArray final : public NSArray {
public:
  // A new empty array with room for capacity elements before it has to grow.
  [[nodiscard]] static Ref<NSMutableArray> create(std::size_t capacity = 0,
                                                  NSZone &zone = NSDefaultMallocZone());

  // Appends the object; raises NSInvalidArgumentException when it is nil.
  void addObject(RefPtr<NSObject> object);
  // Appends the elements of the other array, which may be nil and may be the receiver.
  void addObjectsFromArray(const NSArray *other);
  // Both raise NSRangeException when there is no such element.
  void removeObjectAtIndex(std::size_t index);
  void removeLastObject();
  // Puts the object before the element at the index, or at the end when the index is the count;
  // raises NSRangeException beyond that.
  void insertObject(Ref<NSObject> object, std::size_t index);
  // Removes the first element that is the very object; nothing when there is none.
  void removeObjectIdenticalTo(const NSObject &object);

private:
  friend NSObject;
  using NSArray::NSArray;
};

} // namespace tesker
