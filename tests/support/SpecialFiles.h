// SpecialFiles.h - files that are not regular, and the descriptors that this process has open.
#pragma once

#include "platform/foundation/Files.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <string>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <system_error>

namespace tesker::test {

// Both throw std::system_error on failure.
inline void makeFifo(const std::string &path) {
  if (::mkfifo(path.c_str(), 0755) != 0)
    throw std::system_error(errno, std::generic_category(), path);
}
inline void makeSocket(const std::string &path) {
  const FileDescriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::strncpy(address.sun_path, path.c_str(), sizeof(address.sun_path) - 1);
  if (::bind(socket.number(), reinterpret_cast<sockaddr *>(&address), sizeof(address)) != 0)
    throw std::system_error(errno, std::generic_category(), path);
}

// How many descriptors are open, the one for finding out included.
inline std::size_t openDescriptors() {
  const std::filesystem::directory_iterator entries("/proc/self/fd");
  return static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
}

} // namespace tesker::test
