// Peers.h - a look inside the caches, for what a test cannot see from outside.
#pragma once

#include "caching/CachingFileManager.h"
#include "caching/DirFileStatsCache.h"
#include "caching/FileTypeCache.h"
#include "caching/FilerFileCache.h"
#include "caching/FilerNameDirCache.h"

#include <optional>
#include <string_view>
#include <vector>

namespace tesker {

// What an entry goes by when it is looked at again; as it is made, for no entry.
struct EntryDates {
  FilerTS stamp;
  std::optional<std::int32_t> changed; // seconds since 1970
};

struct FilerCachePeer {
  static FilerTS lastValidateDate(const FilerCache &cache) { return cache.lastValidateDate_; }
  static int statistics(const FilerCache &cache) { return cache.statistics_; }
};

struct FilerDirCachePeer {
  // Identities and data of the entries, in the order of the table.
  template <class Value>
  static std::vector<DirFileUID> identities(const FilerDirCache<Value> &cache) {
    std::vector<DirFileUID> result;
    for (const auto &[identity, entry] : cache.dirs_)
      result.push_back(identity);
    return result;
  }
  template <class Value>
  static std::vector<std::optional<Value>> data(const FilerDirCache<Value> &cache) {
    std::vector<std::optional<Value>> result;
    for (const auto &[identity, entry] : cache.dirs_)
      result.push_back(entry.data);
    return result;
  }
  template <class Value> static std::size_t count(const FilerDirCache<Value> &cache) {
    return cache.dirs_.size();
  }
  template <class Value>
  static std::optional<EntryDates> dates(const FilerDirCache<Value> &cache,
                                         const DirFileUID &identity) {
    const auto found = cache.dirs_.find(identity);
    if (found == cache.dirs_.end())
      return std::nullopt;
    return EntryDates{found->second.stamp, found->second.changeTime};
  }
  // The one-entry memory: its path, nil when it holds nothing, and the identity of its entry.
  template <class Value> static NSString lastName(const FilerDirCache<Value> &cache) {
    return cache.lastCachedItem_ != nullptr ? cache.lastCachedDirName_ : nullptr;
  }
  template <class Value> static DirFileUID lastIdentity(const FilerDirCache<Value> &cache) {
    return cache.lastCachedItem_->first;
  }
  // The path string that the memory holds on to, whether or not it counts.
  template <class Value> static NSString heldName(const FilerDirCache<Value> &cache) {
    return cache.lastCachedDirName_;
  }
};

struct FilerNameDirCachePeer {
  template <class Value>
  static std::optional<EntryDates> dates(const FilerNameDirCache<Value> &cache,
                                         std::string_view path) {
    const auto found = cache.paths_.find(NSString::create(path));
    if (found == cache.paths_.end())
      return std::nullopt;
    return EntryDates{found->second.stamp, found->second.changeTime};
  }
  template <class Value> static std::size_t count(const FilerNameDirCache<Value> &cache) {
    return cache.paths_.size();
  }
};

struct DirFileStatsCachePeer {
  static NSString lastDir() { return DirFileStatsCache::lastFile().LSlastDir; }
  static NSString lastFile() { return DirFileStatsCache::lastFile().LSlastFile; }
  static std::optional<NSFileAttributes> lastInfo() {
    return DirFileStatsCache::lastFile().LSlastInfo;
  }
};

// The caches of the class object, which are the oldest of all.
struct CachingFileManagerPeer {
  static DirFileStatsCache &stats() { return oldest<DirFileStatsCache>(0); }
  static FileTypeCache &types() { return oldest<FileTypeCache>(1); }
  static ChildrenNamesCache &listings() { return oldest<ChildrenNamesCache>(2); }

private:
  // Raises std::bad_cast where there is another kind of cache.
  template <class Cache> static Cache &oldest(std::size_t place) {
    return dynamic_cast<Cache &>(*CachingFileManager::classObject().caches().at(place));
  }
};

namespace test {

// The path's entry in the global table; null when there is none.
inline const GlobalEntry *globalEntry(std::string_view path) {
  const GlobalTable &table = globalStatState().globalTable;
  const auto found = table.find(path);
  return found != table.end() ? &found->second : nullptr;
}

} // namespace test
} // namespace tesker
