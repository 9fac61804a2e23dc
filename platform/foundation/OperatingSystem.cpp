#include "platform/foundation/OperatingSystem.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <dirent.h>
#include <fcntl.h>
#include <filesystem>
#include <grp.h>
#include <pwd.h>
#include <sys/mman.h>
#include <sys/time.h>
#include <system_error>
#include <unistd.h>
#include <utility>
#include <vector>

namespace tesker {

namespace {

// Repeats a call for as long as a signal interrupts it.
template <class Call> auto resumed(Call call) {
  for (;;) {
    const auto result = call();
    if (result >= 0 || errno != EINTR)
      return result;
  }
}

// Reads with getdents64(2), piece by piece.
class RealDirectoryStream final : public DirectoryStream {
public:
  RealDirectoryStream() : piece_(spare.exchange(nullptr)) {
    if (!piece_)
      piece_ = std::make_unique_for_overwrite<Piece>();
  }
  ~RealDirectoryStream() override {
    if (descriptor_ >= 0)
      ::close(descriptor_);
    delete spare.exchange(piece_.release());
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
  // Most directories are read one after the other: they share a piece, which belongs to the one who
  // has taken it out.
  static constinit std::atomic<Piece *> spare;

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

constinit std::atomic<RealDirectoryStream::Piece *> RealDirectoryStream::spare = nullptr;

// Calls one of the reentrant database functions with a buffer that grows until the row fits.
template <class Row, class Lookup>
bool findRow(Row &row, std::vector<char> &buffer, Lookup lookup) {
  constexpr std::size_t kLargestRow = std::size_t{1} << 24;
  buffer.resize(4096);
  for (;;) {
    Row *found = nullptr;
    const int error = lookup(&row, buffer.data(), buffer.size(), &found);
    if (error == EINTR)
      continue;
    if (error != ERANGE || buffer.size() >= kLargestRow)
      return error == 0 && found != nullptr;
    buffer.resize(buffer.size() * 2);
  }
}

UserEntry userEntryOf(const passwd &row) {
  UserEntry entry{row.pw_name, row.pw_uid, row.pw_gid, std::nullopt};
  if (row.pw_dir != nullptr)
    entry.home = row.pw_dir;
  return entry;
}

} // namespace

int OperatingSystem::statAt(int directory, const char *name, bool followLinks,
                            struct stat &status) {
  const int flags = followLinks ? 0 : AT_SYMLINK_NOFOLLOW;
  int result;
  do
    result = ::fstatat(directory, name, &status, flags);
  while (result != 0 && errno == EINTR); // which a network's file system may give
  return result;
}

int OperatingSystem::statDescriptor(int descriptor, struct stat &status) {
  return resumed([&] { return ::fstat(descriptor, &status); });
}

int OperatingSystem::access(const char *path, int mode) { return ::access(path, mode); }

int OperatingSystem::makeDirectory(const char *path, mode_t mode) { return ::mkdir(path, mode); }

int OperatingSystem::changeMode(const char *path, mode_t mode) { return ::chmod(path, mode); }

int OperatingSystem::changeDescriptorMode(int descriptor, mode_t mode) {
  return ::fchmod(descriptor, mode);
}

int OperatingSystem::changeDescriptorOwner(int descriptor, uid_t user, gid_t group) {
  return ::fchown(descriptor, user, group);
}

int OperatingSystem::rename(const char *oldPath, const char *newPath) {
  return ::rename(oldPath, newPath);
}

int OperatingSystem::unlink(const char *path) { return ::unlink(path); }

int OperatingSystem::openAt(int directory, const char *path, int flags, mode_t mode) {
  return resumed([&] { return ::openat(directory, path, flags | O_CLOEXEC, mode); });
}

// close(2) leaves the descriptor closed even when a signal interrupts it.
int OperatingSystem::close(int descriptor) { return ::close(descriptor); }

ssize_t OperatingSystem::readAt(int descriptor, void *buffer, std::size_t size, off_t offset) {
  return resumed([&] { return ::pread(descriptor, buffer, size, offset); });
}

ssize_t OperatingSystem::write(int descriptor, const void *bytes, std::size_t size) {
  return resumed([&] { return ::write(descriptor, bytes, size); });
}

int OperatingSystem::synchronize(int descriptor) {
  return resumed([&] { return ::fsync(descriptor); });
}

std::unique_ptr<DirectoryStream> OperatingSystem::openDirectory(const char *path) {
  auto stream = std::make_unique<RealDirectoryStream>(); // before there is anything to close
  return stream->open(path) ? std::move(stream) : nullptr;
}

std::optional<std::string> OperatingSystem::programPath() {
  std::error_code error;
  auto path = std::filesystem::read_symlink("/proc/self/exe", error);
  return error ? std::nullopt : std::optional(path.string());
}

std::string OperatingSystem::programFolder() {
  const std::string path = programPath().value_or("");
  return path.substr(0, path.rfind('/') + 1);
}

std::string OperatingSystem::programName() {
  const std::string path = programPath().value_or("");
  return path.substr(path.rfind('/') + 1);
}

std::int64_t OperatingSystem::currentTime() {
  timeval now{};
  ::gettimeofday(&now, nullptr);
  return now.tv_sec;
}

int OperatingSystem::poll(struct pollfd *descriptors, nfds_t count, int timeoutMilliseconds) {
  using std::chrono::milliseconds;
  using std::chrono::steady_clock;
  const auto end = steady_clock::now() + milliseconds(timeoutMilliseconds);
  auto left = milliseconds(timeoutMilliseconds);
  return resumed([&] {
    const int ready = ::poll(descriptors, count, static_cast<int>(left.count()));
    if (ready < 0 && timeoutMilliseconds > 0)
      left = std::clamp(std::chrono::ceil<milliseconds>(end - steady_clock::now()), milliseconds(0),
                        left);
    return ready;
  });
}

uid_t OperatingSystem::userId() { return ::getuid(); }

int OperatingSystem::supplementaryGroups(gid_t *groups, int room) {
  return ::getgroups(room, groups);
}

std::optional<UserEntry> OperatingSystem::userWithId(uid_t uid) {
  passwd row{};
  std::vector<char> buffer;
  const bool found =
      findRow(row, buffer, [&](passwd *out, char *bytes, std::size_t size, passwd **result) {
        return ::getpwuid_r(uid, out, bytes, size, result);
      });
  return found ? std::optional(userEntryOf(row)) : std::nullopt;
}

std::optional<UserEntry> OperatingSystem::userWithName(const std::string &name) {
  passwd row{};
  std::vector<char> buffer;
  const bool found =
      findRow(row, buffer, [&](passwd *out, char *bytes, std::size_t size, passwd **result) {
        return ::getpwnam_r(name.c_str(), out, bytes, size, result);
      });
  return found ? std::optional(userEntryOf(row)) : std::nullopt;
}

std::optional<std::string> OperatingSystem::groupNameWithId(gid_t gid) {
  group row{};
  std::vector<char> buffer;
  const bool found =
      findRow(row, buffer, [&](group *out, char *bytes, std::size_t size, group **result) {
        return ::getgrgid_r(gid, out, bytes, size, result);
      });
  return found ? std::optional(std::string(row.gr_name)) : std::nullopt;
}

void *OperatingSystem::allocatePages(std::size_t size) {
  void *pages = ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  return pages == MAP_FAILED ? nullptr : pages;
}

constinit OperatingSystem *OperatingSystem::inForce_ = nullptr;

OperatingSystem &OperatingSystem::real() {
  // Never destroyed: descriptors may be closed after everything else.
  static OperatingSystem &real = *new OperatingSystem;
  inForce_ = &real;
  return real;
}

ScopedOperatingSystem::ScopedOperatingSystem(OperatingSystem &replacement)
    : before_(std::exchange(OperatingSystem::inForce_, &replacement)) {}

ScopedOperatingSystem::~ScopedOperatingSystem() { OperatingSystem::inForce_ = before_; }

std::optional<std::string> environmentValue(const char *variable) {
  const char *value = std::getenv(variable);
  if (value == nullptr || *value == '\0')
    return std::nullopt;
  return value;
}

std::optional<std::string> homeDirectory() {
  if (auto home = environmentValue("HOME"))
    return home;
  OperatingSystem &system = OperatingSystem::current();
  const auto user = system.userWithId(system.userId());
  return user ? user->home : std::nullopt;
}

} // namespace tesker
