// FilerCache.h - what the caches have in common: time stamps, the change test, their base class.
//
// A cache remembers values for directories, or for the files in them, and drops them when the
// directory or file has changed. While it lives it is validated, reset and flushed together with
// all others (CachingFileManager). The caches themselves are templates over their values:
//
//   FilerDirCache      one value for each directory
//   FilerFileCache     one value for each file, grouped by directory
//   FilerNameDirCache  one value for each directory path
//
// Stamps. Every remembered answer carries the moment at which it was obtained, and is good as long
// as that moment is not before the last validation. Nothing is watched between two validations:
// what is remembered may be as old as the last one. A clock that is set back makes stamps of the
// time it has left look fresh until it is there again.
//
// Kept: "not before" includes the validation's own second. What was remembered in that second, even
// before the validation, is taken as fresh, and a change later in it is not seen until the next
// validation of a later second; the stamps are as narrow as the dates that they are compared with.
// Anyone who changes the file system and validates at once advances the generation in between
// (CachingFileManager::bumpGeneration, or a rename, which does it by itself): it orders the moments
// of one second.
//
// Validation. A cache takes part in a validation whose mask has a bit in common with its own. That
// removes nothing: entries from before are put to the change test at their next use, and are
// removed if it finds a change.
#pragma once

#include "filesystem/TSStatMethods.h"
#include "filesystem/TeskerFileManagerMethods.h"
#include "paths/PathFunctions.h"
#include "platform/foundation/NSString.h"
#include "platform/foundation/OperatingSystem.h"

#include <algorithm>
#include <array>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <memory_resource>
#include <optional>
#include <vector>

namespace tesker {

// Ordered by time, then by generation. `a >= b` is "a is not older than b".
struct FilerTS {
  std::int32_t time = 0;        // whole seconds since 1970
  std::uint32_t generation = 0; // the counter `generation` at that moment
  auto operator<=>(const FilerTS &) const = default;
};

// The moment of the last validation; {0, 0} until the caches are initialised. Set by
// CachingFileManager alone.
inline FilerTS globalLastValidateDate;

// Whole seconds since 1970, cut to 32 bits.
inline std::int32_t TSCurrentTime() {
  return static_cast<std::int32_t>(OperatingSystem::current().currentTime());
}
// Stores the present moment.
inline void setFilerTS(FilerTS &stamp) { stamp = {TSCurrentTime(), generation}; }
// Stores the moment of the last validation.
inline void setGlobalTS(FilerTS &stamp) { stamp = globalLastValidateDate; }

// The later of the seconds in which contents and status last changed; nothing for no attributes.
[[nodiscard]] inline std::optional<std::int32_t>
changeTimeOf(const std::optional<NSFileAttributes> &attributes) {
  if (!attributes)
    return std::nullopt;
  return std::max(attributes->_mtime(), attributes->_getLastChangeTime());
}

// The change test: whether the present attributes show a change since changeTime was stored, in an
// entry with that stamp. No attributes always do.
//
// Kept: change times have whole seconds, so a change can hide behind an earlier one of the same
// second. Where that second is the stamp's own, the answer is therefore always "changed": a
// directory that was written to in the second of the validation is looked at again, at the cost of
// sometimes doing so without need. It does not help where a directory is cached later than the
// validation that its stamp carries, in the very second of its last change, and is changed once
// more in that second; that change goes unseen until the next one.
[[nodiscard]] inline bool hasChanged(const std::optional<NSFileAttributes> &attributes,
                                     std::optional<std::int32_t> changeTime, const FilerTS &stamp) {
  const auto current = changeTimeOf(attributes);
  return !current || current != changeTime || *current == stamp.time;
}

// What a cache keeps of one directory or file.
template <class Value> struct CacheEntry {
  FilerTS stamp;
  std::optional<std::int32_t> changeTime; // when the entry was made or last confirmed
  std::optional<Value> data;

  // Null for no data.
  Value *value() { return data ? &*data : nullptr; }
};

class FilerCache {
public:
  FilerCache(const FilerCache &) = delete;
  FilerCache &operator=(const FilerCache &) = delete;

  // Moves the cache's own validation stamp to now when the masks have a bit in common.
  virtual void validate(std::int32_t mask) {
    if ((mask & validateMask_) != 0)
      setFilerTS(lastValidateDate_);
  }
  // Removes everything and counts as a validation of this cache. The entries made until the next
  // common validation are stamped with the last common one, which is then older than the cache's
  // own: they are put to the change test at every use, which costs time but no answer.
  virtual void reset() {
    statistics_ = 0;
    setFilerTS(lastValidateDate_);
  }
  // Removes the directory's entry; nothing when there is none.
  virtual void flushDir(const NSString &dir) = 0;
  // Removes entries stamped more than age seconds before the newest, at most kLargestFlush of them,
  // and says how many.
  virtual std::int32_t flushVeryOld(std::int32_t age) = 0;

  // What the entries are allocated in.
  NSZone &zone() const { return zone_; }
  // Every living cache, oldest first; borrowed.
  static const std::pmr::vector<FilerCache *> &living() { return livingCaches(); }

protected:
  // A new cache that takes part in validations with a bit of the mask.
  FilerCache(std::int32_t validateMask, NSZone &zone) : zone_(zone), validateMask_(validateMask) {
    setFilerTS(lastValidateDate_);
    livingCaches().push_back(this);
  }
  virtual ~FilerCache() { std::erase(livingCaches(), this); }

  // Whether an entry with that stamp needs no comparison.
  bool isValid(const FilerTS &stamp) const { return stamp >= lastValidateDate_; }
  // Notes that the file system had to be asked.
  void countMiss() { ++statistics_; }

private:
  friend struct FilerCachePeer; // for tests

  // Never destroyed, for caches may outlive any scope.
  static std::pmr::vector<FilerCache *> &livingCaches() {
    static auto &caches = *new std::pmr::vector<FilerCache *>(&filerZone());
    return caches;
  }

  NSZone &zone_;
  FilerTS lastValidateDate_;
  std::int32_t statistics_ = 0; // misses, for anyone looking with a debugger
  std::int32_t validateMask_;
};

// Kept: no flush of very old entries removes more than this many of a cache at once, which bounds
// what it costs; the others wait for the next one.
inline constexpr std::size_t kLargestFlush = 20;

// Calls flush, which has to remove what the iterator stands for, for the table's entries stamped
// more than age seconds before the newest (sought from 1970 on), for at most kLargestFlush of them;
// answers how many. Kept: in the reverse of the order in which they were met.
template <class Table, class Flush>
std::int32_t flushVeryOldEntries(Table &table, std::int32_t age, Flush flush) {
  std::int32_t newest = 0;
  for (const auto &[key, entry] : table)
    newest = std::max(newest, entry.stamp.time);
  std::array<typename Table::iterator, kLargestFlush> old;
  std::size_t count = 0;
  for (auto place = table.begin(); place != table.end() && count < old.size(); ++place)
    if (std::int64_t{newest} - place->second.stamp.time > age)
      old[count++] = place;
  for (std::size_t i = count; i > 0; --i)
    flush(old[i - 1]);
  return static_cast<std::int32_t>(count);
}

} // namespace tesker
