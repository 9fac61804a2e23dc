// The two thin faces of the system that everything above shares.
#include "paths/PathFunctions.h"

#include "platform/foundation/OperatingSystem.h"

#include <fcntl.h>

namespace tesker {

bool fileStat(const NSString &path, struct stat &status) {
  return OperatingSystem::current().statAt(AT_FDCWD, path.fileSystemRepresentation(), false,
                                           status) == 0;
}

// NOLINTNEXTLINE(bugprone-reserved-identifier)
void _UNIX_ERROR(const NSString &) {}

} // namespace tesker
