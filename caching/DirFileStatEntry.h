// DirFileStatEntry.h - the entries of the attribute cache, and where they and their records lie.
//
// There is one entry for each file looked at, so they are small: 20 bytes, carved out of whole
// pages (204 out of one of 4096 bytes), and recycled through a list of free ones. Pages are never
// given back; they live as long as the process. Entries are known by 32-bit handles: the high bits
// are the number of the page, from 1 up, the low ones the offset in it (as many bits as the page
// size has), so resolving is one indexed read and an addition. Handle 0 is none. That makes room
// for 4 GB of entries. A handle is valid from newDirFileStatEntry until freeDirFileStatEntry, and
// is handed out again after that.
//
// The attributes themselves lie in slots of one table of the process, known by their numbers, which
// also fit four bytes. The table grows to the largest number of slots in use at one time and stays
// so.
//
// What was freed last is handed out first, entries and slots. Those of a directory are therefore
// given back in the reverse of the order in which they were made: the next walk gets them in the
// order of memory again.
#pragma once

#include "caching/FilerCache.h"
#include "filesystem/TSStatMethods.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <utility>

namespace tesker {

// File attributes, or none, in four bytes: the number of a slot, 0 for none. The slot belongs to
// the handle; destroying the handle or giving it nothing gives the slot back.
class RecordHandle {
public:
  RecordHandle() = default;
  RecordHandle(RecordHandle &&other) noexcept : slot_(std::exchange(other.slot_, 0)) {}
  RecordHandle &operator=(RecordHandle &&other) noexcept {
    std::swap(slot_, other.slot_);
    return *this;
  }
  ~RecordHandle() { *this = std::nullopt; }

  // Keeps the record in place of the one before. Raises std::bad_alloc when there is no room, and
  // changes nothing then.
  RecordHandle &operator=(const std::optional<NSFileAttributes> &record);
  RecordHandle &operator=(std::nullopt_t) noexcept;
  std::optional<NSFileAttributes> record() const;

  // The number of the slot, 0 for none; and having the processor fetch what a slot holds while it
  // does something else.
  std::uint32_t slot() const { return slot_; }
  static void fetchSoon(std::uint32_t slot);

private:
  std::uint32_t slot_ = 0;
};

// How many slots are in use, for tests and anyone looking with a debugger.
std::size_t recordsInUse();

using DirFileStatHandle = std::uint32_t;

struct DirFileStatEntry {
  FilerTS stamp;
  RecordHandle lstatInfo; // the file itself, a link not followed
  RecordHandle statInfo;  // what a link leads to, once it was asked for
  // In use, the entry made before it in its directory; otherwise the next in the list of free ones.
  DirFileStatHandle next = 0;
};
static_assert(sizeof(DirFileStatEntry) == 20, "204 entries fit a page of 4096 bytes");

// How many pages were taken.
extern std::int32_t nbDirFileStatEntryPages;

// A cleared entry. Takes a page when the list of free entries is empty; when the system has none,
// "newDirFileStatEntry 1" and "newDirFileStatEntry 2" are logged and the answer is 0.
[[nodiscard]] DirFileStatHandle newDirFileStatEntry();
// Gives the entry's records back, and the entry itself to the list. Not for 0.
void freeDirFileStatEntry(DirFileStatHandle handle);
// The entry of a handle other than 0. Entries do not move.
DirFileStatEntry &dirFileStatEntry(DirFileStatHandle handle);

// The entries of one directory, given back with their owner.
class DirFileStatEntries {
public:
  DirFileStatEntries() = default;
  DirFileStatEntries(DirFileStatEntries &&other) noexcept
      : newest_(std::exchange(other.newest_, 0)) {}
  DirFileStatEntries &operator=(DirFileStatEntries &&other) noexcept {
    std::swap(newest_, other.newest_);
    return *this;
  }
  ~DirFileStatEntries() {
    while (newest_ != 0)
      removeNewest();
  }

  // A further entry, cleared; 0 when there is no memory.
  [[nodiscard]] DirFileStatHandle add() {
    const DirFileStatHandle made = newDirFileStatEntry();
    if (made != 0)
      dirFileStatEntry(made).next = std::exchange(newest_, made);
    return made;
  }
  // Takes back what add() gave last.
  void removeNewest() {
    const DirFileStatHandle before = dirFileStatEntry(newest_).next;
    freeDirFileStatEntry(std::exchange(newest_, before));
  }

private:
  DirFileStatHandle newest_ = 0;
};

} // namespace tesker
