#include "platform/foundation/FileDescriptor.h"

#include <array>
#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

namespace tesker {

FileDescriptor aboveStandardDescriptors(FileDescriptor descriptor) {
  if (!descriptor || descriptor.number() > STDERR_FILENO)
    return descriptor;
  return FileDescriptor(::fcntl(descriptor.number(), F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
}

Result<Pipe> createPipe() {
  std::array<int, 2> ends{};
  if (::pipe2(ends.data(), O_CLOEXEC) != 0)
    return Failure{errno};
  FileDescriptor readEnd(ends[0]), writeEnd(ends[1]);
  readEnd = aboveStandardDescriptors(std::move(readEnd));
  writeEnd = aboveStandardDescriptors(std::move(writeEnd));
  if (!readEnd || !writeEnd)
    return Failure{errno};
  return Pipe{std::move(readEnd), std::move(writeEnd)};
}

Result<> writeAll(int descriptor, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written =
        OperatingSystem::current().write(descriptor, bytes.data(), bytes.size());
    if (written <= 0)
      return Failure{written < 0 ? errno : EIO};
    bytes.remove_prefix(static_cast<std::size_t>(written));
  }
  return {};
}

void openMissingStandardDescriptors(int mode) {
  for (int descriptor = STDIN_FILENO; descriptor <= STDERR_FILENO; ++descriptor)
    if (::fcntl(descriptor, F_GETFD) < 0)
      (void)::open("/dev/null", mode); // takes the lowest number, which is this one
}

} // namespace tesker
