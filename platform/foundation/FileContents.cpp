#include "platform/foundation/FileContents.h"

#include "platform/foundation/FileDescriptor.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

namespace tesker {

int openRegularFile(const char *path, struct stat &status) {
  OperatingSystem &system = OperatingSystem::current();
  FileDescriptor file(system.open(path, O_RDONLY | O_NONBLOCK | O_NOCTTY));
  if (!file || system.statDescriptor(file.get(), status) != 0)
    return -1;
  if (!S_ISREG(status.st_mode)) {
    errno = EINVAL;
    return -1;
  }
  return file.release();
}

std::optional<std::string> contentsOfFile(const NSString &path, std::size_t limit) {
  struct stat status {};
  const FileDescriptor file(openRegularFile(path.fileSystemRepresentation(), status));
  if (!file)
    return std::nullopt;
  // Grows with what has been read: the announced size of a hostile file is no reason to allocate,
  // but it is one to give up before reading.
  constexpr std::size_t kChunk = std::size_t{64} * 1024;
  std::string bytes;
  while (std::cmp_less_equal(status.st_size, limit) && bytes.size() <= limit) {
    const std::size_t before = bytes.size();
    bytes.resize(before + std::max(kChunk, before));
    const ssize_t got = OperatingSystem::current().readAt(
        file.get(), bytes.data() + before, bytes.size() - before, static_cast<off_t>(before));
    bytes.resize(before + static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
    if (got < 0)
      return std::nullopt;
    if (got == 0)
      return bytes;
  }
  errno = EFBIG;
  return std::nullopt;
}

namespace {

bool writeAll(int descriptor, std::string_view bytes) {
  OperatingSystem &system = OperatingSystem::current();
  while (!bytes.empty()) {
    const ssize_t written = system.write(descriptor, bytes.data(), bytes.size());
    if (written <= 0) {
      if (written == 0)
        errno = EIO;
      return false;
    }
    bytes.remove_prefix(static_cast<std::size_t>(written));
  }
  return system.synchronize(descriptor) == 0;
}

// Makes a new file in the path's folder and stores its name, which is short so that it fits
// wherever the path's own does. What a crashed process left under such a name is not reused, only
// passed over. Negative and errno when there is no making one.
int makeTemporaryFileFor(const std::string &path, std::string &name) {
  static unsigned counter = 0;
  constexpr int kMostAttempts = 100;
  int descriptor = -1;
  for (int attempt = 0; attempt < kMostAttempts && descriptor < 0; ++attempt) {
    name = path.substr(0, path.rfind('/') + 1) + ".tmp-" + std::to_string(::getpid()) + "-" +
           std::to_string(++counter);
    descriptor = OperatingSystem::current().open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL, 0666);
    if (descriptor < 0 && errno != EEXIST)
      break;
  }
  return descriptor;
}

} // namespace

bool writeFileAtomically(const NSString &path, std::string_view bytes) {
  OperatingSystem &system = OperatingSystem::current();
  const std::string target = path.fileSystemRepresentation();
  if (target.empty()) {
    errno = ENOENT;
    return false;
  }
  std::string temporary;
  FileDescriptor file(makeTemporaryFileFor(target, temporary));
  if (!file)
    return false;
  const bool written = writeAll(file.get(), bytes);
  const int writeError = errno;
  const bool closed = system.close(file.release()) == 0;
  if (written && closed && system.rename(temporary.c_str(), target.c_str()) == 0)
    return true;
  const int error = written ? errno : writeError;
  system.unlink(temporary.c_str());
  errno = error;
  return false;
}

} // namespace tesker
