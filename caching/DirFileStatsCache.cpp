#include "caching/DirFileStatsCache.h"

#include "filesystem/ErrorTexts.h"
#include "filesystem/TeskerFileManagerMethods.h"
#include "paths/PathFunctions.h"

namespace tesker {

namespace {

void fill(DirFileStatEntry &entry, const FilerTS &stamp,
          const std::optional<NSFileAttributes> &info) {
  entry.lstatInfo = info; // the only step that can fail, and then nothing is changed
  entry.statInfo = std::nullopt;
  entry.stamp = stamp;
}

bool describesLink(const std::optional<NSFileAttributes> &info) { return info && info->isLink(); }

} // namespace

DirFileStatEntry *DirFileStatsTable::find(const NSString &file) {
  const auto known = names_.find(file);
  if (!known)
    return nullptr;
  RecordHandle::fetchSoon(known->firstSlot);
  return &dirFileStatEntry(known->entry);
}

void DirFileStatsTable::set(const NSString &file, const FilerTS &stamp,
                            const std::optional<NSFileAttributes> &info) {
  if (DirFileStatEntry *entry = find(file)) {
    fill(*entry, stamp, info);
    return;
  }
  const DirFileStatHandle made = entries_.add();
  if (made == 0)
    return;
  try {
    DirFileStatEntry &entry = dirFileStatEntry(made);
    fill(entry, stamp, info);
    names_.insert(file, {made, entry.lstatInfo.slot()});
  } catch (...) {
    entries_.removeNewest();
    throw;
  }
}

DirFileStatsCache::LastFile &DirFileStatsCache::lastFile() {
  static auto &last = *new LastFile;
  return last;
}

const std::optional<NSFileAttributes> &
DirFileStatsCache::LastFile::remember(const NSString &dir, const NSString &file,
                                      const std::optional<NSFileAttributes> &info) {
  // In a walk the directory is the one already held.
  if (!LSlastDir.isSameObjectAs(dir))
    LSlastDir = dir;
  LSlastFile = file;
  LSlastInfo = info;
  return LSlastInfo;
}

std::optional<NSFileAttributes> DirFileStatsCache::lstatDir(const NSString &dir,
                                                            const NSString &file) {
  LastFile &last = lastFile();
  if (last.isFor(dir, file))
    return last.LSlastInfo;
  DirFileStatsTable *table = ensureValue(dir);
  const DirFileStatEntry *entry = table != nullptr ? table->find(file) : nullptr;
  if (entry != nullptr && isValid(entry->stamp))
    return last.remember(dir, file, entry->lstatInfo.record());
  countMiss();
  // Taken before the question, so that a change meanwhile counts as one that came after it.
  FilerTS ts;
  setFilerTS(ts);
  const auto info = NSFileManager::classObject()._privateLstatDir(dir, file);
  if (info && info->isDirectory())
    fillGlobalCachedDirLStat(TeskerCatDirFile(dir, file), info, ts);
  if (table != nullptr)
    table->set(file, ts, info);
  return last.remember(dir, file, info);
}

std::optional<NSFileAttributes> DirFileStatsCache::statDir(const NSString &dir,
                                                           const NSString &file) {
  const auto info = lstatDir(dir, file);
  if (!describesLink(info))
    return info;
  DirFileStatsTable *table = getDir(dir);
  DirFileStatEntry *entry = table != nullptr ? table->find(file) : nullptr;
  if (table == nullptr)
    TeskerBug("statDir: Inconsistency 1 %@/%@", {dir.bytes(), file.bytes()});
  else if (entry == nullptr || !describesLink(entry->lstatInfo.record()))
    TeskerBug("statDir: Inconsistency 2 %@/%@", {dir.bytes(), file.bytes()});
  countMiss();
  const auto followed = NSFileManager::classObject()._privateStatDir(dir, file);
  // Kept: never read again; it only lives as long as the entry, as it is described.
  if (entry != nullptr)
    entry->statInfo = followed;
  return followed;
}

void DirFileStatsCache::validate(std::int32_t mask) {
  lastFile() = LastFile();
  FilerDirCache::validate(mask);
}

} // namespace tesker
