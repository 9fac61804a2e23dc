#include "platform/foundation/NSArray.h"

#include "platform/foundation/KeyedHash.h"
#include "platform/foundation/NSException.h"
#include "platform/foundation/NSString.h"
#include "platform/foundation/PropertyList.h"

#include <algorithm>
#include <string>

namespace tesker {

namespace {

void checkIndex(std::size_t index, std::size_t count) {
  if (index >= count)
    throw NSException(NSRangeException,
                      "index " + std::to_string(index) + " beyond count " + std::to_string(count));
}

} // namespace

Ref<NSObject> NSArray::objectAtIndex(std::size_t index) const {
  checkIndex(index, count());
  return items_[index];
}

Ref<NSString> NSArray::componentsJoinedByString(std::string_view separator) const {
  std::string joined;
  for (const auto &item : items_) {
    if (&item != &items_.front())
      joined += separator;
    if (const auto *string = as<NSString>(&*item))
      joined += string->bytes();
    else
      joined += item->description()->bytes();
  }
  return NSString::create(joined);
}

Ref<NSMutableArray> NSArray::mutableCopy() const {
  auto made = NSMutableArray::create(count());
  made->addObjectsFromArray(this);
  return made;
}

// Takes in every element: the arrays of a hostile file must not all have one hash.
std::size_t NSArray::hash() const {
  std::size_t hash = count();
  for (const auto &item : items_)
    hash = keyedHash(hash, item->hash());
  return hash;
}

bool NSArray::isEqual(const NSObject *other) const {
  const auto *array = as<NSArray>(other);
  return array != nullptr &&
         std::equal(begin(), end(), array->begin(), array->end(),
                    [](const auto &a, const auto &b) { return a->isEqual(&*b); });
}

Ref<NSString> NSArray::description() const { return propertyListDescription(*this); }

Ref<NSMutableArray> NSMutableArray::create(std::size_t capacity, NSZone &zone) {
  auto made = allocate<NSMutableArray>(zone, zone);
  made->items_.reserve(capacity);
  return made;
}

void NSMutableArray::addObject(RefPtr<NSObject> object) {
  if (!object)
    throw NSException(NSInvalidArgumentException, "attempt to add nil to an array");
  items_.push_back(Ref<NSObject>::adopt(*object.leak()));
}

void NSMutableArray::addObjectsFromArray(const NSArray *other) {
  if (other == nullptr)
    return;
  const std::size_t added = other->count(); // as it is now: the other may be the receiver
  for (std::size_t i = 0; i < added; ++i)
    items_.push_back(other->objectAtIndex(i));
}

void NSMutableArray::removeObjectAtIndex(std::size_t index) {
  checkIndex(index, count());
  items_.erase(items_.begin() + static_cast<std::ptrdiff_t>(index));
}

void NSMutableArray::removeLastObject() {
  checkIndex(0, count());
  items_.pop_back();
}

void NSMutableArray::insertObject(Ref<NSObject> object, std::size_t index) {
  if (index != count())
    checkIndex(index, count());
  items_.insert(items_.begin() + static_cast<std::ptrdiff_t>(index), std::move(object));
}

void NSMutableArray::removeObjectIdenticalTo(const NSObject &object) {
  const auto found = std::find_if(items_.begin(), items_.end(),
                                  [&](const auto &item) { return &*item == &object; });
  if (found != items_.end())
    items_.erase(found);
}

} // namespace tesker
