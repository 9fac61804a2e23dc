#include "platform/foundation/NSDictionary.h"

#include "platform/foundation/KeyedHash.h"
#include "platform/foundation/NSException.h"
#include "platform/foundation/PropertyList.h"

#include <map>
#include <memory_resource>
#include <optional>
#include <vector>

namespace tesker {

namespace {

// The pairs in insertion order. Most dictionaries are records of a few keys, which a walk over the
// pairs finds fastest; a larger one keeps an index from key bytes to place beside them.
class PairDictionary final : public NSMutableDictionary {
public:
  std::size_t count() const override { return pairs_.size(); }

  RefPtr<NSObject> objectForKey(std::string_view key) const override {
    const std::size_t place = find(key);
    if (place == pairs_.size())
      return nullptr;
    return pairs_[place].value;
  }

  NSKeyEnumerator keyEnumerator() const override {
    auto keys = NSMutableArray::create(pairs_.size());
    for (const Pair &pair : pairs_)
      keys->addObject(pair.key);
    return NSKeyEnumerator(std::move(keys));
  }

  void setObjectForKey(RefPtr<NSObject> object, const NSString &key) override {
    if (!object)
      throw NSException(NSInvalidArgumentException, "attempt to set a nil value in a dictionary");
    const std::size_t place = find(key.bytes());
    if (place < pairs_.size()) {
      pairs_[place].value = object.toRef();
      return;
    }
    pairs_.push_back({key.copy(zone()), object.toRef()});
    if (index_)
      index_->emplace(pairs_.back().key->bytes(), place);
    else if (pairs_.size() > kLargestWithoutIndex)
      makeIndex();
  }

  void removeObjectForKey(std::string_view key) override {
    const std::size_t place = find(key);
    if (place == pairs_.size())
      return;
    index_.reset();
    pairs_.erase(pairs_.begin() + static_cast<std::ptrdiff_t>(place));
    if (pairs_.size() > kLargestWithoutIndex)
      makeIndex();
  }

  void reserve(std::size_t capacity) { pairs_.reserve(capacity); }

private:
  friend NSObject;
  explicit PairDictionary(NSZone &zone) : pairs_(&zone) {}

  struct Pair {
    Ref<NSString> key;
    Ref<NSObject> value;
  };
  static constexpr std::size_t kLargestWithoutIndex = 16;

  // The place of the key, or the number of pairs when it is not there.
  std::size_t find(std::string_view key) const {
    if (index_) {
      const auto found = index_->find(key);
      return found == index_->end() ? pairs_.size() : found->second;
    }
    std::size_t place = 0;
    while (place < pairs_.size() && pairs_[place].key->bytes() != key)
      ++place;
    return place;
  }

  void makeIndex() {
    index_.emplace(&zone());
    for (std::size_t place = 0; place < pairs_.size(); ++place)
      index_->emplace(pairs_[place].key->bytes(), place);
  }

  std::pmr::vector<Pair> pairs_;
  // The index's keys are the bytes of the strings in pairs_, which do not move.
  // Ordered, because keys that a hostile file chose could all have one hash.
  std::optional<std::pmr::map<std::string_view, std::size_t>> index_;
};

} // namespace

RefPtr<NSString> NSKeyEnumerator::nextObject() {
  if (next_ == keys_->count())
    return nullptr;
  return as<NSString>(keys_->objectAtIndex(next_++));
}

Ref<NSMutableArray> NSDictionary::allKeys() const {
  auto keys = NSMutableArray::create(count());
  auto enumerator = keyEnumerator();
  while (auto key = enumerator.nextObject())
    keys->addObject(std::move(key));
  return keys;
}

// A sum, so that the order does not matter; each pair is mixed so that who belongs to whom does.
std::size_t NSDictionary::hash() const {
  std::size_t hash = count();
  auto enumerator = keyEnumerator();
  while (auto key = enumerator.nextObject())
    hash += keyedHash(key->hash(), objectForKey(key->bytes())->hash());
  return hash;
}

bool NSDictionary::isEqual(const NSObject *other) const {
  const auto *dictionary = as<NSDictionary>(other);
  if (dictionary == nullptr || dictionary->count() != count())
    return false;
  auto enumerator = keyEnumerator();
  while (auto key = enumerator.nextObject()) {
    const auto theirs = dictionary->objectForKey(key->bytes());
    if (!theirs || !objectForKey(key->bytes())->isEqual(theirs.get()))
      return false;
  }
  return true;
}

Ref<NSString> NSDictionary::description() const { return propertyListDescription(*this); }

Ref<NSMutableDictionary> NSMutableDictionary::create(std::size_t capacity, NSZone &zone) {
  auto made = allocate<PairDictionary>(zone, zone);
  made->reserve(capacity);
  return made;
}

void NSMutableDictionary::addEntriesFromDictionary(const NSDictionary &other) {
  auto enumerator = other.keyEnumerator();
  while (auto key = enumerator.nextObject())
    setObjectForKey(other.objectForKey(key->bytes()), *key);
}

Ref<NSMutableDictionary> NSMutableDictionary::copyOf(const NSDictionary &other, NSZone &zone) {
  auto made = create(other.count(), zone);
  made->addEntriesFromDictionary(other);
  return made;
}

} // namespace tesker
