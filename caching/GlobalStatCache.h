// GlobalStatCache.h - the attributes of whole paths, remembered.
//
// One table for the process, from full directory path to the attributes of the path itself and,
// for a symbolic link, of what it leads to. A failure is remembered like an answer. Entries are
// good until the next validation (FilerCache.h says how far that can be trusted) and are asked for
// again at their next use after it.
//
// Who asks: CachingFileManager about a directory itself (no file, or "."), and the caches by
// directory and by path (FilerDirCache.h, FilerNameDirCache.h), which learn a directory's identity
// and change date here. Who fills: the attribute cache (DirFileStatsCache.h) offers every
// subdirectory that it meets, so that a walk need not ask again when it enters one.
//
// Paths are known by their bytes: "/a" and "/a/" are two entries, and so are a link and what it
// leads to. A directory below a link is remembered under both of its paths, and a flush of one of
// them has to take the whole table (CachingFileManager::flushDir).
//
// In front of the table stands a memory of the one path that was asked for last, because callers
// ask for one directory many times in a row, once for each of its children. It is the weakest of
// all. Kept: while the same path is asked for, the remembered answer is given again whatever has
// happened since. Neither a validation nor a reset nor a flush touches it, and it does not tell a
// followed answer from an unfollowed one. Any test in front of it would be paid for by every child
// of every directory that is walked, and anyone who needs a fresh answer about the last directory
// can ask for another path first, which displaces it.
#pragma once

#include "caching/FilerCache.h"
#include "filesystem/TSStatMethods.h"
#include "platform/foundation/NSString.h"

#include <cstdint>
#include <memory_resource>
#include <optional>
#include <unordered_map>

namespace tesker {

// Whether the directory caches use their own memories of the last directory (FilerDirCache.h).
// Nothing in the system changes it.
extern bool staticCacheEnabled;

// The attributes of the path; with follow, of what it leads to where it is a link. Nothing when
// they cannot be had. Logs "Cannot follow link: %@" when a link is followed that does not lead to a
// directory. A nil path is logged ("globalCachedDirStat: nil dir") and answered with nothing. An
// exception out of the file-system layer passes, and leaves no entry for the path.
[[nodiscard]] std::optional<NSFileAttributes> globalCachedDirStat(const NSString &dir, bool follow);

// Offers attributes of the path itself (links not followed) that were obtained at the moment ts.
// Kept: an entry that knows where its link leads is left alone, stamp and all; any other is
// replaced.
void fillGlobalCachedDirLStat(const NSString &path, const std::optional<NSFileAttributes> &info,
                              const FilerTS &ts);

// Removes all entries obtained more than age seconds before the newest one, and says how many that
// were. Kept: old is measured against the newest entry, not against the clock; after a long pause
// nothing is old until something new has come.
std::int32_t flushVeryOldGlobal(std::int32_t age);

// Removes all entries.
void emptyGlobalTable();

// What is kept, for the functions above, their tests and anyone looking with a debugger.

struct GlobalEntry {
  FilerTS lastCheck;                          // when statInfo was obtained
  std::optional<NSFileAttributes> statInfo;   // of the path itself
  std::optional<NSFileAttributes> followInfo; // of the target; only for links, once asked for
};

using GlobalTable = std::pmr::unordered_map<NSString, GlobalEntry, StringKeyHash, StringKeyEqual>;

struct GlobalStatState {
  GlobalTable globalTable;
  std::int32_t globalNbStats = 0; // real stat calls made
  // The one-entry memory: the path asked for last and what was answered.
  NSString lastCacheDir;
  std::optional<NSFileAttributes> lastCachedStat;
};

// The one of the process.
GlobalStatState &globalStatState();

} // namespace tesker
