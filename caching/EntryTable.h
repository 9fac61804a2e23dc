// EntryTable.h - a hash table that owns its entries. Internal to the caches.
//
// Entries are allocated in the table's zone one by one and do not move. Hash and Equal are functors
// over pointers to entries, as hashStringKey and isEqualStringKey are; a look-up takes an entry
// that has just what they look at.
#pragma once

#include "platform/foundation/NSZone.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <memory_resource>
#include <unordered_set>
#include <utility>

namespace tesker {

// No flush of very old entries removes more than this many at once, which bounds what it costs; the
// others wait for the next one.
inline constexpr std::size_t kLargestFlush = 20;

template <class Entry, class Hash, class Equal> class EntryTable {
public:
  explicit EntryTable(NSZone &zone) : zone_(zone), entries_(&zone) {}
  ~EntryTable() { reset(); }
  EntryTable(const EntryTable &) = delete;
  EntryTable &operator=(const EntryTable &) = delete;

  // The entry equal to the probe; null when there is none.
  Entry *find(Entry probe) const {
    const auto found = entries_.find(&probe);
    return found != entries_.end() ? *found : nullptr;
  }

  // Puts in an entry that is equal to none in the table.
  Entry &insert(Entry entry) {
    std::unique_ptr<Entry, Free> made(
        new (zone_.allocate(sizeof(Entry), alignof(Entry))) Entry(std::move(entry)), Free{&zone_});
    entries_.insert(made.get());
    return *made.release();
  }

  void remove(Entry &entry) {
    entries_.erase(&entry);
    Free{&zone_}(&entry);
  }

  // Frees every entry, and the buckets too.
  void reset() {
    Entries old(&zone_);
    old.swap(entries_);
    for (Entry *entry : old)
      Free{&zone_}(entry);
  }

  // Calls flush (which has to remove the entry) for those stamped more than age seconds before the
  // newest, for at most kLargestFlush of them and in reverse order of collection; answers how many.
  template <class Flush> std::int32_t flushVeryOld(std::int32_t age, Flush flush) {
    std::int32_t newest = 0;
    for (const Entry *entry : entries_)
      newest = std::max(newest, entry->stamp.time);
    std::array<Entry *, kLargestFlush> old;
    std::size_t count = 0;
    for (auto entry = entries_.begin(); entry != entries_.end() && count < old.size(); ++entry)
      if (std::int64_t{newest} - (*entry)->stamp.time > age)
        old[count++] = *entry;
    for (std::size_t i = count; i > 0; --i)
      flush(*old[i - 1]);
    return static_cast<std::int32_t>(count);
  }

  auto begin() const { return entries_.begin(); }
  auto end() const { return entries_.end(); }

private:
  struct Free {
    NSZone *zone;
    void operator()(Entry *entry) const {
      entry->~Entry();
      zone->deallocate(entry, sizeof(Entry), alignof(Entry));
    }
  };
  using Entries = std::pmr::unordered_set<Entry *, Hash, Equal>;

  NSZone &zone_;
  Entries entries_;
};

} // namespace tesker
