#include "platform/foundation/PairTable.h"

#include "platform/foundation/KeyedHash.h"

#include <algorithm>

namespace tesker {

NSObject *PairTable::find(std::string_view key) const {
  const std::size_t place = placeOf(key);
  return place < pairs_.size() ? &*pairs_[place].value : nullptr;
}

void PairTable::set(const NSString &key, Ref<NSObject> value) {
  const std::size_t place = placeOf(key.bytes());
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
  const std::size_t place = placeOf(key);
  if (place == pairs_.size())
    return;
  index_.reset();
  pairs_.erase(pairs_.begin() + static_cast<std::ptrdiff_t>(place));
  indexIfLarge();
}

std::size_t PairTable::placeOf(std::string_view key) const {
  if (index_) {
    const auto found = index_->find(key);
    return found == index_->end() ? pairs_.size() : found->second;
  }
  const auto found =
      std::ranges::find_if(pairs_, [key](const Pair &pair) { return pair.key.bytes() == key; });
  return static_cast<std::size_t>(found - pairs_.begin());
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
