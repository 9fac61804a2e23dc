// FilerDirCache.h - one value for each directory. See FilerCache.h.
//
// A directory is known by its identity (device and inode), not by its path, so that all paths to it
// share one entry. A directory that cannot be examined has no identity and is not cached.
//
// One-entry memory. The last directory that was found is remembered by its path, and answers a walk
// over one directory without any look-up. Kept: its entry is given again for the same path,
// whatever has happened since; neither a validation nor a rename is seen before another directory
// has been asked for. Any test in front of it would be paid for by every file of every directory.
//
// Values are lent: a pointer is good until this cache is asked again or changed.
#pragma once

#include "caching/FilerCache.h"
#include "caching/GlobalStatCache.h"

#include <unordered_map>
#include <utility>

namespace tesker {

template <class Value> class FilerDirCache : public FilerCache {
public:
  // A new cache that takes part in validations with a bit of the mask.
  explicit FilerDirCache(std::int32_t validateMask, NSZone &zone = NSDefaultMallocZone())
      : FilerCache(validateMask, zone), dirs_(&zone) {}

  // The value of the directory; null when there is none that still holds.
  [[nodiscard]] Value *getDir(const NSString &dir) {
    Directory *found = getDirEntry(dir, IfChanged::flush);
    return found != nullptr ? found->second.value() : nullptr;
  }
  // Keeps the value, in place of the one before, and lends it. Null for no value, and when the
  // directory cannot be examined; then nothing is kept. An exception out of the file-system layer
  // passes, and nothing is kept either.
  Value *insertDir(const NSString &dir, std::optional<Value> data) {
    Directory *entry = ensureEntry(dir);
    if (entry == nullptr)
      return nullptr;
    entry->second.data = std::move(data);
    return entry->second.value();
  }
  void removeDir(const NSString &dir) { flushDir(dir); }

  void reset() override;
  // Kept: nothing also when the directory cannot be examined, or when examining it raises: the
  // caller only wants it gone, and what cannot be found cannot be flushed.
  void flushDir(const NSString &dir) override;
  std::int32_t flushVeryOld(std::int32_t age) override {
    return flushVeryOldEntries(dirs_, age, [this](auto place) { flushDirEntry(*place); });
  }

protected:
  struct hashDirEntry {
    std::size_t operator()(const DirFileUID &identity) const {
      return static_cast<std::size_t>(identity.device ^ identity.inode);
    }
  };
  struct isEqualDirEntry {
    bool operator()(const DirFileUID &a, const DirFileUID &b) const { return a == b; }
  };
  using Directories =
      std::pmr::unordered_map<DirFileUID, CacheEntry<Value>, hashDirEntry, isEqualDirEntry>;
  using Directory = typename Directories::value_type;

  // What becomes of the stale entry of a directory that has changed: it is removed, or it is kept
  // with the new change time, for values that have change times of their own.
  enum class IfChanged { flush, keep };
  // The directory's entry, or null when it has none or cannot be examined.
  Directory *getDirEntry(const NSString &dir, IfChanged ifChanged);
  // The same with IfChanged::flush, and a new entry without data where there is none. Null when the
  // directory cannot be examined.
  Directory *ensureEntry(const NSString &dir);
  void flushDirEntry(const Directory &entry);

  // The value of the directory, a new one in the cache's zone where there is none. Null when the
  // directory cannot be examined.
  Value *ensureValue(const NSString &dir) {
    Value *value = getDir(dir);
    return value != nullptr ? value : insertDir(dir, Value(zone()));
  }

private:
  friend struct FilerDirCachePeer; // for tests

  void remember(const NSString &dir, Directory &entry) {
    if (!staticCacheEnabled)
      return;
    lastCachedDirName_ = dir;
    lastCachedItem_ = &entry;
  }

  Directories dirs_;
  // The one-entry memory; it counts only while there is an item. Kept: forgetting the item leaves
  // the path string held until the next hit takes its place; it costs less than giving it back.
  NSString lastCachedDirName_;
  Directory *lastCachedItem_ = nullptr;
};

template <class Value> void FilerDirCache<Value>::reset() {
  lastCachedItem_ = nullptr;
  // A new table in place of the old one gives the buckets back too.
  Directories(&zone()).swap(dirs_);
  FilerCache::reset();
}

template <class Value> void FilerDirCache<Value>::flushDir(const NSString &dir) {
  try {
    if (const Directory *entry = getDirEntry(dir, IfChanged::flush))
      flushDirEntry(*entry);
  } catch (...) {
    // See above.
  }
}

template <class Value>
auto FilerDirCache<Value>::getDirEntry(const NSString &dir, IfChanged ifChanged) -> Directory * {
  if (staticCacheEnabled && lastCachedItem_ != nullptr && lastCachedDirName_ == dir)
    return lastCachedItem_;
  const auto attributes = globalCachedDirStat(dir, true);
  if (!attributes)
    return nullptr;
  const auto found = dirs_.find(attributes->buildDirFileUID());
  if (found == dirs_.end())
    return nullptr;
  CacheEntry<Value> &entry = found->second;
  if (!isValid(entry.stamp)) {
    if (hasChanged(attributes, entry.changeTime, entry.stamp)) {
      if (ifChanged == IfChanged::flush) {
        flushDirEntry(*found);
        return nullptr;
      }
      entry.changeTime = changeTimeOf(attributes);
    }
    setGlobalTS(entry.stamp);
  }
  remember(dir, *found);
  return &*found;
}

template <class Value> auto FilerDirCache<Value>::ensureEntry(const NSString &dir) -> Directory * {
  if (Directory *entry = getDirEntry(dir, IfChanged::flush))
    return entry;
  const auto attributes = globalCachedDirStat(dir, true);
  if (!attributes)
    return nullptr;
  Directory &made = *dirs_.try_emplace(attributes->buildDirFileUID()).first;
  made.second.changeTime = changeTimeOf(attributes);
  setGlobalTS(made.second.stamp);
  return &made;
}

template <class Value> void FilerDirCache<Value>::flushDirEntry(const Directory &entry) {
  lastCachedItem_ = nullptr;
  dirs_.erase(dirs_.find(entry.first));
}

} // namespace tesker
