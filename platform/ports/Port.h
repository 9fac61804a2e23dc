// Port.h - Mach ports, as far as the hand-over with the master needs them.
//
// A task knows its ports by numbers from 1 up. A number is never used for a second port. Behind a
// number stand a receive right, a send right, both or none: each is one end of a socket that is
// close-on-exec and belongs to the table of this file, until it is taken out or given up.
#pragma once

#include "platform/foundation/Files.h"

#include <cstdint>

namespace tesker {

using port_t = std::uint32_t;
using kern_return_t = int;

inline constexpr port_t PORT_NULL = 0;
inline constexpr kern_return_t KERN_SUCCESS = 0;

// The numbers of the task itself and of its name server (Bootstrap.h). There is no socket behind
// either.
[[nodiscard]] port_t task_self();
[[nodiscard]] port_t bootstrap_port();

// Makes a new port with both rights and stores its number. The send right is for a message to
// carry (Message.h). On failure answers the positive errno and stores nothing. EINVAL when the task
// is not this one; EAGAIN when all numbers are used up.
[[nodiscard]] kern_return_t port_allocate(port_t task, port_t &port);

// New numbers for a right that came from elsewhere; the port owns the socket. PORT_NULL, and the
// socket is closed, when all numbers are used up.
[[nodiscard]] port_t portForReceiveRight(FileDescriptor socket);
[[nodiscard]] port_t portForSendRight(FileDescriptor socket);

// The socket behind the right, still owned by the port: for poll(2). -1 when there is none.
[[nodiscard]] int receiveDescriptor(port_t port);
[[nodiscard]] int sendDescriptor(port_t port);

// Takes the right out of the port: the caller owns the socket. Empty when there is none.
[[nodiscard]] FileDescriptor takeReceiveRight(port_t port);
[[nodiscard]] FileDescriptor takeSendRight(port_t port);

// Closes what the task still holds of the port. Nothing happens when it holds nothing.
void port_deallocate(port_t port);

} // namespace tesker
