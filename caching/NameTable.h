// NameTable.h - values by file name, for the files of one directory. Internal to the caches.
//
// A walk over a directory asks for its files in the order of the listing, and the next walk in the
// same order again. Entries therefore know which one was made after them, and the one after the
// last hit is tried first: a walk is answered by one comparison for each file, without a hash and
// without a jump to somewhere else in memory, which in a large table is what a look-up costs.
// Entries are only ever removed all together.
#pragma once

#include "platform/foundation/NSString.h"

#include <memory_resource>
#include <unordered_map>
#include <utility>

namespace tesker {

template <class Value> class NameTable {
public:
  explicit NameTable(NSZone &zone) : zone_(zone), entries_(&zone) {}
  NameTable(const NameTable &) = delete;
  NameTable &operator=(const NameTable &) = delete;

  // The name's value; null when there is none.
  Value *find(const NSString &name) {
    if (expected_ == nullptr || !expected_->first->isEqualToString(name)) {
      const auto found = entries_.find(name);
      if (found == entries_.end())
        return nullptr;
      expected_ = &*found;
    }
    Slot &slot = expected_->second;
    expected_ = slot.following;
    return &slot.value;
  }

  // Adds a value under a copy of the name, which is not in the table.
  void insert(const NSString &name, Value value) {
    Entry &entry = *entries_.emplace(name.copy(zone_), Slot{std::move(value), nullptr}).first;
    if (newest_ != nullptr)
      newest_->second.following = &entry;
    newest_ = &entry;
  }

private:
  struct Slot;
  using Entry = std::pair<const Ref<NSString>, Slot>;
  struct Slot {
    Value value;
    Entry *following; // the entry that was made next; null for the newest
  };

  NSZone &zone_;
  std::pmr::unordered_map<Ref<NSString>, Slot, StringKeyHash, StringKeyEqual> entries_;
  Entry *expected_ = nullptr; // the one after the last hit
  Entry *newest_ = nullptr;
};

} // namespace tesker
