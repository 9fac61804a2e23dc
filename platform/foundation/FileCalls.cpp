#include "platform/foundation/FileCalls.h"

#include "platform/foundation/Resumed.h"
#include "platform/foundation/Spare.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <dirent.h>
#include <filesystem>
#include <sys/file.h>
#include <sys/xattr.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace tesker {

namespace {

// Reads with getdents64(2), piece by piece.
class RealDirectoryStream final : public DirectoryStream {
public:
  RealDirectoryStream() : piece_(spare.take()) {
    if (!piece_)
      piece_ = std::make_unique_for_overwrite<Piece>();
  }
  ~RealDirectoryStream() override {
    if (descriptor_ >= 0)
      ::close(descriptor_);
    spare.give(std::move(piece_));
  }
  RealDirectoryStream(const RealDirectoryStream &) = delete;
  RealDirectoryStream &operator=(const RealDirectoryStream &) = delete;

  // False and errno when it cannot be opened.
  bool open(const char *path) {
    descriptor_ =
        resumed([&] { return ::open(path, O_RDONLY | O_NONBLOCK | O_DIRECTORY | O_CLOEXEC); });
    return descriptor_ >= 0;
  }

  std::optional<std::string_view> next() override {
    if (position_ == length_ && !fill())
      return std::nullopt;
    const auto *entry = reinterpret_cast<const dirent64 *>(piece_->bytes + position_);
    position_ += entry->d_reclen;
    return entry->d_name;
  }
  int error() const override { return error_; }
  int descriptor() const override { return descriptor_; }

private:
  struct Piece {
    alignas(dirent64) char bytes[32768];
  };
  // Most directories are read one after the other: they share a piece.
  static constinit Spare<Piece> spare;

  bool fill() {
    const ssize_t got =
        resumed([&] { return ::getdents64(descriptor_, piece_->bytes, sizeof piece_->bytes); });
    if (got < 0 && errno != ENOENT)
      error_ = errno;
    position_ = 0;
    length_ = static_cast<std::size_t>(std::max<ssize_t>(got, 0));
    return length_ > 0;
  }

  int descriptor_ = -1;
  std::unique_ptr<Piece> piece_;
  std::size_t position_ = 0;
  std::size_t length_ = 0;
  int error_ = 0;
};

constinit Spare<RealDirectoryStream::Piece> RealDirectoryStream::spare;

} // namespace

int FileCalls::statAt(int directory, const char *name, bool followLinks, struct stat &status) {
  const int flags = followLinks ? 0 : AT_SYMLINK_NOFOLLOW;
  // A network's file system may be interrupted.
  return resumed([&] { return ::fstatat(directory, name, &status, flags); });
}

int FileCalls::statDescriptor(int descriptor, struct stat &status) {
  return resumed([&] { return ::fstat(descriptor, &status); });
}

int FileCalls::access(const char *path, int mode) { return ::access(path, mode); }

ssize_t FileCalls::readLink(const char *path, char *target, std::size_t room) {
  return ::readlink(path, target, room);
}

ssize_t FileCalls::attribute(const char *path, const char *name, void *value, std::size_t size) {
  return ::lgetxattr(path, name, value, size);
}

int FileCalls::makeDirectory(const char *path, mode_t mode) { return ::mkdir(path, mode); }

int FileCalls::makeTemporaryDirectory(char *pattern) {
  return ::mkdtemp(pattern) != nullptr ? 0 : -1;
}

int FileCalls::changeMode(const char *path, mode_t mode) { return ::chmod(path, mode); }

int FileCalls::rename(const char *oldPath, const char *newPath) {
  return ::rename(oldPath, newPath);
}

int FileCalls::unlinkAt(int directory, const char *name, int flags) {
  return ::unlinkat(directory, name, flags);
}

int FileCalls::openAt(int directory, const char *path, int flags, mode_t mode) {
  return resumed([&] { return ::openat(directory, path, flags | O_CLOEXEC, mode); });
}

// close(2) leaves the descriptor closed even when a signal interrupts it.
int FileCalls::close(int descriptor) { return ::close(descriptor); }

ssize_t FileCalls::read(int descriptor, void *buffer, std::size_t size) {
  return resumed([&] { return ::read(descriptor, buffer, size); });
}

ssize_t FileCalls::readAt(int descriptor, void *buffer, std::size_t size, off_t offset) {
  return resumed([&] { return ::pread(descriptor, buffer, size, offset); });
}

ssize_t FileCalls::write(int descriptor, const void *bytes, std::size_t size) {
  return resumed([&] { return ::write(descriptor, bytes, size); });
}

int FileCalls::synchronize(int descriptor) {
  return resumed([&] { return ::fsync(descriptor); });
}

int FileCalls::lock(int descriptor, int operation) {
  return resumed([&] { return ::flock(descriptor, operation); });
}

int FileCalls::changeDescriptorMode(int descriptor, mode_t mode) {
  return ::fchmod(descriptor, mode);
}

int FileCalls::changeDescriptorOwner(int descriptor, uid_t user, gid_t group) {
  return ::fchown(descriptor, user, group);
}

int FileCalls::setAttribute(int descriptor, const char *name, std::string_view value) {
  return ::fsetxattr(descriptor, name, value.data(), value.size(), 0);
}

int FileCalls::removeAttribute(int descriptor, const char *name) {
  return ::fremovexattr(descriptor, name);
}

int FileCalls::createPipe(std::array<int, 2> &ends) { return ::pipe2(ends.data(), O_CLOEXEC); }

int FileCalls::control(int descriptor, int command, int argument) {
  return ::fcntl(descriptor, command, argument);
}

int FileCalls::putInPlaceOf(int descriptor, int other) {
  return resumed([&] { return ::dup3(descriptor, other, O_CLOEXEC); });
}

std::unique_ptr<DirectoryStream> FileCalls::openDirectory(const char *path) {
  auto stream = std::make_unique<RealDirectoryStream>(); // before there is anything to close
  return stream->open(path) ? std::move(stream) : nullptr;
}

ssize_t FileCalls::readEntries(int directory, void *entries, std::size_t size) {
  return resumed([&] { return ::getdents64(directory, entries, size); });
}

const char *FileCalls::workingDirectory(char *buffer, std::size_t size) {
  return ::getcwd(buffer, size);
}

std::optional<std::string> FileCalls::canonicalPath(const std::string &path) {
  std::error_code error;
  auto canonical = std::filesystem::canonical(path, error);
  return error ? std::nullopt : std::optional(canonical.string());
}

std::optional<std::string> FileCalls::programPath() {
  std::error_code error;
  auto path = std::filesystem::read_symlink("/proc/self/exe", error);
  return error ? std::nullopt : std::optional(path.string());
}

std::string FileCalls::programFolder() {
  const std::string path = programPath().value_or("");
  return path.substr(0, path.rfind('/') + 1);
}

std::string FileCalls::programName() {
  const std::string path = programPath().value_or("");
  return path.substr(path.rfind('/') + 1);
}

} // namespace tesker
