#include "caching/RecordHandle.h"

#include <cstddef>
#include <limits>
#include <memory_resource>
#include <new>
#include <vector>

namespace tesker {

namespace {

// A slot in use holds the record, with one reference on it; one that is not, the next such slot.
union Slot {
  NSFileAttributes *record;
  std::uint32_t nextFree;
};

struct SlotTable {
  std::pmr::vector<Slot> slots{1, Slot{nullptr}, &NSDefaultMallocZone()}; // slot 0 stands for nil
  std::uint32_t firstFree = 0;                                            // 0 for none
};

SlotTable &slotTable() {
  static auto &table = *new SlotTable;
  return table;
}

std::uint32_t takeSlot(SlotTable &table) {
  if (table.firstFree != 0)
    return std::exchange(table.firstFree, table.slots[table.firstFree].nextFree);
  const std::size_t next = table.slots.size();
  if (next > std::numeric_limits<std::uint32_t>::max())
    throw std::bad_alloc();
  table.slots.push_back(Slot{nullptr});
  return static_cast<std::uint32_t>(next);
}

} // namespace

RecordHandle::RecordHandle(RefPtr<NSFileAttributes> record) {
  if (!record)
    return;
  SlotTable &table = slotTable();
  slot_ = takeSlot(table);
  table.slots[slot_].record = record.leak();
}

RecordHandle::~RecordHandle() {
  if (slot_ == 0)
    return;
  SlotTable &table = slotTable();
  table.slots[slot_].record->release();
  table.slots[slot_].nextFree = std::exchange(table.firstFree, slot_);
}

NSFileAttributes *RecordHandle::get() const {
  return slot_ != 0 ? slotTable().slots[slot_].record : nullptr;
}

} // namespace tesker
