// GlobalStatCache.h - the attributes of whole paths, remembered.
//
// One table for the process, from full directory path to the attributes of the path itself and,
// for a symbolic link, of what it leads to. A failure is remembered like an answer. Entries are
// good until the next validation (FilerTS.h says how far that can be trusted) and are asked for
// anew at their next use after it.
//
// In front of the table stands a memory of the one path that was asked for last, because callers
// ask for one directory many times in a row, once for each of its children. It is the weakest of
// all: while the same path is asked for, the remembered answer is given again whatever has happened
// since. Neither a validation nor a reset nor a flush touches it, and it does not tell a followed
// answer from an unfollowed one. Asking for any other path displaces it. This is kept as it is: any
// test in front of it would be paid for by every child of every directory that is walked, and who
// needs a fresh answer about the last directory can ask for another path first.
//
// Threading: one thread. Lifetime: that of the process. Used through CachingFileManager.
#pragma once

#include "caching/FilerTS.h"
#include "filesystem/TSStatMethods.h"
#include "platform/foundation/NSString.h"

#include <cstdint>

namespace tesker {

// Whether the directory caches use their own memories of the last directory (FilerCache.h). Nothing
// in the system changes it.
extern bool staticCacheEnabled;

// Stores the attributes of the path in result; with follow, of what it leads to where it is a link.
// Nil when they cannot be had. Logs "Cannot follow link: %@" when a link is followed that leads to
// no directory. A nil path is logged ("globalCachedDirStat: nil dir"), names nothing and is
// answered with nil. An exception out of the file-system layer leaves no entry for the path.
void globalCachedDirStat(const NSString *dir, RefPtr<NSFileAttributes> &result, bool follow);

// Offers attributes of the path itself (links not followed) that were obtained at the moment ts. An
// entry that knows where its link leads is left alone.
void fillGlobalCachedDirLStat(const NSString &path, RefPtr<NSFileAttributes> info,
                              const FilerTS &ts);

// Removes the entries obtained more than age seconds before the newest one, and says how many that
// were. Old is measured against the newest entry, not against the clock: after a long pause nothing
// is old until something new has come.
std::int32_t flushVeryOldGlobal(std::int32_t age);

// Removes all entries.
void emptyGlobalTable();

} // namespace tesker
