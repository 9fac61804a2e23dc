#include "platform/foundation/KeptFiles.h"

#include <cerrno>

namespace tesker {

Result<> makeDirectoriesAbove(const std::string &path) {
  for (std::size_t slash = path.find('/', 1); slash != std::string::npos;
       slash = path.find('/', slash + 1))
    if (OperatingSystem::current().makeDirectory(path.substr(0, slash).c_str(), 0700) != 0 &&
        errno != EEXIST)
      return Failure{errno};
  return {};
}

Result<FileDescriptor> openLocked(const std::string &path, const Deadline &deadline) {
  FileDescriptor lock(
      OperatingSystem::current().open(path.c_str(), O_RDWR | O_CREAT | O_NOCTTY, 0600));
  if (!lock)
    return Failure{errno};
  if (const Result<> taken = lockExclusively(lock.number(), deadline); !taken)
    return taken.failure();
  return lock;
}

} // namespace tesker
