// SystemCallFilter.h - which system calls the tool can still make once it is confined.
//
// A constant table of what a search needs: reading and listing, memory, local sockets, time, and
// what ends the process. Whatever is not in it fails with an errno; nothing ever kills.
#pragma once

#include "platform/foundation/Result.h"

namespace tesker {

// Puts the filter in force for the rest of the process's life; there is no way back. From then on
// - files are opened for reading only, and nothing is executed, made, renamed, removed or changed;
// - sockets are AF_UNIX ones, and none listens;
// - no memory is or becomes executable, so no library can be loaded any more: a look-up of users
//   finds those that the C library knows without one;
// - no signal is sent but to the process itself, and no process, thread or name space is made.
// A refused call fails with EPERM; one that Linux has had for a short time only (number 424 and
// above) with ENOSYS, so that the C library falls back to the older one.
//
// The process must have given up new privileges or be root's. Fails with the errno: EINVAL where
// the kernel has no filters, ENOSYS on processors that the table is not written for (it is for
// x86-64 and Arm, 64 bits, little-endian).
[[nodiscard]] Result<> filterSystemCalls();

} // namespace tesker
