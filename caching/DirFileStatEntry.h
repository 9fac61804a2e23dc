// DirFileStatEntry.h - the entries of the attribute cache, and the pages that they come from.
//
// There is one entry for each file looked at, so they are small: 20 bytes, carved out of whole
// pages (204 out of one of 4096 bytes), and recycled through a list of free ones. Pages are never
// given back.
//
// Entries are known by 32-bit handles: the high bits are the number of the page, from 1 up, the
// low ones the offset in it (as many bits as the page size has), so resolving is one indexed read
// and an addition. Handle 0 is none. That makes room for 4 GB of entries. The handle is valid from
// newDirFileStatEntry until freeDirFileStatEntry, and is handed out again after that.
//
// Threading: one thread. Lifetime of the pages: that of the process.
#pragma once

#include "caching/FilerTS.h"
#include "caching/RecordHandle.h"

#include <cstdint>
#include <utility>

namespace tesker {

using DirFileStatHandle = std::uint32_t;

struct DirFileStatEntry {
  FilerTS stamp;
  RecordHandle lstatInfo;     // the file itself, a link not followed
  RecordHandle statInfo;      // what a link leads to, once it was asked for
  DirFileStatHandle next = 0; // in the list of free entries
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

// An entry that is given back with its owner; or none.
class OwnedDirFileStatEntry {
public:
  explicit OwnedDirFileStatEntry(DirFileStatHandle handle) : handle_(handle) {}
  OwnedDirFileStatEntry(OwnedDirFileStatEntry &&other) noexcept
      : handle_(std::exchange(other.handle_, 0)) {}
  OwnedDirFileStatEntry &operator=(OwnedDirFileStatEntry &&) = delete;
  ~OwnedDirFileStatEntry() {
    if (handle_ != 0)
      freeDirFileStatEntry(handle_);
  }

  explicit operator bool() const { return handle_ != 0; }
  DirFileStatEntry &operator*() const { return dirFileStatEntry(handle_); }

private:
  DirFileStatHandle handle_;
};

} // namespace tesker
