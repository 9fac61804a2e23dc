#include "platform/ports/Message.h"

#include "platform/foundation/Deadline.h"

#include <cerrno>
#include <cstring>
#include <optional>
#include <sys/socket.h>

namespace tesker {

namespace {

// The kernel passes at most this many descriptors at a time.
constexpr std::size_t kMostDescriptors = 253;

void putWord(MessageBytes &bytes, std::size_t offset, std::uint32_t word) {
  for (std::size_t i = 0; i < 4; ++i)
    bytes[offset + i] = static_cast<std::uint8_t>(word >> (8 * i));
}

std::uint32_t wordAt(const MessageBytes &bytes, std::size_t offset) {
  std::uint32_t word = 0;
  for (std::size_t i = 0; i < 4; ++i)
    word |= std::uint32_t{bytes[offset + i]} << (8 * i);
  return word;
}

// Waits on one socket until a moment, or without a limit.
class Waiting {
public:
  Waiting(bool limited, int milliseconds) {
    if (limited)
      end_ = Deadline::in(std::chrono::milliseconds(milliseconds));
  }

  // Until the event or a hang-up has come. Fails with the errno, ETIMEDOUT at the moment.
  Result<> waitFor(int socket, short event) const {
    pollfd descriptor{socket, event, 0};
    const int ready =
        OperatingSystem::current().poll(&descriptor, 1, end_ ? end_->pollTimeout() : -1);
    if (ready > 0)
      return {};
    return Failure{ready == 0 ? ETIMEDOUT : errno};
  }

private:
  std::optional<Deadline> end_;
};

// Room for one control message with descriptors, aligned as it has to be.
template <std::size_t Count> union DescriptorRoom {
  cmsghdr alignment;
  char bytes[CMSG_SPACE(sizeof(int) * Count)];
};

// Sends some of the bytes, with the descriptor if it is not negative.
ssize_t sendPart(int socket, std::uint8_t *bytes, std::size_t size, int descriptor) {
  iovec part{bytes, size};
  msghdr header{};
  header.msg_iov = &part;
  header.msg_iovlen = 1;
  DescriptorRoom<1> room{};
  if (descriptor >= 0) {
    header.msg_control = room.bytes;
    header.msg_controllen = sizeof room.bytes;
    cmsghdr *control = CMSG_FIRSTHDR(&header);
    control->cmsg_level = SOL_SOCKET;
    control->cmsg_type = SCM_RIGHTS;
    control->cmsg_len = CMSG_LEN(sizeof(int));
    std::memcpy(CMSG_DATA(control), &descriptor, sizeof(int));
  }
  return OperatingSystem::current().sendMessage(socket, header, MSG_DONTWAIT);
}

// Whether the option has the value. Fails with EBADMSG when it has another and where the descriptor
// is not a socket, and with the errno when the system does not tell.
Result<> checkOption(int socket, int option, int expected) {
  int value = -1;
  if (OperatingSystem::current().socketOption(socket, option, &value, sizeof value) != 0)
    return Failure{errno == ENOTSOCK || errno == EBADF ? EBADMSG : errno};
  return value == expected ? Result<>() : Failure{EBADMSG};
}

Result<> checkLocalStream(const FileDescriptor &socket) {
  const Result<> isLocal = checkOption(socket.number(), SO_DOMAIN, AF_UNIX);
  return isLocal ? checkOption(socket.number(), SO_TYPE, SOCK_STREAM) : isLocal;
}

// A message on its way in: its bytes so far and the first descriptor that came with them. All other
// descriptors are closed at once.
class Incoming {
public:
  explicit Incoming(bool inPackets) : inPackets_(inPackets) {}

  // Takes what there is, at most up to the message's end; as recvmsg(2). Of a stream the first byte
  // is taken alone: the kernel would not say which of several bytes the descriptor came with.
  ssize_t receivePart(int socket) {
    iovec part{bytes.data() + size_, inPackets_ || size_ > 0 ? bytes.size() - size_ : 1};
    msghdr header{};
    header.msg_iov = &part;
    header.msg_iovlen = 1;
    DescriptorRoom<kMostDescriptors> room{};
    header.msg_control = room.bytes;
    header.msg_controllen = sizeof room.bytes;
    const ssize_t received =
        OperatingSystem::current().receiveMessage(socket, header, MSG_DONTWAIT);
    if (received < 0)
      return received;
    takeDescriptors(header);
    if ((header.msg_flags & (MSG_TRUNC | MSG_CTRUNC)) != 0)
      malformed_ = true;
    size_ += static_cast<std::size_t>(received);
    return received;
  }

  bool inPackets() const { return inPackets_; }
  bool isComplete() const { return size_ == bytes.size(); }
  // Whether it is well formed: EBADMSG when it is not, another errno when the system does not tell.
  Result<> check() const {
    return isComplete() && !malformed_ ? checkLocalStream(right) : Failure{EBADMSG};
  }

  MessageBytes bytes{};
  FileDescriptor right;

private:
  void takeDescriptors(msghdr &header) {
    for (cmsghdr *control = CMSG_FIRSTHDR(&header); control != nullptr;
         control = CMSG_NXTHDR(&header, control)) {
      if (control->cmsg_level != SOL_SOCKET || control->cmsg_type != SCM_RIGHTS)
        continue;
      const std::size_t count = (control->cmsg_len - CMSG_LEN(0)) / sizeof(int);
      for (std::size_t i = 0; i < count; ++i) {
        int descriptor = -1;
        std::memcpy(&descriptor, CMSG_DATA(control) + i * sizeof(int), sizeof(int));
        takeDescriptor(FileDescriptor(descriptor));
      }
    }
  }

  void takeDescriptor(FileDescriptor descriptor) {
    if (size_ > 0 || right)
      malformed_ = true; // not with the first byte, or one too many
    else
      right = std::move(descriptor);
  }

  bool inPackets_;
  std::size_t size_ = 0;
  bool malformed_ = false;
};

// Takes a whole message in. Fails with the errno, EBADMSG when it is not well formed.
Result<> receiveWhole(int socket, const Waiting &waiting, Incoming &incoming) {
  do {
    const ssize_t received = incoming.receivePart(socket);
    if (received == 0)
      return Failure{ECONNRESET};
    if (received < 0 && errno == EAGAIN) {
      if (const Result<> waited = waiting.waitFor(socket, POLLIN); !waited)
        return waited;
      continue;
    }
    if (received < 0)
      return Failure{errno};
    if (incoming.inPackets())
      break;
  } while (!incoming.isComplete());
  return incoming.check();
}

} // namespace

PortMessage messageCarrying(port_t port, port_t remotePort, std::uint32_t id) {
  PortMessage message;
  message.msg_local_port = task_self();
  message.msg_remote_port = remotePort;
  message.msg_id = id;
  message.port = port;
  return message;
}

MessageBytes encode(const PortMessage &message) {
  MessageBytes bytes{};
  putWord(bytes, 0, std::uint32_t{message.msg_simple} << 24);
  putWord(bytes, 4, message.msg_size);
  putWord(bytes, 8, message.msg_type);
  putWord(bytes, 12, message.msg_local_port);
  putWord(bytes, 16, message.msg_remote_port);
  putWord(bytes, 20, message.msg_id);
  putWord(bytes, 24, message.portDescriptor);
  putWord(bytes, 28, message.port);
  return bytes;
}

PortMessage decode(const MessageBytes &bytes) {
  PortMessage message;
  message.msg_simple = bytes[3];
  message.msg_size = wordAt(bytes, 4);
  message.msg_type = wordAt(bytes, 8);
  message.msg_local_port = wordAt(bytes, 12);
  message.msg_remote_port = wordAt(bytes, 16);
  message.msg_id = wordAt(bytes, 20);
  message.portDescriptor = wordAt(bytes, 24);
  message.port = wordAt(bytes, 28);
  return message;
}

int msg_send(const PortMessage &message, int option, int timeout) {
  const int socket = sendDescriptor(message.msg_remote_port);
  if (socket < 0)
    return EBADF;
  const int right = sendDescriptor(message.port);
  if (right < 0)
    return EINVAL;
  const Waiting waiting((option & kSendTimeout) != 0, timeout);
  MessageBytes bytes = encode(message);
  std::size_t sent = 0;
  while (sent < bytes.size()) {
    const ssize_t some =
        sendPart(socket, bytes.data() + sent, bytes.size() - sent, sent == 0 ? right : -1);
    if (some > 0) {
      sent += static_cast<std::size_t>(some);
    } else if (errno == EAGAIN) {
      if (const Result<> waited = waiting.waitFor(socket, POLLOUT); !waited)
        return waited.error();
    } else {
      return errno;
    }
  }
  takeSendRight(message.port).reset();
  return 0;
}

int msg_receive(PortMessage &message, int option, int timeout) {
  const port_t port = message.msg_local_port;
  const int socket = receiveDescriptor(port);
  if (socket < 0)
    return EBADF;
  const Result<> isStream = checkOption(socket, SO_TYPE, SOCK_STREAM);
  if (!isStream && isStream.error() != EBADMSG)
    return isStream.error();
  Incoming incoming(!isStream);
  const Waiting waiting((option & kReceiveTimeout) != 0, timeout);
  if (const Result<> received = receiveWhole(socket, waiting, incoming); !received)
    return received.error();
  const port_t carried = portForSendRight(std::move(incoming.right));
  if (carried == PORT_NULL)
    return EAGAIN;
  message = decode(incoming.bytes);
  message.msg_local_port = port;
  message.msg_remote_port = PORT_NULL;
  message.port = carried;
  return 0;
}

} // namespace tesker
