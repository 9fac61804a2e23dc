// Peers.h - a look inside the caches, for what a test cannot see from outside.
#pragma once

#include "caching/CachingFileManager.h"
#include "caching/FilerNameDirCache.h"
#include "caching/GlobalTable.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tesker {

// What an entry goes by when it is looked at again; nothing for no entry.
struct EntryDates {
  FilerTS stamp;
  std::optional<double> changed; // seconds since 1970
};

struct FilerCachePeer {
  static FilerTS lastValidateDate(const FilerCache &cache) { return cache.lastValidateDate_; }
  static int statistics(const FilerCache &cache) { return cache.statistics_; }
  // Identities and data of the entries, in the order of the table.
  static std::vector<DirFileUID> identities(const FilerCache &cache) {
    std::vector<DirFileUID> result;
    for (const auto *entry : cache.dirs_)
      result.push_back(entry->identity);
    return result;
  }
  static std::vector<const NSObject *> data(const FilerCache &cache) {
    std::vector<const NSObject *> result;
    for (const auto *entry : cache.dirs_)
      result.push_back(entry->data.get());
    return result;
  }
  static std::optional<EntryDates> dates(const FilerCache &cache, const DirFileUID &identity) {
    for (const auto *entry : cache.dirs_)
      if (entry->identity == identity)
        return datesOf(*entry);
    return std::nullopt;
  }
  template <class Entry> static EntryDates datesOf(const Entry &entry) {
    EntryDates dates{entry.stamp, std::nullopt};
    if (entry.changeDate)
      dates.changed = entry.changeDate->timeIntervalSince1970();
    return dates;
  }
  static std::size_t count(const FilerCache &cache) { return identities(cache).size(); }
  // The one-entry memory: its path, nil when it holds nothing, and the identity of its entry.
  static const NSString *lastName(const FilerCache &cache) {
    return cache.lastCachedItem_ != nullptr ? cache.lastCachedDirName_.get() : nullptr;
  }
  static DirFileUID lastIdentity(const FilerCache &cache) {
    return cache.lastCachedItem_->identity;
  }
  // The path string that the memory holds on to, whether or not it counts.
  static const NSString *heldName(const FilerCache &cache) {
    return cache.lastCachedDirName_.get();
  }
};

struct FilerNameDirCachePeer {
  static std::optional<EntryDates> dates(const FilerNameDirCache &cache, std::string_view path) {
    for (const auto *entry : cache.paths_)
      if (entry->key->bytes() == path)
        return FilerCachePeer::datesOf(*entry);
    return std::nullopt;
  }
  static std::size_t count(const FilerNameDirCache &cache) { return data(cache).size(); }
  static std::vector<const NSObject *> data(const FilerNameDirCache &cache) {
    std::vector<const NSObject *> result;
    for (const auto *entry : cache.paths_)
      result.push_back(entry->data.get());
    return result;
  }
};

struct DirFileStatsCachePeer {
  static const NSString *lastDir() { return DirFileStatsCache::lastFile().LSlastDir.get(); }
  static const NSString *lastFile() { return DirFileStatsCache::lastFile().LSlastFile.get(); }
  static const NSFileAttributes *lastInfo() {
    return DirFileStatsCache::lastFile().LSlastInfo.get();
  }
};

struct CachingFileManagerPeer {
  static DirFileStatsCache &stats() {
    return *CachingFileManager::classObject().dirFileStatsCache_;
  }
  static FileTypeCache &types() { return *CachingFileManager::classObject().fileTypeCache_; }
  static ChildrenNamesCache &listings() {
    return *CachingFileManager::classObject().childrenNamesCache_;
  }
};

namespace test {

// The path's entry in the global table; null when there is none.
inline const GlobalEntry *globalEntry(std::string_view path) {
  const GlobalTable &table = globalStatState().globalTable;
  const auto found = table.find(path);
  return found != table.end() ? &*found->second : nullptr;
}

} // namespace test
} // namespace tesker
