// FilerFileCache.h - one value for each file, grouped by directory. See FilerCache.h.
//
// Directories are known as in FilerDirCache.h. A file's value is put to the change test with the
// file's own attributes (links followed), not with its directory's: a directory that changes keeps
// the values of the files that did not.
#pragma once

#include "caching/CachingFileManager.h"
#include "caching/FilerDirCache.h"
#include "filesystem/TextFunctions.h"
#include "platform/foundation/NSException.h"

namespace tesker {

// The files of one directory, by name.
template <class Value> class DirectoryTable {
public:
  explicit DirectoryTable(NSZone &zone) : entries_(&zone), zone_(&zone) {}

  // The file's entry; null when there is none.
  CacheEntry<Value> *entryFor(const NSString &file) {
    const auto found = entries_.find(file);
    return found != entries_.end() ? &found->second : nullptr;
  }
  // The same, made where there is none, with a copy of the name in the table's zone.
  CacheEntry<Value> &ensureEntryFor(const NSString &file) {
    CacheEntry<Value> *entry = entryFor(file);
    return entry != nullptr ? *entry : entries_.try_emplace(file.copy(*zone_)).first->second;
  }
  // Nothing when there is none.
  void removeEntry(const NSString &file) { entries_.erase(file); }

private:
  std::pmr::unordered_map<NSString, CacheEntry<Value>, hashStringKey, isEqualStringKey> entries_;
  NSZone *zone_;
};

template <class Value> class FilerFileCache final : public FilerDirCache<DirectoryTable<Value>> {
public:
  using FilerDirCache<DirectoryTable<Value>>::FilerDirCache;

  // The value of the file, lent as in FilerDirCache.h; null when there is none that still holds.
  [[nodiscard]] Value *getDir(const NSString &dir, const NSString &file);
  // Keeps the value, in place of the one before. Nothing when the directory cannot be examined. An
  // exception while the file is examined passes, and leaves no value for the file: a value that was
  // there before goes too, since the caller has a newer one.
  void insertDir(const NSString &dir, const NSString &file, std::optional<Value> data);
  using FilerDirCache<DirectoryTable<Value>>::removeDir;
  void removeDir(const NSString &dir, const NSString &file) {
    if (DirectoryTable<Value> *table = tableFor(dir))
      table->removeEntry(file);
  }

private:
  using Base = FilerDirCache<DirectoryTable<Value>>;
  using typename Base::Directory;
  using typename Base::IfChanged;

  static std::optional<NSFileAttributes> attributesOf(const NSString &dir, const NSString &file) {
    return CachingFileManager::classObject()._privateStatDir(dir, file);
  }
  // Whether the file is sure to be as it was when the entry was made.
  static bool isUnchanged(const CacheEntry<Value> &entry, const NSString &dir,
                          const NSString &file) {
    try {
      return !hasChanged(attributesOf(dir, file), entry.changeTime, entry.stamp);
    } catch (const NSException &) {
      return false;
    }
  }

  // The directory's table, looked up without flushing: what has changed in the directory is for
  // each file to say. Null when it has none.
  DirectoryTable<Value> *tableFor(const NSString &dir) {
    Directory *entry = this->getDirEntry(dir, IfChanged::keep);
    return entry != nullptr ? entry->second.value() : nullptr;
  }
  // The same, made where there is none; null when the directory cannot be examined.
  DirectoryTable<Value> *ensureTableFor(const NSString &dir) {
    DirectoryTable<Value> *table = tableFor(dir);
    return table != nullptr ? table : this->ensureValue(dir);
  }
};

template <class Value>
Value *FilerFileCache<Value>::getDir(const NSString &dir, const NSString &file) {
  DirectoryTable<Value> *table = tableFor(dir);
  CacheEntry<Value> *entry = table != nullptr ? table->entryFor(file) : nullptr;
  if (entry == nullptr)
    return nullptr;
  if (!this->isValid(entry->stamp)) {
    if (!isUnchanged(*entry, dir, file)) {
      table->removeEntry(file);
      return nullptr;
    }
    setGlobalTS(entry->stamp);
  }
  return entry->value();
}

template <class Value>
void FilerFileCache<Value>::insertDir(const NSString &dir, const NSString &file,
                                      std::optional<Value> data) {
  DirectoryTable<Value> *table = ensureTableFor(dir);
  if (table == nullptr)
    return;
  CacheEntry<Value> &entry = table->ensureEntryFor(file);
  try {
    entry.changeTime = changeTimeOf(attributesOf(dir, file));
  } catch (...) {
    table->removeEntry(file);
    throw;
  }
  setGlobalTS(entry.stamp);
  entry.data = std::move(data);
}

} // namespace tesker
