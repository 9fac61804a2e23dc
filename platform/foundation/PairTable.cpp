#include "platform/foundation/PairTable.h"

#include "platform/foundation/KeyedHash.h"

#include <algorithm>

namespace tesker {

template <class Key> std::size_t PairTable::placeOf(const Key &key, std::string_view bytes) const {
  if (index_) {
    const auto found = index_->find(bytes);
    return found == index_->end() ? pairs_.size() : found->second;
  }
  std::size_t place = 0;
  while (place < pairs_.size() && !(pairs_[place].key == key))
    ++place;
  return place;
}

NSObject *PairTable::find(std::string_view key) const {
  const std::size_t place = placeOf(key, key);
  return place < pairs_.size() ? &*pairs_[place].value : nullptr;
}

void PairTable::set(const NSString &key, Ref<NSObject> value) {
  (void)key.hash(); // by which other keys differ without a look at their bytes
  const std::size_t place = placeOf(key, key.bytes());
  if (place < pairs_.size()) {
    pairs_[place].value = std::move(value);
    return;
  }
  pairs_.push_back({key, std::move(value)});
  if (!index_ && pairs_.size() <= kLargestWithoutIndex)
    return;
  try {
    if (index_)
      index_->emplace(key.bytes(), place);
    else
      makeIndex();
  } catch (...) { // out of memory: no pair that the index does not know
    pairs_.pop_back();
    throw;
  }
}

void PairTable::remove(std::string_view key) {
  const std::size_t place = placeOf(key, key);
  if (place == pairs_.size())
    return;
  index_.reset();
  pairs_.erase(pairs_.begin() + static_cast<std::ptrdiff_t>(place));
  indexIfLarge();
}

void PairTable::makeIndex() {
  auto index = std::make_unique<Index>();
  for (std::size_t place = 0; place < pairs_.size(); ++place)
    index->emplace(pairs_[place].key.bytes(), place);
  index_ = std::move(index);
}

bool PairTable::operator==(const PairTable &other) const {
  return count() == other.count() && std::ranges::all_of(pairs_, [&](const Pair &pair) {
           const NSObject *theirs = other.find(pair.key.bytes());
           return theirs != nullptr && pair.value->isEqual(*theirs);
         });
}

// A sum, so that the order does not matter; each pair is mixed so that who belongs to whom does.
std::size_t PairTable::hash() const {
  std::size_t hash = count();
  for (const auto &[key, value] : pairs_)
    hash += keyedHash(key.hash(), value->hash());
  return hash;
}

} // namespace tesker
