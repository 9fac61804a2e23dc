#include "caching/DirFileStatEntry.h"

#include "filesystem/ErrorTexts.h"
#include "platform/foundation/OperatingSystem.h"

#include <bit>
#include <cstddef>
#include <limits>
#include <memory_resource>
#include <new>
#include <type_traits>
#include <unistd.h>
#include <vector>

namespace tesker {

std::int32_t nbDirFileStatEntryPages = 0;

namespace {

// A slot in use holds the record; one that is not, the number of the next such slot.
union Slot {
  Slot() : nextFree(0) {}
  NSFileAttributes record;
  std::uint32_t nextFree;
};
static_assert(std::is_trivially_copyable_v<NSFileAttributes>, "slots move when the table grows");

struct SlotTable {
  std::pmr::vector<Slot> slots{1, &NSDefaultMallocZone()}; // slot 0 stands for nothing
  std::uint32_t firstFree = 0;                             // 0 for none
  std::size_t inUse = 0;
};

SlotTable &slotTable() {
  static auto &table = *new SlotTable;
  return table;
}

std::uint32_t takeSlot(SlotTable &table) {
  std::uint32_t slot = table.firstFree;
  if (slot != 0) {
    table.firstFree = table.slots[slot].nextFree;
  } else {
    if (table.slots.size() > std::numeric_limits<std::uint32_t>::max())
      throw std::bad_alloc();
    slot = static_cast<std::uint32_t>(table.slots.size());
    table.slots.emplace_back();
  }
  ++table.inUse;
  return slot;
}

struct PageTable {
  std::size_t pageSize = static_cast<std::size_t>(sysconf(_SC_PAGESIZE)); // vm_page_size
  // Page sizes are powers of two.
  int offsetBits = std::countr_zero(pageSize);
  std::vector<std::byte *> pages{nullptr}; // page number 0 is not used
  DirFileStatHandle freeList = 0;

  bool isFull() const { return pages.size() >= (std::uint64_t{1} << 32) >> offsetBits; }
};

PageTable &pageTable() {
  static auto &table = *new PageTable;
  return table;
}

std::byte *addressOf(const PageTable &table, DirFileStatHandle handle) {
  return table.pages[handle >> table.offsetBits] + (handle & (table.pageSize - 1));
}

// Takes a page and puts its entries on the free list, each in front of the one before it.
void takePage(PageTable &table) {
  // Room for its number first, so that a page that was taken is never lost.
  if (table.pages.size() == table.pages.capacity())
    table.pages.reserve(2 * table.pages.size());
  void *page = table.isFull() ? nullptr : OperatingSystem::current().allocatePages(table.pageSize);
  if (page == nullptr) {
    TeskerBug("newDirFileStatEntry 1");
    return;
  }
  ++nbDirFileStatEntryPages;
  const std::size_t start = table.pages.size() << table.offsetBits;
  table.pages.push_back(static_cast<std::byte *>(page));
  for (std::size_t offset = 0; offset + sizeof(DirFileStatEntry) <= table.pageSize;
       offset += sizeof(DirFileStatEntry)) {
    const auto handle = static_cast<DirFileStatHandle>(start + offset);
    auto *entry = new (addressOf(table, handle)) DirFileStatEntry;
    entry->next = std::exchange(table.freeList, handle);
  }
}

} // namespace

RecordHandle &RecordHandle::operator=(const std::optional<NSFileAttributes> &record) {
  if (!record)
    return *this = std::nullopt;
  SlotTable &table = slotTable();
  if (slot_ == 0)
    slot_ = takeSlot(table);
  new (&table.slots[slot_].record) NSFileAttributes(*record);
  return *this;
}

RecordHandle &RecordHandle::operator=(std::nullopt_t) noexcept {
  if (slot_ != 0) {
    SlotTable &table = slotTable();
    table.slots[slot_].nextFree = std::exchange(table.firstFree, slot_);
    --table.inUse;
    slot_ = 0;
  }
  return *this;
}

std::optional<NSFileAttributes> RecordHandle::record() const {
  return slot_ != 0 ? std::optional(slotTable().slots[slot_].record) : std::nullopt;
}

void RecordHandle::fetchSoon(std::uint32_t slot) {
  // A record may begin in one line of the processor's cache and end in the next.
  const Slot *address = &slotTable().slots[slot];
  __builtin_prefetch(address);
  __builtin_prefetch(address + 1);
}

std::size_t recordsInUse() { return slotTable().inUse; }

DirFileStatEntry &dirFileStatEntry(DirFileStatHandle handle) {
  return *std::launder(reinterpret_cast<DirFileStatEntry *>(addressOf(pageTable(), handle)));
}

DirFileStatHandle newDirFileStatEntry() {
  PageTable &table = pageTable();
  if (table.freeList == 0) {
    takePage(table);
    if (table.freeList == 0) {
      TeskerBug("newDirFileStatEntry 2");
      return 0;
    }
  }
  const DirFileStatHandle handle = table.freeList;
  table.freeList = std::exchange(dirFileStatEntry(handle).next, 0);
  return handle;
}

void freeDirFileStatEntry(DirFileStatHandle handle) {
  DirFileStatEntry &entry = dirFileStatEntry(handle);
  entry.statInfo = std::nullopt;
  entry.lstatInfo = std::nullopt;
  entry.next = std::exchange(pageTable().freeList, handle);
}

} // namespace tesker
