#include "platform/foundation/NSArray.h"

#include "platform/foundation/KeyedHash.h"
#include "platform/foundation/NSException.h"
#include "platform/foundation/PropertyListDescription.h"

#include <algorithm>

namespace tesker {

Ref<NSArray> NSArray::create(NSZone &zone) { return allocate<NSArray>(zone, zone); }

void NSArray::addObject(RefPtr<NSObject> object) {
  if (!object)
    throw NSException(NSInvalidArgumentException, "attempt to add nil to an array");
  items_.push_back(Ref<NSObject>::adopt(*object.leak()));
}

// Takes in every element: the arrays of a hostile file must not all have one hash.
std::size_t NSArray::hash() const {
  std::size_t hash = count();
  for (const auto &item : items_)
    hash = keyedHash(hash, item->hash());
  return hash;
}

bool NSArray::isEqual(const NSObject &other) const {
  const NSArray *array = other.asArray();
  return array != nullptr &&
         std::equal(begin(), end(), array->begin(), array->end(),
                    [](const auto &a, const auto &b) { return a->isEqual(*b); });
}

NSString NSArray::description() const { return propertyListDescription(*this); }

} // namespace tesker
