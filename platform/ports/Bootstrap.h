// Bootstrap.h - services found by name.
//
// Behind a name stands a socket in the directory of BootstrapDirectory.h, and a process that
// listens on it (BootstrapService.h). Both sides talk to processes of the same user or of root
// only.
#pragma once

#include "platform/ports/Port.h"

#include <string_view>

namespace tesker {

// What can be wrong with a name, its directory or its service. Other failures are the errno.
inline constexpr kern_return_t BOOTSTRAP_SUCCESS = 0;
inline constexpr kern_return_t BOOTSTRAP_NOT_PRIVILEGED = 1100;
inline constexpr kern_return_t BOOTSTRAP_NAME_IN_USE = 1101;
inline constexpr kern_return_t BOOTSTRAP_UNKNOWN_SERVICE = 1102;

// Stores a send right to the service: the remembered one while its far side lives (one poll), else
// a new connection, which is remembered in its place. The right stays the look-up's own. Answers 0;
// 1100 when the directory, the socket or the service's user is not to be trusted; 1102 when the
// directory or the service does not exist or nobody listens; the positive errno when the system
// refuses what a look-up needs, so that nothing is known about the service: EMFILE, or ENOENT where
// there is no /proc. On failure nothing is stored.
[[nodiscard]] kern_return_t bootstrap_look_up(port_t bootstrap, std::string_view name,
                                              port_t &service);

} // namespace tesker
