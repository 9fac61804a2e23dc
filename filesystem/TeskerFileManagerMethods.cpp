#include "filesystem/TeskerFileManagerMethods.h"

#include "filesystem/DirectoryListing.h"
#include "paths/PathFunctions.h"
#include "platform/foundation/Files.h"
#include "platform/foundation/NSException.h"
#include "platform/foundation/OperatingSystem.h"
#include "platform/foundation/ReadFailures.h"

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

std::optional<NSFileAttributes> attributesOf(NSFileManager &manager, const NSString &dir,
                                             const NSString &file, bool traverseLink) {
  return manager.fileAttributesAtPath(file ? dir.stringByAppendingPathComponent(file.bytes()) : dir,
                                      traverseLink);
}

Names namesOf(const DirectoryListing &listing) {
  Names names;
  names.reserve(listing.count());
  for (std::size_t i = 0; i < listing.count(); ++i)
    names.push_back(NSString::create(listing.name(i), filerZone()));
  return names;
}

// The attributes' value, or 0 where there are none.
template <class Value>
Value valueOrZero(const std::optional<NSFileAttributes> &attributes,
                  Value (NSFileAttributes::*question)() const) {
  return attributes ? ((*attributes).*question)() : Value{0};
}

// Whether both requests are answered and name the same file. They may raise in a subclass.
template <class Status, class OtherStatus> bool leadToSameFile(Status status, OtherStatus other) {
  try {
    const std::optional<NSFileAttributes> a = status();
    const std::optional<NSFileAttributes> b = other();
    return a && b && a->areEqualUID(*b);
  } catch (const NSException &) {
    return false;
  }
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
  // yet is not in the way.
  return isAccessible(path, W_OK | X_OK) || (errno != EACCES && errno != EROFS && errno != EPERM);
}

bool NSFileManager::fileCanBeReadWritedExecutedAtPath(const NSString &path) {
  if (deviceTeller != nullptr && !deviceTeller->isWritableDeviceFor(path))
    return false;
  // Kept: this predicate alone takes the plain byte string, as its callers have always had it. It
  // would end at a NUL inside, and another file would answer for this one.
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

std::optional<NSFileAttributes> NSFileManager::fileAttributesAtPath(const NSString &path,
                                                                    bool traverseLink) {
  struct stat status;
  if (OperatingSystem::current().statAt(AT_FDCWD, path.fileSystemRepresentation(), traverseLink,
                                        status) != 0) {
    noteReadFailure(errno);
    return std::nullopt;
  }
  return NSFileAttributes(status);
}

std::optional<NSFileAttributes> NSFileManager::_privateLstatDir(const NSString &dir,
                                                                const NSString &file) {
  return attributesOf(*this, dir, file, false);
}

std::optional<NSFileAttributes> NSFileManager::_privateStatDir(const NSString &dir,
                                                               const NSString &file) {
  return attributesOf(*this, dir, file, true);
}

std::optional<NSFileAttributes> NSFileManager::_privateStatNoMountDir(const NSString &dir,
                                                                      const NSString &file) {
  const auto attributes = _privateLstatDir(dir, file);
  if (attributes && attributes->isLink() && !attributes->isMagicDirectory())
    return _privateStatDir(dir, file);
  return attributes;
}

std::optional<Names> NSFileManager::_privateLStatDir(const NSString &dir, bool filterDots,
                                                     bool filterBackups,
                                                     std::vector<NSFileAttributes> &infos) {
  try {
    auto names = childrenForDirPath(dir, filterDots, filterBackups);
    if (!names)
      return std::nullopt;
    for (const NSString &name : *names) {
      const auto attributes = _privateLstatDir(dir, name);
      if (!attributes) // it vanished, and nothing stands for it in infos
        return std::nullopt;
      infos.push_back(*attributes);
    }
    return names;
  } catch (const NSException &) {
    return std::nullopt;
  }
}

std::uint16_t NSFileManager::getLModeDir(const NSString &dir, const NSString &file) {
  return valueOrZero(_privateLstatDir(dir, file), &NSFileAttributes::fullPermissions);
}

std::uint16_t NSFileManager::getModeDir(const NSString &dir, const NSString &file) {
  return valueOrZero(_privateStatDir(dir, file), &NSFileAttributes::fullPermissions);
}

std::int32_t NSFileManager::devnumForLDir(const NSString &dir, const NSString &file) {
  return valueOrZero(_privateLstatDir(dir, file), &NSFileAttributes::_getStatDev);
}

std::int32_t NSFileManager::devnumForDir(const NSString &dir, const NSString &file) {
  return valueOrZero(_privateStatDir(dir, file), &NSFileAttributes::_getStatDev);
}

std::optional<Names> NSFileManager::childrenForDirPath(const NSString &dirPath, bool filterDots,
                                                       bool filterBackups) {
  const auto listing = DirectoryListing::read(dirPath, {filterDots, filterBackups});
  return listing ? std::optional(namesOf(*listing)) : std::nullopt;
}

std::optional<Names> NSFileManager::childrenForDirPath(const NSString &dirPath) {
  return childrenForDirPath(dirPath, false, false);
}

bool NSFileManager::isSameDir(const NSString &dir, const NSString &otherDir) {
  return isSameDir(dir, nullptr, otherDir, nullptr);
}

bool NSFileManager::isSameDir(const NSString &dir, const NSString &file, const NSString &otherDir,
                              const NSString &otherFile) {
  if (dir == otherDir && file == otherFile)
    return true;
  return leadToSameFile([&] { return _privateStatDir(dir, file); },
                        [&] { return _privateStatDir(otherDir, otherFile); });
}

} // namespace tesker
