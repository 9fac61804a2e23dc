// MessageParts.h - what the input has the far side of a port send: bytes in parts, with
// descriptors.
//
// A part begins with a byte for its length and one for its descriptors: their number in bits 0-1,
// and in bits 2-3 what they are. Length 32 with bit 4 set stands for a well-formed message, of
// which the part's own byte is the number.
#pragma once

#include "fuzz/Input.h"
#include "tests/ports/RawSockets.h"

#include <fcntl.h>
#include <string>
#include <vector>

// What descriptors can be: the right one first.
class Descriptors {
public:
  std::vector<int> some(unsigned choice) const {
    const int kinds[] = {stream_.near.number(), packets_.near.number(), pipe_.number(), -1};
    const int kind = kinds[choice / 4 % 4];
    return kind < 0 ? std::vector<int>() : std::vector<int>(choice % 4, kind);
  }

private:
  tesker::test::SocketPair stream_{SOCK_STREAM}, packets_{SOCK_SEQPACKET};
  tesker::FileDescriptor pipe_{::open("/dev/null", O_RDONLY | O_CLOEXEC)};
};

// Sends all parts, as long as they are taken.
inline void sendParts(int socket, Input parts, const Descriptors &descriptors) {
  constexpr int kMostParts = 30; // fewer than a socket takes without a reader
  for (int i = 0; i < kMostParts && !parts.isEmpty(); ++i) {
    const std::size_t length = parts.byte();
    const unsigned choice = parts.byte();
    const std::string bytes = length == 32 && (choice & 16) != 0
                                  ? tesker::test::messageText(parts.byte())
                                  : std::string(parts.take(length));
    if (bytes.empty() || !tesker::test::sendRaw(socket, bytes, descriptors.some(choice)))
      break;
  }
}
