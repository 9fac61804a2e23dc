#include "platform/foundation/Files.h"

#include "platform/foundation/ReadFailures.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstdint>
#include <fcntl.h>
#include <linux/limits.h>
#include <optional>
#include <sys/xattr.h>
#include <unistd.h>

namespace tesker {

namespace {

struct NewFile {
  FileDescriptor descriptor;
  std::string name;
};

// Makes a new file in the path's folder, with a name that is short so that it fits wherever the
// path's own does. What a crashed process left under such a name is not reused, only passed over.
Result<NewFile> makeTemporaryFileFor(const std::string &path, mode_t mode) {
  static constinit std::atomic<unsigned> counter = 0;
  constexpr int kMostAttempts = 100;
  OperatingSystem &system = OperatingSystem::current();
  const std::string start =
      path.substr(0, path.rfind('/') + 1) + ".tmp-" + std::to_string(system.processId()) + "-";
  NewFile file;
  for (int attempt = 0; attempt < kMostAttempts && !file.descriptor; ++attempt) {
    file.name = start + std::to_string(++counter);
    file.descriptor =
        FileDescriptor(system.open(file.name.c_str(), O_WRONLY | O_CREAT | O_EXCL, mode));
    if (!file.descriptor && errno != EEXIST)
      break;
  }
  if (!file.descriptor)
    return Failure{errno};
  return file;
}

// The status of the file that the new one is to take the place of; nothing where there is none, or
// where it is of another kind.
std::optional<struct stat> statusOfFormer(const std::string &path) {
  struct stat status {};
  if (OperatingSystem::current().statAt(AT_FDCWD, path.c_str(), false, status) != 0 ||
      !S_ISREG(status.st_mode))
    return std::nullopt;
  return status;
}

constexpr const char *kAccessList = "system.posix_acl_access";

// Empty where there is none. What it says, only the system has to understand.
std::string accessListOf(const std::string &path) {
  std::string list(XATTR_SIZE_MAX, '\0');
  const ssize_t size =
      OperatingSystem::current().attribute(path.c_str(), kAccessList, list.data(), list.size());
  list.resize(static_cast<std::size_t>(std::max<ssize_t>(size, 0)));
  return list;
}

// Gives the file the access list and no other: a directory may hand one on to all that is made in
// it. False when the system refuses.
bool setAccessList(const FileDescriptor &file, const std::string &list) {
  OperatingSystem &system = OperatingSystem::current();
  (void)system.removeAttribute(file.number(), kAccessList);
  return list.empty() || system.setAttribute(file.number(), kAccessList, list) == 0;
}

// Gives the file the former one's owner, group, access list and mode. In another group's hands the
// bits of the group and of all others concern both the one's members and the other's: each gets
// what both had. A list means the group that it was made for; without it nobody but the owner has
// rights. Bits that lend the owner's or the group's rights go when either changes. What the system
// refuses leaves the file with the few rights that it was made with.
void takeOver(const FileDescriptor &file, const std::string &path, const struct stat &former) {
  OperatingSystem &system = OperatingSystem::current();
  constexpr uid_t kSameUser = static_cast<uid_t>(-1);
  constexpr gid_t kSameGroup = static_cast<gid_t>(-1);
  const bool hasGroup = system.changeDescriptorOwner(file.number(), kSameUser, former.st_gid) == 0;
  const bool hasUser = system.changeDescriptorOwner(file.number(), former.st_uid, kSameGroup) == 0;
  const std::string list = accessListOf(path);
  const bool hasList = setAccessList(file, hasGroup ? list : "") && (hasGroup || list.empty());
  mode_t mode = former.st_mode & 07777;
  if (!hasList)
    mode &= 07700;
  if (!hasGroup) {
    const mode_t common = (mode >> 3) & mode & 07;
    mode = (mode & 07700) | common << 3 | common;
  }
  if (!hasGroup || !hasUser)
    mode &= 0777;
  (void)system.changeDescriptorMode(file.number(), mode);
}

Result<> writeAndClose(FileDescriptor file, std::string_view bytes) {
  OperatingSystem &system = OperatingSystem::current();
  if (const Result<> written = writeAll(file.number(), bytes); !written)
    return written;
  if (system.synchronize(file.number()) != 0 || system.close(file.release()) != 0)
    return Failure{errno};
  return {};
}

} // namespace

Result<RegularFile> openRegularFile(const char *path, int directory) {
  OperatingSystem &system = OperatingSystem::current();
  RegularFile file{FileDescriptor(system.openAt(directory, path, O_RDONLY | O_NONBLOCK | O_NOCTTY)),
                   {}};
  if (!file.descriptor || system.statDescriptor(file.descriptor.number(), file.status) != 0) {
    const Failure failure{errno};
    noteReadFailure(failure.error);
    return failure;
  }
  if (!S_ISREG(file.status.st_mode))
    return Failure{EINVAL};
  return file;
}

Result<std::string> contentsOfFile(const NSString &path, std::size_t limit) {
  const Result<RegularFile> file = openRegularFile(path.fileSystemRepresentation());
  if (!file)
    return file.failure();
  // Grows with what has been read: the announced size of a hostile file is not a reason to
  // allocate, but it is one to give up before reading, and to ask for less at first.
  const auto announced = static_cast<std::uint64_t>(file->status.st_size);
  const std::size_t chunk = std::min<std::uint64_t>(announced + 1, std::uint64_t{64} * 1024);
  std::string bytes;
  while (announced <= limit && bytes.size() <= limit) {
    const std::size_t before = bytes.size();
    bytes.resize(before + std::max(chunk, before));
    const ssize_t got =
        OperatingSystem::current().readAt(file->descriptor.number(), bytes.data() + before,
                                          bytes.size() - before, static_cast<off_t>(before));
    const int error = errno;
    bytes.resize(before + static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
    if (got < 0) {
      noteReadFailure(error);
      return Failure{error};
    }
    if (got == 0)
      return bytes;
  }
  return Failure{EFBIG};
}

Result<> writeFileAtomically(const NSString &path, std::string_view bytes) {
  OperatingSystem &system = OperatingSystem::current();
  const std::string target = path.fileSystemRepresentation();
  if (target.empty())
    return Failure{ENOENT};
  const std::optional<struct stat> former = statusOfFormer(target);
  Result<NewFile> file = makeTemporaryFileFor(target, former ? 0600 : 0666);
  if (!file)
    return file.failure();
  if (former)
    takeOver(file->descriptor, target, *former);
  Result<> outcome = writeAndClose(std::move(file->descriptor), bytes);
  if (outcome && system.rename(file->name.c_str(), target.c_str()) != 0)
    outcome = Failure{errno};
  if (!outcome)
    system.unlink(file->name.c_str());
  return outcome;
}

FileDescriptor aboveStandardDescriptors(FileDescriptor descriptor) {
  if (!descriptor || descriptor.number() > STDERR_FILENO)
    return descriptor;
  return FileDescriptor(
      OperatingSystem::current().control(descriptor.number(), F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
}

Result<Pipe> createPipe() {
  std::array<int, 2> ends{};
  if (OperatingSystem::current().createPipe(ends) != 0)
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

Result<> lockExclusively(int descriptor, const Deadline &deadline) {
  constexpr int kMillisecondsBetween = 10;
  OperatingSystem &system = OperatingSystem::current();
  while (system.lock(descriptor, LOCK_EX | LOCK_NB) != 0) {
    const Failure failure{errno};
    if (failure.error != EWOULDBLOCK || deadline.passed())
      return failure;
    (void)system.poll(nullptr, 0, kMillisecondsBetween);
  }
  return {};
}

void openMissingStandardDescriptors(int mode) {
  OperatingSystem &system = OperatingSystem::current();
  for (int descriptor = STDIN_FILENO; descriptor <= STDERR_FILENO; ++descriptor)
    if (system.control(descriptor, F_GETFD) < 0) // opening takes the lowest number, this one
      (void)system.control(system.open("/dev/null", mode), F_SETFD);
}

} // namespace tesker
