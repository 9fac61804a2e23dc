#include "caching/CachingFileManager.h"

#include "caching/GlobalStatCache.h"
#include "filesystem/FileManagerUtils.h"

#include <string_view>

namespace tesker {

RefPtr<const NSString> lastDir;

namespace {

constexpr std::int32_t kValidateFiles = 2 | 4;
constexpr std::int32_t kValidateListings = 4;

constexpr int kExecute = 1;
constexpr int kWrite = 2;

bool isDirectoryItself(const NSString *file) { return file == nullptr || isEqual(file, "."); }

// The super-user reads and writes everything, and executes what anybody may execute.
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
  // One triplet counts. Owner and group are the narrow, signed numbers of the attributes: an id
  // above 32767 never matches, and its user is judged by the bits of the others.
  int permitted = info.fullPermissions();
  if (info._getUID() == user)
    permitted >>= 6;
  else if (isGIDInUserGroups(info._getGID()))
    permitted >>= 3;
  return (mode & ~(permitted & 7)) == 0;
}

} // namespace

CachingFileManager::CachingFileManager() : caches_(&filerZone()) {}

CachingFileManager &CachingFileManager::classObject() {
  static CachingFileManager &object = *new CachingFileManager;
  static bool isInitialized = false;
  if (!isInitialized) {
    // First, because the caches that it makes ask for the class object.
    isInitialized = true;
    try {
      object.initialize();
    } catch (...) {
      isInitialized = false;
      throw;
    }
  }
  return object;
}

void CachingFileManager::initialize() {
  setFilerTS(globalLastValidateDate);
  emptyGlobalTable();
  dirFileStatsCache_ = DirFileStatsCache::initValidateWhen(kValidateFiles, filerZone());
  fileTypeCache_ = FileTypeCache::initValidateWhen(kValidateFiles, filerZone());
  childrenNamesCache_ = ChildrenNamesCache::initValidateWhen(kValidateListings, filerZone());
}

void CachingFileManager::addCache(FilerCache &cache) { caches_.push_back(&cache); }

void CachingFileManager::removeCache(FilerCache &cache) { std::erase(caches_, &cache); }

void CachingFileManager::bumpGeneration() { ++generation; }

RefPtr<NSFileAttributes> CachingFileManager::_privateLstatDir(const NSString &dir,
                                                              const NSString *file) {
  if (!isDirectoryItself(file))
    return dirFileStatsCache_->lstatDir(dir, *file);
  RefPtr<NSFileAttributes> result;
  globalCachedDirStat(&dir, result, false);
  return result;
}

RefPtr<NSFileAttributes> CachingFileManager::_privateStatDir(const NSString &dir,
                                                             const NSString *file) {
  if (!isDirectoryItself(file))
    return dirFileStatsCache_->statDir(dir, *file);
  RefPtr<NSFileAttributes> result;
  globalCachedDirStat(&dir, result, true);
  return result;
}

bool CachingFileManager::isAccessible(int mode, const NSString &dir, const NSString *file) {
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

bool CachingFileManager::access(int mode, const NSString &dir, const NSString *file) {
  try {
    return isAccessible(mode, dir, file);
  } catch (...) {
    return false;
  }
}

std::int32_t CachingFileManager::getFilerTypeDir(const NSString &dir, const NSString *file) {
  return fileTypeCache_->getFilerTypeDir(dir, file);
}

RefPtr<NSMutableArray> CachingFileManager::childrenForDirPath(const NSString &dirPath,
                                                              bool filterDots, bool filterBackups) {
  auto names = childrenNamesCache_->childrenNamesFor(dirPath);
  if (!names || (!filterDots && !filterBackups))
    return names;
  auto chosen = NSMutableArray::create(names->count(), filerZone());
  for (const auto &name : *names) {
    const std::string_view bytes = as<NSString>(&*name)->bytes();
    if (!(filterDots && bytes.starts_with('.')) && !(filterBackups && bytes.ends_with('~')))
      chosen->addObject(name);
  }
  return chosen;
}

bool CachingFileManager::hasChildren(const NSString &path) {
  const auto names = childrenNamesCache_->childrenNamesFor(path);
  return names && names->count() > 0;
}

void CachingFileManager::validate(std::int32_t mask) {
  setFilerTS(globalLastValidateDate);
  lastDir = nullptr;
  for (FilerCache *cache : caches_)
    cache->validate(mask);
}

void CachingFileManager::reset() {
  emptyGlobalTable();
  for (FilerCache *cache : caches_)
    cache->reset();
}

void CachingFileManager::flushDir(const NSString &path) {
  emptyGlobalTable();
  for (FilerCache *cache : caches_)
    cache->flushDir(path);
}

std::int32_t CachingFileManager::flushVeryOld(std::int32_t age) {
  std::int32_t removed = flushVeryOldGlobal(age);
  forgetHomeDirectories();
  for (auto cache = caches_.rbegin(); cache != caches_.rend(); ++cache)
    removed += (*cache)->flushVeryOld(age);
  return removed;
}

void CachingFileManager::flushChildrenNamesCache() { childrenNamesCache_->reset(); }

} // namespace tesker
