// FilerNameDirCache.h - one value for each directory path; and the listings, kept so.
//
// Unlike the other caches of directories this one goes by the path string: two paths to one
// directory have two entries. It has no memory of the last directory of its own, but it learns
// about the directory from the global stat cache, which has one (GlobalStatCache.h).
//
// Values are lent: a pointer is good until this cache changes.
#pragma once

#include "caching/FilerCache.h"
#include "caching/GlobalStatCache.h"
#include "filesystem/TeskerFileManagerMethods.h"
#include "filesystem/TextFunctions.h"
#include "platform/foundation/NSException.h"

#include <unordered_map>
#include <utility>

namespace tesker {

template <class Value> class FilerNameDirCache : public FilerCache {
public:
  // A new cache that takes part in validations with a bit of the mask.
  explicit FilerNameDirCache(std::int32_t validateMask, NSZone &zone = NSDefaultMallocZone())
      : FilerCache(validateMask, zone), paths_(&zone) {}

  // The value of the path; null when there is none that still holds. A directory that can no longer
  // be examined has none.
  [[nodiscard]] Value *getDir(const NSString &dir);
  // Keeps the value, in place of the one before, also for a directory that cannot be examined, and
  // lends it; null for no value. An exception out of the file-system layer passes, and leaves no
  // value for the path: one that was there before goes too, since the caller has a newer one.
  Value *insertDir(const NSString &dir, std::optional<Value> data);
  void removeDir(const NSString &dir) { flushDir(dir); }

  void reset() override {
    // A new table in place of the old one gives the buckets back too.
    Paths(&zone()).swap(paths_);
    FilerCache::reset();
  }
  void flushDir(const NSString &dir) override { paths_.erase(dir); }
  std::int32_t flushVeryOld(std::int32_t age) override {
    return flushVeryOldEntries(paths_, age, [this](auto place) { paths_.erase(place); });
  }

private:
  friend struct FilerNameDirCachePeer; // for tests
  using Paths =
      std::pmr::unordered_map<NSString, CacheEntry<Value>, hashStringKey, isEqualStringKey>;

  // Whether the directory is sure to be as it was when the entry was made.
  static bool isUnchanged(const CacheEntry<Value> &entry, const NSString &dir) {
    try {
      return !hasChanged(globalCachedDirStat(dir, true), entry.changeTime, entry.stamp);
    } catch (const NSException &) {
      return false;
    }
  }

  Paths paths_;
};

template <class Value> Value *FilerNameDirCache<Value>::getDir(const NSString &dir) {
  const auto found = paths_.find(dir);
  if (found == paths_.end())
    return nullptr;
  CacheEntry<Value> &entry = found->second;
  if (!isValid(entry.stamp)) {
    if (!isUnchanged(entry, dir)) {
      paths_.erase(found);
      return nullptr;
    }
    setGlobalTS(entry.stamp);
  }
  return entry.value();
}

template <class Value>
Value *FilerNameDirCache<Value>::insertDir(const NSString &dir, std::optional<Value> data) {
  auto place = paths_.find(dir);
  if (place == paths_.end())
    place = paths_.try_emplace(dir.copy(zone())).first;
  CacheEntry<Value> &entry = place->second;
  try {
    entry.changeTime = changeTimeOf(globalCachedDirStat(dir, true));
  } catch (...) {
    paths_.erase(place);
    throw;
  }
  setGlobalTS(entry.stamp);
  entry.data = std::move(data);
  return entry.value();
}

// The listings of directories. One is good until a validation finds that its directory has changed
// (FilerCache.h says what that can miss). A directory that cannot be listed is asked for every
// time.
class ChildrenNamesCache final : public FilerNameDirCache<Names> {
public:
  using FilerNameDirCache::FilerNameDirCache;

  // All names in the directory, in its own order; null when it cannot be listed. Lent: good until
  // this cache changes. An exception out of the file-system layer passes, and nothing is kept for
  // the path.
  [[nodiscard]] const Names *childrenNamesFor(const NSString &path) {
    if (const Names *names = getDir(path))
      return names;
    countMiss();
    return insertDir(path, NSFileManager::classObject().childrenForDirPath(path));
  }
};

} // namespace tesker
