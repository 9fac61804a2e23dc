// The file manager's access predicates and its changes to the file system.
#include "filesystem/TeskerFileManagerMethods.h"

#include "paths/PathFunctions.h"
#include "platform/foundation/FileDescriptor.h"
#include "platform/foundation/NSException.h"
#include "platform/foundation/OperatingSystem.h"

#include <cerrno>
#include <fcntl.h>
#include <string_view>
#include <unistd.h>

namespace tesker {

std::uint32_t generation = 0;

namespace {

IsWritableDeviceTeller *deviceTeller = nullptr;

bool isAccessible(const NSString &path, int mode) {
  return OperatingSystem::current().access(path.fileSystemRepresentation(), mode) == 0;
}

// The execute bits that go with the read bits.
mode_t executeBitsForReadBits(mode_t mode) { return (mode & 0444) >> 2; }

} // namespace

NSFileManager &NSFileManager::classObject() {
  static NSFileManager &object = *new NSFileManager;
  return object;
}

NSZone &NSFileManager::filerZone() { return tesker::filerZone(); }

bool NSFileManager::fileExistsAtPath(const NSString &path) {
  return static_cast<bool>(fileAttributesAtPath(path, true));
}

bool NSFileManager::_fileCanBeReadAtPath(const NSString &path) { return isAccessible(path, R_OK); }

bool NSFileManager::_fileCanBeExecutedAtPath(const NSString &path) {
  return isAccessible(path, X_OK);
}

bool NSFileManager::fileCanBeReadExecutedAtPath(const NSString &path) {
  return isAccessible(path, R_OK | X_OK);
}

bool NSFileManager::fileCanBeWriteExecutedAtPath(const NSString &path) {
  // Asked before something is put at the path, so only a refusal counts: a file that is not there
  // yet is no obstacle.
  return isAccessible(path, W_OK | X_OK) || (errno != EACCES && errno != EROFS && errno != EPERM);
}

bool NSFileManager::fileCanBeReadWritedExecutedAtPath(const NSString &path) {
  if (deviceTeller != nullptr && !deviceTeller->isWritableDeviceFor(path))
    return false;
  // This predicate alone takes the plain byte string. Its bytes are those of the file-system
  // representation, but it would end at a NUL inside, and another file would answer for this one.
  if (path.bytes().find('\0') != std::string_view::npos)
    return false;
  return OperatingSystem::current().access(path.cString(), R_OK | W_OK | X_OK) == 0;
}

void NSFileManager::createDirectoryAtPath(const NSString &path, mode_t permissions) {
  const char *name = path.fileSystemRepresentation();
  try {
    OperatingSystem::current().makeDirectory(name, permissions);
  } catch (const NSException &) {
    _UNIX_ERROR(path);
  }
}

bool NSFileManager::changePermissions(mode_t mode, const NSString &path) {
  return OperatingSystem::current().changeMode(path.fileSystemRepresentation(), mode) == 0;
}

bool NSFileManager::changePermissions(mode_t mode, mode_t mask, const NSString &path,
                                      mode_t oldMode, bool autoSetExec) {
  if (autoSetExec && S_ISDIR(oldMode)) {
    mode = (mode & ~mode_t{0111}) | executeBitsForReadBits(mode);
    mask |= executeBitsForReadBits(mask);
  }
  const mode_t newMode = (oldMode & ~mask) | (mode & mask);
  return newMode == oldMode || changePermissions(newMode, path);
}

void NSFileManager::renameOld(const NSString &oldPath, const NSString &newPath) {
  if (OperatingSystem::current().rename(oldPath.fileSystemRepresentation(),
                                        newPath.fileSystemRepresentation()) != 0)
    _UNIX_ERROR(newPath);
  // Even a failed rename may have changed something on the way, on a network mount for example.
  ++generation;
}

mode_t NSFileManager::getDirectoryLinkPermissions(const NSString &path) {
  try {
    struct stat status {};
    return fileStat(path, status) ? status.st_mode : 0;
  } catch (const NSException &) {
    return 0;
  }
}

void NSFileManager::registerIsWritableDeviceTeller(IsWritableDeviceTeller *teller) {
  deviceTeller = teller;
}

IsWritableDeviceTeller *NSFileManager::isWritableDeviceTeller() { return deviceTeller; }

bool NSFileManager::isLegalNameDir(const NSString &path) {
  // What is there must not hold the question up: a FIFO would wait for a writer.
  const FileDescriptor file(OperatingSystem::current().open(path.fileSystemRepresentation(),
                                                            O_RDONLY | O_NONBLOCK | O_NOCTTY));
  return file || (errno != EINVAL && errno != ENAMETOOLONG);
}

} // namespace tesker
