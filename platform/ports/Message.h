// Message.h - the 32-byte message that carries one port right.
//
// On the wire a message is eight little-endian words and exactly one descriptor (SCM_RIGHTS), the
// carried right:
//
//   offset  0  bits 0-23 unused, bits 24-31 msg_simple: 0, the message carries a right
//           4  msg_size          32
//           8  msg_type          0, normal
//          12  msg_local_port    the sender's own port
//          16  msg_remote_port   the port it is sent to
//          20  msg_id
//          24  descriptor word   0x10012006: one port of 32 bits, in line
//          28  port              the carried right
//
// Port numbers mean something to one task only; a receiver puts its own into the message.
#pragma once

#include "platform/ports/Port.h"

#include <array>
#include <cstdint>

namespace tesker {

inline constexpr std::uint32_t kMessageSize = 32;

// Type 6 (a port right) in bits 0-7, 32 bits wide in bits 8-15, one of them in bits 16-27, bit 28
// set: in line. Not long (bit 29), not given up by the sender (bit 30).
inline constexpr std::uint32_t kOnePortInline = 0x10012006;

struct PortMessage {
  std::uint8_t msg_simple = 0;
  std::uint32_t msg_size = kMessageSize;
  std::uint32_t msg_type = 0;
  port_t msg_local_port = PORT_NULL;
  port_t msg_remote_port = PORT_NULL;
  std::uint32_t msg_id = 0;
  std::uint32_t portDescriptor = kOnePortInline;
  port_t port = PORT_NULL;

  bool operator==(const PortMessage &) const = default;
};

// What this task sends to the remote port to hand the port over.
[[nodiscard]] PortMessage messageCarrying(port_t port, port_t remotePort, std::uint32_t id);

using MessageBytes = std::array<std::uint8_t, kMessageSize>;
[[nodiscard]] MessageBytes encode(const PortMessage &message);
[[nodiscard]] PortMessage decode(const MessageBytes &bytes);

// Option words; they may be added together.
inline constexpr int kSendTimeout = 0x1;             // the time-out counts
inline constexpr int kSendHandOff = 0x20;            // a hint for the scheduler, without effect
inline constexpr int kReceiveTimeout = 0x100;        // the time-out counts
inline constexpr int kReceiveUntilNoSenders = 0x200; // an end of the port ends the waiting; always

// Sends the message to its msg_remote_port, with the send right of its port. Once it is sent the
// task no longer holds that send right, so that the far side's end will be seen. Answers 0, or the
// positive errno: EBADF when the remote port has no send right, EINVAL when there is no right to
// carry, ETIMEDOUT after timeout milliseconds when kSendTimeout is given (else it waits without a
// limit), or the system's error. Nothing is logged.
[[nodiscard]] int msg_send(const PortMessage &message, int option, int timeout);

// Waits for the next message on the msg_local_port of the message and fills it in: the words as
// they came, except that msg_local_port stays, msg_remote_port is PORT_NULL and port is a new
// number for the carried right, which the caller has to give up (port_deallocate) or take out. Of a
// packet socket one packet is the message; of a stream the next 32 bytes are, in however many parts
// they arrive, and nothing beyond them is read. Answers 0, or the positive errno, and then the
// message is unchanged and every descriptor that came is closed: EBADMSG for another length of
// packet, or when not exactly one descriptor came (with the first byte), or one that is not an
// AF_UNIX stream socket; ECONNRESET at the end of the port; EBADF without a receive right;
// ETIMEDOUT as in msg_send, with kReceiveTimeout.
[[nodiscard]] int msg_receive(PortMessage &message, int option, int timeout);

} // namespace tesker
