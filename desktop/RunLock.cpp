#include "desktop/RunLock.h"

#include "platform/foundation/KeptFiles.h"

#include <cerrno>

namespace tesker {

namespace {

constexpr std::chrono::seconds kTimeToWait{10};

} // namespace

std::optional<FileDescriptor> lockFor(const std::string &path, Reports &reports) {
  const std::string file = path + ".lock";
  if (const Result<> made = makeDirectoriesAbove(file); !made) {
    reports.failFor(path, made.error());
    return std::nullopt;
  }
  Result<FileDescriptor> lock = openLocked(file, Deadline::in(kTimeToWait));
  if (lock)
    return std::move(*lock);
  if (lock.error() == EWOULDBLOCK)
    reports.fail(file, "another process holds the lock");
  else
    reports.failFor(file, lock.error());
  return std::nullopt;
}

} // namespace tesker
