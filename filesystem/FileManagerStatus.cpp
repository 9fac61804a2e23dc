// The file manager's status requests and listings.
#include "filesystem/TeskerFileManagerMethods.h"

#include "filesystem/ListingInProgress.h"
#include "paths/PathFunctions.h"
#include "platform/foundation/NSException.h"
#include "platform/foundation/OperatingSystem.h"

#include <fcntl.h>
#include <memory>
#include <string_view>
#include <utility>

namespace tesker {

namespace {

RefPtr<NSFileAttributes> attributesAt(int directory, const char *name, bool traverseLink) {
  struct stat status {};
  if (OperatingSystem::current().statAt(directory, name, traverseLink, status) != 0)
    return nullptr;
  return NSFileAttributes::create(status);
}

RefPtr<NSFileAttributes> attributesOf(NSFileManager &manager, const NSString &dir,
                                      const NSString *file, bool traverseLink) {
  if (const auto directory = ListingInProgress::descriptorFor(dir, file))
    return attributesAt(*directory, file->cString(), traverseLink);
  if (file == nullptr)
    return manager.fileAttributesAtPath(dir, traverseLink);
  return manager.fileAttributesAtPath(*dir.stringByAppendingPathComponent(file->bytes()),
                                      traverseLink);
}

// The attributes' value, or 0 where there are none.
template <class Value>
Value valueOrZero(const RefPtr<NSFileAttributes> &attributes,
                  Value (NSFileAttributes::*question)() const) {
  return attributes ? ((*attributes).*question)() : Value{0};
}

// Whether both requests are answered and name the same file. They may raise in a subclass.
template <class Status, class OtherStatus> bool leadToSameFile(Status status, OtherStatus other) {
  try {
    const RefPtr<NSFileAttributes> a = status();
    const RefPtr<NSFileAttributes> b = other();
    return a && b && a->areEqualUID(*b);
  } catch (const NSException &) {
    return false;
  }
}

} // namespace

RefPtr<NSFileAttributes> NSFileManager::fileAttributesAtPath(const NSString &path,
                                                             bool traverseLink) {
  return attributesAt(AT_FDCWD, path.fileSystemRepresentation(), traverseLink);
}

RefPtr<NSFileAttributes> NSFileManager::_privateLstatDir(const NSString &dir,
                                                         const NSString *file) {
  return attributesOf(*this, dir, file, false);
}

RefPtr<NSFileAttributes> NSFileManager::_privateStatDir(const NSString &dir, const NSString *file) {
  return attributesOf(*this, dir, file, true);
}

RefPtr<NSFileAttributes> NSFileManager::_privateStatNoMountDir(const NSString &dir,
                                                               const NSString *file) {
  auto attributes = _privateLstatDir(dir, file);
  if (attributes && attributes->isLink() && !attributes->isMagicDirectory())
    return _privateStatDir(dir, file);
  return attributes;
}

RefPtr<NSMutableArray> NSFileManager::_privateLStatDir(const NSString &dir, bool filterDots,
                                                       bool filterBackups, NSMutableArray &infos) {
  const ListingInProgress listing(dir);
  try {
    auto names = childrenForDirPath(dir, filterDots, filterBackups);
    if (!names)
      return nullptr;
    for (const auto &name : *names)
      // An entry that vanished has no attributes, and adding nil raises.
      infos.addObject(_privateLstatDir(dir, as<NSString>(&*name)));
    return names;
  } catch (const NSException &) {
    return nullptr;
  }
}

std::uint16_t NSFileManager::getLModeDir(const NSString &dir, const NSString *file) {
  return valueOrZero(_privateLstatDir(dir, file), &NSFileAttributes::fullPermissions);
}

std::uint16_t NSFileManager::getModeDir(const NSString &dir, const NSString *file) {
  return valueOrZero(_privateStatDir(dir, file), &NSFileAttributes::fullPermissions);
}

std::int32_t NSFileManager::devnumForLDir(const NSString &dir, const NSString *file) {
  return valueOrZero(_privateLstatDir(dir, file), &NSFileAttributes::_getStatDev);
}

std::int32_t NSFileManager::devnumForDir(const NSString &dir, const NSString *file) {
  return valueOrZero(_privateStatDir(dir, file), &NSFileAttributes::_getStatDev);
}

RefPtr<NSMutableArray> NSFileManager::childrenForDirPath(const NSString &dirPath, bool filterDots,
                                                         bool filterBackups) {
  auto stream = OperatingSystem::current().openDirectory(dirPath.fileSystemRepresentation());
  if (!stream) {
    _UNIX_ERROR(dirPath);
    return nullptr;
  }
  auto names = NSMutableArray::create(0, filerZone());
  unsigned special = 0; // 1 for ".", 2 for ".."
  std::string_view name;
  while (stream->next(name)) {
    if (name == ".")
      special += 1;
    else if (name == "..")
      special += 2;
    else if (!(filterDots && name.starts_with('.')) && !(filterBackups && name.ends_with('~')))
      names->addObject(NSString::create(name, filerZone()));
  }
  ListingInProgress::keepOpen(dirPath, std::move(stream));
  if (special != 3)
    _UNIX_ERROR(dirPath);
  return names;
}

RefPtr<NSMutableArray> NSFileManager::childrenForDirPath(const NSString &dirPath) {
  return childrenForDirPath(dirPath, false, false);
}

bool NSFileManager::isSameDir(const NSString &dir, const NSString &otherDir) {
  return isSameDir(dir, nullptr, otherDir, nullptr);
}

bool NSFileManager::isSameDir(const NSString &dir, const NSString *file, const NSString &otherDir,
                              const NSString *otherFile) {
  if (dir.isEqual(&otherDir) && isEqual(file, otherFile))
    return true;
  return leadToSameFile([&] { return _privateStatDir(dir, file); },
                        [&] { return _privateStatDir(otherDir, otherFile); });
}

} // namespace tesker
