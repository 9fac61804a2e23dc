#include "caching/DirFileStatEntry.h"

#include "filesystem/FileManagerUtils.h"
#include "platform/foundation/OperatingSystem.h"

#include <bit>
#include <cstddef>
#include <new>
#include <unistd.h>
#include <vector>

namespace tesker {

std::int32_t nbDirFileStatEntryPages = 0;

namespace {

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
  table.freeList = dirFileStatEntry(handle).next;
  return handle;
}

void freeDirFileStatEntry(DirFileStatHandle handle) {
  DirFileStatEntry &entry = dirFileStatEntry(handle);
  entry.lstatInfo = RecordHandle();
  entry.statInfo = RecordHandle();
  entry.next = std::exchange(pageTable().freeList, handle);
}

} // namespace tesker
