#include "platform/foundation/RemoveTree.h"

#include "platform/foundation/Files.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <dirent.h>

namespace tesker {

namespace {

void removeEntry(int directory, const char *name, int depth, const Deadline &deadline);

void clear(int directory, int depth, const Deadline &deadline) {
  alignas(dirent64) std::array<char, 2048> entries;
  for (;;) {
    const ssize_t size =
        OperatingSystem::current().readEntries(directory, entries.data(), entries.size());
    for (ssize_t at = 0; at < size;) {
      const auto *entry = reinterpret_cast<const dirent64 *>(entries.data() + at);
      if (deadline.passed())
        return;
      removeEntry(directory, entry->d_name, depth, deadline);
      at += entry->d_reclen;
    }
    if (size <= 0)
      return;
  }
}

void removeEntry(int directory, const char *name, int depth, const Deadline &deadline) {
  OperatingSystem &system = OperatingSystem::current();
  if (std::strcmp(name, ".") == 0 || std::strcmp(name, "..") == 0 ||
      system.unlinkAt(directory, name, 0) == 0)
    return;
  const FileDescriptor below(system.openAt(directory, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW));
  if (below && depth > 0)
    clear(below.number(), depth - 1, deadline);
  system.unlinkAt(directory, name, AT_REMOVEDIR);
}

} // namespace

Result<> removeTree(const std::string &path, const Deadline &deadline) {
  OperatingSystem &system = OperatingSystem::current();
  const FileDescriptor directory(system.open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW));
  if (directory)
    clear(directory.number(), kDeepestRemoved, deadline);
  if (system.removeDirectory(path.c_str()) != 0)
    return Failure{errno};
  return {};
}

} // namespace tesker
