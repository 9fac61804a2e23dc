#include "caching/FilerFileCache.h"

#include "caching/CachingFileManager.h"
#include "caching/ChangeTest.h"

#include <utility>

namespace tesker {

namespace {

RefPtr<NSFileAttributes> attributesOf(const NSString &dir, const NSString &file) {
  return CachingFileManager::classObject()._privateStatDir(dir, &file);
}

// Whether the file is sure to be as it was when the entry was made.
bool isUnchanged(const NamedEntry &entry, const NSString &dir, const NSString &file) {
  try {
    return !hasChanged(attributesOf(dir, file).get(), entry.changeDate.get(), entry.stamp);
  } catch (...) {
    return false;
  }
}

} // namespace

Ref<FilerFileCache> FilerFileCache::initValidateWhen(std::int32_t mask, NSZone &zone) {
  return allocate<FilerFileCache>(zone, mask, zone);
}

RefPtr<DirectoryTable> FilerFileCache::tableFor(const NSString &dir) {
  const DirEntry *entry = getDirEntry(dir, false);
  return as<DirectoryTable>(entry != nullptr ? entry->data : nullptr);
}

RefPtr<DirectoryTable> FilerFileCache::ensureTableFor(const NSString &dir) {
  // Looked up without flushing first: what has changed in the directory is for each file to say.
  DirEntry *entry = getDirEntry(dir, false);
  if (entry == nullptr)
    entry = ensureEntry(dir);
  if (entry == nullptr)
    return nullptr;
  if (!entry->data)
    entry->data = DirectoryTable::create(zone());
  return as<DirectoryTable>(entry->data);
}

RefPtr<NSObject> FilerFileCache::getDir(const NSString &dir, const NSString &file) {
  const auto table = tableFor(dir);
  NamedEntry *entry = table ? table->entryFor(file) : nullptr;
  if (entry == nullptr)
    return nullptr;
  if (!isValid(entry->stamp)) {
    if (!isUnchanged(*entry, dir, file)) {
      table->removeEntry(file);
      return nullptr;
    }
    setGlobalTS(entry->stamp);
  }
  return entry->data;
}

void FilerFileCache::insertDir(const NSString &dir, const NSString &file, RefPtr<NSObject> data) {
  const auto table = ensureTableFor(dir);
  if (!table)
    return;
  NamedEntry &entry = table->ensureEntryFor(file);
  try {
    entry.changeDate = changeDateOf(attributesOf(dir, file).get());
  } catch (...) {
    // A value that was there before goes too: the caller has a newer one.
    table->removeEntry(file);
    throw;
  }
  setGlobalTS(entry.stamp);
  entry.data = std::move(data);
}

void FilerFileCache::removeDir(const NSString &dir, const NSString &file) {
  if (const auto table = tableFor(dir))
    table->removeEntry(file);
}

} // namespace tesker
