// PairTable.h - keys with their values, in the order in which they came.
//
// What dictionaries and records are made of. Keys are strings, never nil; values are objects, never
// nil. Replacing a value keeps the key's place, so the same input gives the same order. Most tables
// are records of a few keys, which a walk over the pairs finds fastest; a larger one keeps an index
// beside them. A table that was moved from may only be destroyed or assigned to.
#pragma once

#include "platform/foundation/NSString.h"

#include <map>
#include <memory>
#include <memory_resource>
#include <string_view>
#include <utility>
#include <vector>

namespace tesker {

struct Pair {
  NSString key;
  Ref<NSObject> value;
};

class PairTable {
public:
  // Memory comes from the zone; there is room for capacity pairs before it has to grow.
  explicit PairTable(std::size_t capacity, NSZone &zone) : pairs_(&zone) {
    pairs_.reserve(capacity);
  }
  PairTable(const PairTable &other) : pairs_(other.pairs_, other.pairs_.get_allocator()) {
    indexIfLarge();
  }
  PairTable(PairTable &&other) noexcept = default;
  // The table stays in its zone: from another one the pairs are moved one by one.
  PairTable &operator=(PairTable other) {
    pairs_ = std::move(other.pairs_);
    index_ = std::move(other.index_);
    return *this;
  }

  std::size_t count() const { return pairs_.size(); }
  auto begin() const { return pairs_.begin(); }
  auto end() const { return pairs_.end(); }

  // The value, lent until the table changes; nil when there is none for the key.
  NSObject *find(std::string_view key) const;
  void set(const NSString &key, Ref<NSObject> value);
  // Nothing when there is no such key.
  void remove(std::string_view key);

  // Equal values for the same keys, in whatever order.
  bool operator==(const PairTable &other) const;
  // Does not depend on the order.
  std::size_t hash() const;

private:
  // The place of the key, given as a string or as its bytes; the number of pairs when it is not
  // there.
  template <class Key> std::size_t placeOf(const Key &key, std::string_view bytes) const;
  void indexIfLarge() {
    if (pairs_.size() > kLargestWithoutIndex)
      makeIndex();
  }
  void makeIndex();

  static constexpr std::size_t kLargestWithoutIndex = 16;

  std::pmr::vector<Pair> pairs_;
  // From the bytes of the strings in pairs_, which do not move, to their places. Ordered, because
  // keys that a hostile file chose could all have one hash.
  using Index = std::map<std::string_view, std::size_t>;
  std::unique_ptr<Index> index_;
};

} // namespace tesker
