// Confinement.h - what a process that searches gives up before it reads the first file.
//
// The files are anybody's. Should one of them make the tool do its author's will after all, then a
// process that can read, and talk to the user's own services, is all that is won. Every level works
// alone and stays for the rest of the process's life. An old kernel or a container has less of it:
// a level that cannot be reached is left out, and the search goes on.
#pragma once

#include "finding/SystemCallFilter.h"
#include "platform/foundation/Result.h"

#include <cstdint>
#include <string>

namespace tesker {

// ---- the levels, each failing with the errno ----

// When memory runs out, the system ends this process before others.
[[nodiscard]] Result<> offerToEndFirst();

// The most memory the tool can map. Two texts of 1 GiB, the previous answer and the new one, are
// what may travel, and each is there more than once for a moment: in pieces and in one, as records
// and encoded, and in the messages that wait to be sent. Such a search has been seen to map 4.9
// GiB; the rest is for a heap that is in shreds. A search that needs more ends without an answer.
inline constexpr std::uint64_t kMostAddressSpace = std::uint64_t{8} << 30;

// No more memory than kMostAddressSpace, no core file (it would hold what was read), and, unless
// standard error is a file and the log grows it, no file grown. Limits that are lower stay. With
// AddressSanitizer, which maps terabytes, memory is not limited.
[[nodiscard]] Result<> limitResources();

// No program that is executed from now on has more rights than this process; not that the later
// levels leave any that can be, but they are open only to a process that has promised this.
[[nodiscard]] Result<> giveUpNewPrivileges();

// No other process of the user reads or changes this one's memory, or its descriptors. What the
// process itself reads below /proc/self stays open to it.
[[nodiscard]] Result<> refuseInspection();

// Landlock: everything below "/" may be read and listed, since links lead anywhere, and nothing may
// be executed, opened for writing, made, moved, removed or cut off. Where the kernel knows these
// too, neither are TCP ports bound or connected to, nor sockets without a path, nor signals sent.
// The result is the version of the kernel's interface that the most was taken of, from 1 to 6.
[[nodiscard]] Result<int> restrictFileAccess();

// filterSystemCalls() is the last one.

// ---- all of them ----

// Opens the system log, so that the log needs nothing that is given up, and goes through the levels
// as far as they can be reached. The result says how far that was: "limits on, Landlock 3, ...".
//
// TESKER_SANDBOX=off leaves all of it out ("off"), for one who looks at the process with a debugger
// or measures it. So does a build with sanitizers, unless TESKER_SANDBOX is "on".
[[nodiscard]] std::string confine();

} // namespace tesker
