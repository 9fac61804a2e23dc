// FilerTS.h - the time stamps of the caches, and the moment of the last validation.
//
// Every remembered answer carries the moment at which it was obtained, and is good as long as that
// moment is not before the last validation. Nothing is watched between two validations: what is
// remembered may be as old as the last one.
//
// How far a validation can be trusted. A stamp has whole seconds, so "not before" includes the
// validation's own second: what was remembered in that second, even before the validation, is
// taken as fresh, and a change later in it is not seen until the next validation of a later second.
// Whoever changes the file system and validates at once therefore advances the generation in
// between (CachingFileManager::bumpGeneration, or a rename, which does it by itself); it orders the
// moments of one second. A clock that is set back makes stamps of the time it has left look fresh
// until it is there again.
//
// Threading: one thread. Lifetime: that of the process.
#pragma once

#include <compare>
#include <cstdint>

namespace tesker {

// Ordered by time, then by generation. `a >= b` is "a is not older than b".
struct FilerTS {
  std::int32_t time = 0;        // whole seconds since 1970
  std::uint32_t generation = 0; // the counter `generation` at that moment
  auto operator<=>(const FilerTS &) const = default;
};

// The moment of the last validation; {0, 0} until the caches are initialised. Set by
// CachingFileManager alone.
extern FilerTS globalLastValidateDate;

// Whole seconds since 1970, cut to 32 bits.
std::int32_t TSCurrentTime();
// Stores the present moment.
void setFilerTS(FilerTS &stamp);
// Stores the moment of the last validation.
void setGlobalTS(FilerTS &stamp);

} // namespace tesker
