#include "caching/CachingFileManager.h"

#include "caching/DirFileStatsCache.h"
#include "caching/FileTypeCache.h"
#include "caching/FilerNameDirCache.h"
#include "caching/GlobalStatCache.h"
#include "filesystem/DirectoryListing.h"
#include "filesystem/UsersAndGroups.h"
#include "paths/PathFunctions.h"

#include <algorithm>
#include <iterator>

namespace tesker {

NSString lastDir;

namespace {

constexpr std::int32_t kValidateFiles = 2 | 4;
constexpr std::int32_t kValidateListings = 4;

constexpr int kExecute = 1;
constexpr int kWrite = 2;

// The super-user reads and writes everything, and executes what anyone may execute.
bool isPermittedToSuperUser(int mode, const NSFileAttributes &info) {
  if ((mode & kExecute) == 0)
    return true;
  const int permissions = info.fullPermissions();
  return ((permissions >> 6 | permissions >> 3 | permissions) & kExecute) != 0;
}

bool isPermitted(int mode, const NSFileAttributes &info) {
  const std::int32_t user = cachedGetUID();
  if (user == 0)
    return isPermittedToSuperUser(mode, info);
  // One triplet counts. Kept: owner and group are the narrow, signed numbers of the attributes, as
  // those have always been compared; an id above 32767 never matches, and its user is judged by the
  // bits of the others.
  int permitted = info.fullPermissions();
  if (info._getUID() == user)
    permitted >>= 6;
  else if (isGIDInUserGroups(info._getGID()))
    permitted >>= 3;
  return (mode & ~(permitted & 7)) == 0;
}

} // namespace

// Made in this order, which is that of the list of caches.
struct CachingFileManager::Caches {
  DirFileStatsCache dirFileStats{kValidateFiles, tesker::filerZone()};
  FileTypeCache fileTypes{kValidateFiles, tesker::filerZone()};
  ChildrenNamesCache childrenNames{kValidateListings, tesker::filerZone()};
};

CachingFileManager::CachingFileManager() : caches_(std::make_unique<Caches>()) {}

CachingFileManager &CachingFileManager::classObject() {
  static CachingFileManager &object = initialize();
  return object;
}

CachingFileManager &CachingFileManager::initialize() {
  setFilerTS(globalLastValidateDate);
  emptyGlobalTable();
  return *new CachingFileManager;
}

void CachingFileManager::bumpGeneration() { ++generation; }

const std::pmr::vector<FilerCache *> &CachingFileManager::caches() const {
  return FilerCache::living();
}

std::optional<NSFileAttributes> CachingFileManager::_privateLstatDir(const NSString &dir,
                                                                     const NSString &file) {
  return namesDirectoryItself(file) ? globalCachedDirStat(dir, false)
                                    : caches_->dirFileStats.lstatDir(dir, file);
}

std::optional<NSFileAttributes> CachingFileManager::_privateStatDir(const NSString &dir,
                                                                    const NSString &file) {
  return namesDirectoryItself(file) ? globalCachedDirStat(dir, true)
                                    : caches_->dirFileStats.statDir(dir, file);
}

bool CachingFileManager::isAccessible(int mode, const NSString &dir, const NSString &file) {
  auto info = _privateLstatDir(dir, file);
  if (info && info->isLink()) {
    if (info->isMagicDirectory())
      return true;
    info = _privateStatDir(dir, file);
  }
  if (mode == 0)
    return true;
  if ((mode & kWrite) != 0) {
    IsWritableDeviceTeller *teller = isWritableDeviceTeller();
    if (teller != nullptr && !teller->isWritableDeviceForDir(dir, file))
      return false;
  }
  return info && isPermitted(mode, *info);
}

bool CachingFileManager::access(int mode, const NSString &dir, const NSString &file) {
  try {
    return isAccessible(mode, dir, file);
  } catch (...) {
    return false;
  }
}

std::int32_t CachingFileManager::getFilerTypeDir(const NSString &dir, const NSString &file) {
  return caches_->fileTypes.getFilerTypeDir(dir, file);
}

std::optional<Names> CachingFileManager::childrenForDirPath(const NSString &dirPath,
                                                            bool filterDots, bool filterBackups) {
  const Names *names = caches_->childrenNames.childrenNamesFor(dirPath);
  if (names == nullptr)
    return std::nullopt;
  if (!filterDots && !filterBackups)
    return *names;
  Names chosen;
  chosen.reserve(names->size());
  const NameFilter filter{filterDots, filterBackups};
  std::remove_copy_if(names->begin(), names->end(), std::back_inserter(chosen),
                      [filter](const NSString &name) { return filter.leavesOut(name.bytes()); });
  return chosen;
}

bool CachingFileManager::hasChildren(const NSString &path) {
  const Names *names = caches_->childrenNames.childrenNamesFor(path);
  return names != nullptr && !names->empty();
}

void CachingFileManager::validate(std::int32_t mask) {
  setFilerTS(globalLastValidateDate);
  lastDir = nullptr;
  for (FilerCache *cache : caches())
    cache->validate(mask);
}

void CachingFileManager::reset() {
  emptyGlobalTable();
  for (FilerCache *cache : caches())
    cache->reset();
}

void CachingFileManager::flushDir(const NSString &path) {
  emptyGlobalTable();
  for (FilerCache *cache : caches())
    cache->flushDir(path);
}

std::int32_t CachingFileManager::flushVeryOld(std::int32_t age) {
  std::int32_t removed = flushVeryOldGlobal(age);
  forgetHomeDirectories();
  for (auto cache = caches().rbegin(); cache != caches().rend(); ++cache)
    removed += (*cache)->flushVeryOld(age);
  return removed;
}

void CachingFileManager::flushChildrenNamesCache() { caches_->childrenNames.reset(); }

} // namespace tesker
