#include "master/PrivateDirectory.h"

#include "platform/foundation/OperatingSystem.h"
#include "platform/foundation/RemoveTree.h"

#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <optional>
#include <string_view>
#include <sys/file.h>
#include <sys/stat.h>

namespace tesker {

namespace {

// A name that nothing else has: "tesker-" and a user's number is where a desktop's master listens.
constexpr std::string_view kPrefix = "tesker-master-";

// How long what is left in a directory is cleared away: enough for anything but a process that
// makes files for as long as there is one who removes them.
constexpr std::chrono::seconds kTimeToClear{2};

// What the open directory is like; fails with EPERM when it is another user's.
Result<struct stat> statusOfOwn(const FileDescriptor &directory) {
  struct stat status {};
  if (OperatingSystem::current().statDescriptor(directory.number(), status) != 0)
    return Failure{errno};
  if (status.st_uid != OperatingSystem::current().effectiveUserId())
    return Failure{EPERM};
  return status;
}

// Opens a directory of this user's, itself and not by a link, and locks it. Fails with EWOULDBLOCK
// when it is locked and with ENOENT when it has been removed meanwhile. Where the file system has
// no locks to give, whether that is a failure is the caller's to say.
Result<FileDescriptor> openLocked(const std::string &path, bool locksAreNeeded) {
  FileDescriptor directory(
      OperatingSystem::current().open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW));
  if (!directory)
    return Failure{errno};
  if (const auto own = statusOfOwn(directory); !own)
    return own.failure();
  if (OperatingSystem::current().lock(directory.number(), LOCK_EX | LOCK_NB) != 0 &&
      (locksAreNeeded || errno == EWOULDBLOCK))
    return Failure{errno};
  const auto status = statusOfOwn(directory);
  if (!status)
    return status.failure();
  if (status->st_nlink == 0)
    return Failure{ENOENT};
  return directory;
}

// Removes what processes that were killed have left. Each is locked meanwhile, so that its maker,
// who may be about to lock it, and others who clean up step aside.
void removeAbandoned(const std::string &parent) {
  const auto names = OperatingSystem::current().openDirectory(parent.c_str());
  int removed = 0;
  for (int seen = 0;
       names && seen < PrivateDirectory::kMostNamesSeen && removed < PrivateDirectory::kMostRemoved;
       ++seen) {
    const std::optional<std::string_view> name = names->next();
    if (!name)
      return;
    if (!name->starts_with(kPrefix))
      continue;
    const std::string path = parent + "/" + std::string(*name);
    if (const Result<FileDescriptor> lock = openLocked(path, true)) {
      (void)removeTree(path, Deadline::in(kTimeToClear));
      ++removed;
    }
  }
}

} // namespace

Result<PrivateDirectory> PrivateDirectory::create() {
  const auto runtime = environmentValue("XDG_RUNTIME_DIR");
  if (runtime && runtime->starts_with('/'))
    if (auto made = createUnder(*runtime))
      return made;
  return createUnder("/tmp");
}

Result<PrivateDirectory> PrivateDirectory::createUnder(const std::string &parent) {
  // Each is lost to one who cleans up at that very moment.
  constexpr int kMostAttempts = 100;
  removeAbandoned(parent);
  int error = 0;
  for (int attempt = 0; attempt < kMostAttempts; ++attempt) {
    PrivateDirectory made(parent + "/" + std::string(kPrefix) + "XXXXXX");
    if (OperatingSystem::current().makeTemporaryDirectory(made.path_.data()) != 0) {
      error = errno;
      made.path_.clear();
      return Failure{error};
    }
    made.path_.copy(made.bootstrapPath_.data(), made.path_.size()); // as it is called now
    Result<FileDescriptor> lock = openLocked(made.path_, false);
    if (lock) {
      // Without the bit that it has from a directory that hands its group on.
      (void)OperatingSystem::current().changeDescriptorMode(lock->number(), 0700);
      made.lock_ = std::move(*lock);
      return made;
    }
    error = lock.error();
    if (error != ENOENT && error != EWOULDBLOCK)
      break;
  }
  return Failure{error};
}

bool PrivateDirectory::remove(const Deadline &pause) {
  if (path_.empty())
    return true;
  if (!timeToRemove_)
    timeToRemove_ = Deadline::in(kTimeToClear);
  // As a rule nothing else is in it, and removing it then needs no descriptor, of which there may
  // be none.
  OperatingSystem &system = OperatingSystem::current();
  (void)system.removeDirectory(bootstrapPath().c_str());
  if (system.removeDirectory(path_.c_str()) != 0 &&
      !removeTree(path_, earlier(pause, *timeToRemove_)) && pause.passed() &&
      !timeToRemove_->passed())
    return false;
  path_.clear();
  lock_.reset();
  return true;
}

PrivateDirectory::~PrivateDirectory() {
  while (!remove(Deadline::in(kTimeToClear)))
    continue;
}

} // namespace tesker
