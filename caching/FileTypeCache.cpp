#include "caching/FileTypeCache.h"

#include "caching/CachingFileManager.h"
#include "paths/PathFunctions.h"
#include "platform/foundation/NSException.h"

#include <array>

namespace tesker {

namespace {

// The name and number of a type.
struct Described {
  NSString text;
  std::int32_t number;
};

const Described &described(FileType type) {
  static const auto &all = *new std::array<Described, 6>{{
      {NSString::create("Directory", filerZone()), 0},
      {NSString::create("DirectorySameDev", filerZone()), 1},
      {NSString::create("DirectoryChangeDev", filerZone()), 2},
      {NSString::create("Regular", filerZone()), 3},
      {NSString::create("UnixDev", filerZone()), 4},
      {NSString::create("Other", filerZone()), 4},
  }};
  return all[static_cast<std::size_t>(type)];
}

// Of anything but a directory.
FileType typeOfFile(const std::optional<NSFileAttributes> &info) {
  if (info && info->isDevice())
    return FileType::unixDev;
  return info && info->isRegular() ? FileType::regular : FileType::other;
}

FileType typeBehindLink(const NSString &dir, const NSString &file) {
  try {
    const auto info = CachingFileManager::classObject()._privateStatDir(dir, file);
    return info && info->isDirectory() ? FileType::directory : typeOfFile(info);
  } catch (const NSException &) {
    return FileType::other;
  }
}

FileType typeOfDirectory(const NSString &dir, const NSFileAttributes &info) {
  std::int32_t device = 0;
  try {
    device = CachingFileManager::classObject().devnumForDir(dir, nullptr);
  } catch (const NSException &) {
    // Kept: device 0 then, which makes the directory look like a mount point; one that is taken for
    // an ordinary directory would be searched.
  }
  return device == info._getStatDev() ? FileType::directorySameDev : FileType::directoryChangeDev;
}

} // namespace

FileType FileTypeCache::typeOf(const NSString &dir, const NSString &file) {
  FileTypeTable *table = ensureValue(dir);
  if (const auto known = table != nullptr ? table->find(file) : std::nullopt)
    return *known;
  countMiss();
  const auto info = CachingFileManager::classObject()._privateLstatDir(dir, file);
  if (info && info->isMagicDirectory())
    return FileType::directory;
  if (info && info->isLink())
    return typeBehindLink(dir, file);
  const FileType type =
      info && info->isDirectory() ? typeOfDirectory(dir, *info) : typeOfFile(info);
  if (table != nullptr)
    table->insert(file, type);
  return type;
}

NSString FileTypeCache::getInternalFileType(const NSString &dir, const NSString &file) {
  return described(typeOf(dir, file)).text;
}

std::int32_t FileTypeCache::getFilerTypeDir(const NSString &dir, const NSString &file) {
  TeskerCheckDirFile(dir, file);
  return namesDirectoryItself(file) ? 0 : described(typeOf(dir, file)).number;
}

} // namespace tesker
