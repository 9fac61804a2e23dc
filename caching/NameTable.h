// NameTable.h - small values by file name, for the files of one directory.
//
// A walk over a directory asks for its files in the order of the listing, and the next walk in the
// same order again. Entries therefore stand in the order in which they came, and the one behind the
// last hit is tried first: a walk is answered by one comparison for each file and reads straight
// on, where the standard table goes to another place in memory for each (five times as long over
// 100000 files). Any other look-up goes through slots with the hash of the name and the place of
// its entry; slots and entries stand close together, so that it waits for memory twice, where a
// table of nodes waits three times. benchmarks/CachingBenchmark.cpp has the standard table beside
// this one.
//
// The strings share their bytes with those of the listing, and are the same at a glance. Their
// hashes depend on a key of the process: nobody can choose names that meet in one slot. Entries go
// only all together.
#pragma once

#include "platform/foundation/NSString.h"

#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory_resource>
#include <new>
#include <optional>
#include <vector>

namespace tesker {

template <class Value> class NameTable {
public:
  explicit NameTable(NSZone &zone) : zone_(&zone), slots_(&zone), entries_(&zone) {}

  // The name's value; nothing when there is none.
  std::optional<Value> find(const NSString &name) {
    std::size_t place = expected_ < entries_.size() ? expected_ : 0;
    if (place == entries_.size() || entries_[place].name != name) {
      place = lookUp(name);
      if (place == kNone)
        return std::nullopt;
    }
    expected_ = place + 1;
    return entries_[place].value;
  }

  // Adds a value under a copy of the name, which is not in the table. Raises std::bad_alloc when
  // there is no room, and changes nothing then.
  void insert(const NSString &name, Value value) {
    if (entries_.size() >= kNone)
      throw std::bad_alloc();
    makeRoomForSlot();
    entries_.push_back({name.copy(*zone_), value});
    put(slots_, {tagOf(name), static_cast<std::uint32_t>(entries_.size())});
  }

private:
  struct Entry {
    NSString name;
    Value value;
  };
  struct Slot {
    std::uint32_t tag = 0;   // the hash
    std::uint32_t place = 0; // of the entry, counted from 1; 0 for a free slot
  };
  using Slots = std::pmr::vector<Slot>;

  static constexpr std::size_t kNone = std::numeric_limits<std::uint32_t>::max();
  static constexpr std::size_t kFirstSlots = 16;

  static std::uint32_t tagOf(const NSString &name) {
    return static_cast<std::uint32_t>(name.hash());
  }

  std::size_t lookUp(const NSString &name) const {
    if (slots_.empty())
      return kNone;
    const std::uint32_t tag = tagOf(name);
    const std::size_t mask = slots_.size() - 1;
    for (std::size_t i = tag & mask; slots_[i].place != 0; i = (i + 1) & mask)
      if (slots_[i].tag == tag && entries_[slots_[i].place - 1].name == name)
        return slots_[i].place - 1;
    return kNone;
  }

  static void put(Slots &slots, Slot slot) {
    std::size_t i = slot.tag & (slots.size() - 1);
    while (slots[i].place != 0)
      i = (i + 1) & (slots.size() - 1);
    slots[i] = slot;
  }
  // A fifth of the slots stays free, so that a search for what is not there ends soon.
  void makeRoomForSlot() {
    if ((entries_.size() + 1) * 5 <= slots_.size() * 4)
      return;
    Slots larger(slots_.empty() ? kFirstSlots : 2 * slots_.size(), slots_.get_allocator());
    for (const Slot &slot : slots_)
      if (slot.place != 0)
        put(larger, slot);
    slots_.swap(larger);
  }

  NSZone *zone_;
  Slots slots_; // a power of two of them
  std::pmr::vector<Entry> entries_;
  std::size_t expected_ = 0; // the entry behind the last hit
};

} // namespace tesker
