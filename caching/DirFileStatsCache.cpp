#include "caching/DirFileStatsCache.h"

#include "caching/DirFileStatsTable.h"
#include "caching/GlobalStatCache.h"
#include "filesystem/FileManagerUtils.h"
#include "filesystem/TeskerFileManagerMethods.h"
#include "paths/PathFunctions.h"

#include <utility>

namespace tesker {

Ref<DirFileStatsTable> DirFileStatsTable::create(NSZone &zone) {
  return allocate<DirFileStatsTable>(zone, zone);
}

DirFileStatEntry *DirFileStatsTable::find(const NSString &file) {
  const OwnedDirFileStatEntry *found = entries_.find(file);
  return found != nullptr ? &**found : nullptr;
}

void DirFileStatsTable::set(const NSString &file, const FilerTS &stamp,
                            RefPtr<NSFileAttributes> lstatInfo) {
  RecordHandle record(std::move(lstatInfo));
  DirFileStatEntry *entry = find(file);
  if (entry == nullptr) {
    OwnedDirFileStatEntry made(newDirFileStatEntry());
    if (!made)
      return;
    entry = &*made;
    entries_.insert(file, std::move(made));
  }
  entry->stamp = stamp;
  entry->lstatInfo = std::move(record);
  entry->statInfo = RecordHandle();
}

Ref<DirFileStatsCache> DirFileStatsCache::initValidateWhen(std::int32_t mask, NSZone &zone) {
  return allocate<DirFileStatsCache>(zone, mask, zone);
}

DirFileStatsCache::LastFile &DirFileStatsCache::lastFile() {
  static auto &last = *new LastFile;
  return last;
}

bool DirFileStatsCache::LastFile::isFor(const NSString &dir, const NSString &file) const {
  // The file first: over one directory it is what differs.
  return LSlastFile && LSlastFile->isEqualToString(file) && LSlastDir->isEqualToString(dir);
}

void DirFileStatsCache::LastFile::remember(const NSString &dir, const NSString &file,
                                           RefPtr<NSFileAttributes> info) {
  // Copies, so that a caller who changes its strings does not change what is remembered; an
  // immutable string is its own copy. In a walk the directory is the one already held.
  auto ownFile = file.copy(file.zone());
  if (LSlastDir.get() != &dir)
    LSlastDir = dir.copy(dir.zone());
  LSlastFile = std::move(ownFile);
  LSlastInfo = std::move(info);
}

RefPtr<NSFileAttributes> DirFileStatsCache::lstatDir(const NSString &dir, const NSString &file) {
  LastFile &last = lastFile();
  if (last.isFor(dir, file))
    return last.LSlastInfo;
  const auto table = ensureTable<DirFileStatsTable>(dir);
  const DirFileStatEntry *entry = table->find(file);
  if (entry != nullptr && isValid(entry->stamp)) {
    last.remember(dir, file, RefPtr<NSFileAttributes>(entry->lstatInfo.get()));
    return last.LSlastInfo;
  }
  countMiss();
  // Taken before the question, so that a change meanwhile counts as one that came after it.
  FilerTS ts;
  setFilerTS(ts);
  auto info = NSFileManager::classObject()._privateLstatDir(dir, &file);
  if (info && info->isDirectory())
    fillGlobalCachedDirLStat(*TeskerCatDirFile(dir, &file), info, ts);
  table->set(file, ts, info);
  last.remember(dir, file, info);
  return info;
}

RefPtr<NSFileAttributes> DirFileStatsCache::statDir(const NSString &dir, const NSString &file) {
  auto info = lstatDir(dir, file);
  if (!info || !info->isLink())
    return info;
  const auto table = as<DirFileStatsTable>(getDir(dir));
  DirFileStatEntry *entry = table ? table->find(file) : nullptr;
  if (!table)
    TeskerBug("statDir: Inconsistency 1 %@/%@", {dir.bytes(), file.bytes()});
  else if (entry == nullptr || entry->lstatInfo.get() == nullptr ||
           !entry->lstatInfo.get()->isLink())
    TeskerBug("statDir: Inconsistency 2 %@/%@", {dir.bytes(), file.bytes()});
  countMiss();
  info = NSFileManager::classObject()._privateStatDir(dir, &file);
  // Never read again; it only has to live as long as the entry.
  if (entry != nullptr)
    entry->statInfo = RecordHandle(info);
  return info;
}

void DirFileStatsCache::validate(std::int32_t mask) {
  lastFile() = LastFile();
  FilerDirCache::validate(mask);
}

} // namespace tesker
