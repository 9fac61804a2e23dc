#include "filesystem/TeskerObjectTable.h"

#include <algorithm>

namespace tesker {

Ref<TeskerObjectTable> TeskerObjectTable::create(std::size_t capacity, NSZone &zone) {
  auto made = allocate<TeskerObjectTable>(zone, zone);
  made->table_.reserve(capacity);
  return made;
}

std::size_t TeskerObjectTable::count() const { return table_.size(); }

bool TeskerObjectTable::hasValueForObject(const NSObject &object) const {
  return table_.contains(object);
}

void *TeskerObjectTable::valueForObject(const NSObject &object) const {
  const auto found = table_.find(object);
  return found != table_.end() ? found->second : nullptr;
}

void TeskerObjectTable::setValueForObject(void *value, Ref<NSObject> object) {
  // For a key already there nothing is moved, and the given reference goes with the argument.
  table_.try_emplace(std::move(object)).first->second = value;
}

void *TeskerObjectTable::valueForObjectOrSet(void *value, const Ref<NSObject> &object) {
  return table_.try_emplace(object, value).first->second;
}

void TeskerObjectTable::removeValueForObject(const NSObject &object) {
  const auto found = table_.find(object);
  if (found != table_.end())
    table_.erase(found);
}

void TeskerObjectTable::removeAllObjects() { table_.clear(); }

std::vector<Ref<NSObject>> TeskerObjectTable::allObjects() const {
  std::vector<Ref<NSObject>> keys;
  keys.reserve(count());
  for (const auto &pair : table_)
    keys.push_back(pair.first);
  return keys;
}

// Tables that are equal have equal counts; values are pointers that say nothing of themselves.
std::size_t TeskerObjectTable::hash() const { return count(); }

bool TeskerObjectTable::isEqual(const NSObject &other) const {
  const auto *table = dynamic_cast<const TeskerObjectTable *>(&other);
  return table != nullptr && table->count() == count() &&
         std::all_of(table->table_.begin(), table->table_.end(), [this](const auto &pair) {
           const auto found = table_.find(pair.first);
           return found != table_.end() && found->second == pair.second;
         });
}

} // namespace tesker
