// FilerCache.h - what the caches of directories have in common.
//
// A cache remembers one value for each directory and drops it when the directory changes. A
// directory is known by its identity (device and inode), not by its path, so that all paths to it
// share one entry. A directory that cannot be examined has no identity and is not cached.
//
// Validation. A cache takes part in a validation whose mask has a bit in common with its own. That
// removes nothing: entries from before are compared with their directory at their next use, by
// change date (ChangeTest.h says what that can miss), and removed if it has changed.
//
// One-entry memory. The last directory that was found is remembered by its path and its entry given
// again for the same path, whatever has happened since: neither a validation nor a rename is seen
// before another directory has been asked for. It is what answers a walk over one directory without
// any look-up.
//
// Lifetime: a cache is in CachingFileManager::caches() for as long as it lives, and is validated,
// reset and flushed with the others. Threading: one thread.
#pragma once

#include "caching/EntryTable.h"
#include "caching/FilerTS.h"
#include "filesystem/TSStatMethods.h"
#include "platform/foundation/NSString.h"

#include <cstddef>
#include <cstdint>

namespace tesker {

class FilerCache : public NSObject {
public:
  // Moves the cache's own validation stamp to now when the masks have a bit in common.
  virtual void validate(std::int32_t mask);
  // Removes everything and counts as a validation of this cache. The entries made until the next
  // common validation are stamped with the last common one, which is then older than the cache's
  // own: they are put to the change test at every use, which costs time but no answer.
  virtual void reset();
  // Removes the directory's entry; nothing when there is none, when the directory cannot be
  // examined or when examining it raises.
  virtual void flushDir(const NSString &dir);
  // Removes entries stamped more than age seconds before the newest, at most kLargestFlush of them,
  // and says how many. See FilerTS.h for what a stamp is.
  virtual std::int32_t flushVeryOld(std::int32_t age);

protected:
  // The entry of one directory.
  struct DirEntry {
    DirFileUID identity;
    FilerTS stamp;
    RefPtr<NSDate> changeDate; // of the directory, when the entry was made or last confirmed
    RefPtr<NSObject> data;
  };

  // Puts the cache into CachingFileManager::caches(); the zone holds the entries.
  FilerCache(std::int32_t validateMask, NSZone &zone);
  ~FilerCache() override; // takes it out again

  // The directory's entry, or null when it has none or cannot be examined. A stale entry of a
  // directory that has changed is removed with flushIfChanged, and otherwise kept with the new
  // change date, for caches whose values have dates of their own.
  DirEntry *getDirEntry(const NSString &dir, bool flushIfChanged);
  // The same with flushIfChanged, and a new entry without data where there is none. Null when the
  // directory cannot be examined.
  DirEntry *ensureEntry(const NSString &dir);
  void flushDirEntry(DirEntry &entry);
  // Whether an entry with that stamp needs no comparison.
  bool isValid(const FilerTS &stamp) const { return stamp >= lastValidateDate_; }

  // Notes that the file system had to be asked.
  void countMiss() { ++statistics_; }

private:
  friend struct FilerCachePeer; // for tests

  struct hashDirEntry {
    std::size_t operator()(const DirEntry *entry) const {
      return static_cast<std::size_t>(entry->identity.device ^ entry->identity.inode);
    }
  };
  struct isEqualDirEntry {
    bool operator()(const DirEntry *a, const DirEntry *b) const {
      return a->identity == b->identity;
    }
  };

  bool isLastCached(const NSString &dir) const;
  void remember(const NSString &dir, DirEntry &entry);

  EntryTable<DirEntry, hashDirEntry, isEqualDirEntry> dirs_;
  FilerTS lastValidateDate_;
  std::int32_t statistics_ = 0; // misses, for whoever looks with a debugger
  std::int32_t validateMask_;
  // The one-entry memory; it counts only while there is an item. Forgetting the item leaves the
  // path string held until the next hit takes its place.
  RefPtr<NSString> lastCachedDirName_;
  DirEntry *lastCachedItem_ = nullptr;
};

} // namespace tesker
