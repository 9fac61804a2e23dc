// RawSockets.h - the far side of a port, byte by byte.
#pragma once

#include "platform/foundation/Files.h"
#include "platform/ports/Message.h"

#include <array>
#include <cstring>
#include <filesystem>
#include <string>
#include <string_view>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#include <utility>
#include <vector>

namespace tesker::test {

// How many descriptors the process has open.
inline std::ptrdiff_t openDescriptorCount() {
  const std::filesystem::directory_iterator entries("/proc/self/fd");
  return std::distance(begin(entries), end(entries));
}

struct SocketPair {
  FileDescriptor near, far;
  explicit SocketPair(int type) {
    int ends[2] = {-1, -1};
    if (::socketpair(AF_UNIX, type | SOCK_CLOEXEC, 0, ends) == 0) {
      near = FileDescriptor(ends[0]);
      far = FileDescriptor(ends[1]);
    }
  }
};

// Sends all the bytes at once with the descriptors; false when not all were taken.
inline bool sendRaw(int socket, std::string_view bytes, const std::vector<int> &descriptors = {}) {
  iovec part{const_cast<char *>(bytes.data()), bytes.size()};
  msghdr header{};
  header.msg_iov = &part;
  header.msg_iovlen = 1;
  std::vector<char> room(CMSG_SPACE(sizeof(int) * descriptors.size()));
  if (!descriptors.empty()) {
    header.msg_control = room.data();
    header.msg_controllen = room.size();
    cmsghdr *control = CMSG_FIRSTHDR(&header);
    control->cmsg_level = SOL_SOCKET;
    control->cmsg_type = SCM_RIGHTS;
    control->cmsg_len = CMSG_LEN(sizeof(int) * descriptors.size());
    std::memcpy(CMSG_DATA(control), descriptors.data(), sizeof(int) * descriptors.size());
  }
  return ::sendmsg(socket, &header, MSG_NOSIGNAL) == static_cast<ssize_t>(bytes.size());
}

// One recvmsg: the bytes, and the descriptors that came with them.
inline std::pair<std::string, std::vector<FileDescriptor>> receiveRaw(int socket) {
  std::array<char, 256> bytes{};
  std::array<char, 256> room{};
  iovec part{bytes.data(), bytes.size()};
  msghdr header{};
  header.msg_iov = &part;
  header.msg_iovlen = 1;
  header.msg_control = room.data();
  header.msg_controllen = room.size();
  const ssize_t size = ::recvmsg(socket, &header, MSG_CMSG_CLOEXEC);
  std::vector<FileDescriptor> descriptors;
  for (cmsghdr *control = CMSG_FIRSTHDR(&header); control != nullptr;
       control = CMSG_NXTHDR(&header, control)) {
    for (std::size_t at = 0; at + sizeof(int) <= control->cmsg_len - CMSG_LEN(0);
         at += sizeof(int)) {
      int descriptor = -1;
      std::memcpy(&descriptor, CMSG_DATA(control) + at, sizeof(int));
      descriptors.emplace_back(descriptor);
    }
  }
  return {std::string(bytes.data(), size > 0 ? static_cast<std::size_t>(size) : 0),
          std::move(descriptors)};
}

// The 32 bytes of a message as text to send.
inline std::string messageText(std::uint32_t id) {
  PortMessage message;
  message.msg_id = id;
  const MessageBytes bytes = encode(message);
  return {bytes.begin(), bytes.end()};
}

inline sockaddr_un addressOf(const std::string &path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  path.copy(address.sun_path, sizeof address.sun_path - 1);
  return address;
}

// A socket bound to the path, which does not listen yet.
inline FileDescriptor boundSocket(const std::string &path, int type = SOCK_SEQPACKET) {
  FileDescriptor socket(::socket(AF_UNIX, type | SOCK_CLOEXEC, 0));
  const sockaddr_un address = addressOf(path);
  if (::bind(socket.number(), reinterpret_cast<const sockaddr *>(&address), sizeof address) < 0)
    socket.reset();
  return socket;
}

} // namespace tesker::test
