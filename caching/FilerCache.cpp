#include "caching/FilerCache.h"

#include "caching/CachingFileManager.h"
#include "caching/ChangeTest.h"
#include "caching/GlobalStatCache.h"

namespace tesker {

namespace {

// The identity of what the path leads to; false when it cannot be examined.
bool examine(const NSString &dir, RefPtr<NSFileAttributes> &attributes, DirFileUID &identity) {
  globalCachedDirStat(&dir, attributes, true);
  if (!attributes)
    return false;
  attributes->buildDirFileUID(identity);
  return true;
}

} // namespace

FilerCache::FilerCache(std::int32_t validateMask, NSZone &zone)
    : dirs_(zone), validateMask_(validateMask) {
  setFilerTS(lastValidateDate_);
  CachingFileManager::classObject().addCache(*this);
}

FilerCache::~FilerCache() { CachingFileManager::classObject().removeCache(*this); }

void FilerCache::validate(std::int32_t mask) {
  if ((mask & validateMask_) != 0)
    setFilerTS(lastValidateDate_);
}

void FilerCache::reset() {
  lastCachedItem_ = nullptr;
  dirs_.reset();
  statistics_ = 0;
  setFilerTS(lastValidateDate_);
}

void FilerCache::flushDir(const NSString &dir) {
  try {
    if (DirEntry *entry = getDirEntry(dir, true))
      flushDirEntry(*entry);
  } catch (...) {
    // What cannot be found cannot be flushed; the caller only wants it gone.
  }
}

std::int32_t FilerCache::flushVeryOld(std::int32_t age) {
  return dirs_.flushVeryOld(age, [this](DirEntry &entry) { flushDirEntry(entry); });
}

bool FilerCache::isLastCached(const NSString &dir) const {
  if (!staticCacheEnabled || lastCachedItem_ == nullptr)
    return false;
  return lastCachedDirName_->isEqualToString(dir);
}

void FilerCache::remember(const NSString &dir, DirEntry &entry) {
  if (!staticCacheEnabled)
    return;
  lastCachedDirName_ = dir.copy(dir.zone());
  lastCachedItem_ = &entry;
}

FilerCache::DirEntry *FilerCache::getDirEntry(const NSString &dir, bool flushIfChanged) {
  if (isLastCached(dir))
    return lastCachedItem_;
  RefPtr<NSFileAttributes> attributes;
  DirEntry probe;
  if (!examine(dir, attributes, probe.identity))
    return nullptr;
  DirEntry *entry = dirs_.find(std::move(probe));
  if (entry == nullptr)
    return nullptr;
  if (!isValid(entry->stamp)) {
    if (hasChanged(attributes.get(), entry->changeDate.get(), entry->stamp)) {
      if (flushIfChanged) {
        flushDirEntry(*entry);
        return nullptr;
      }
      entry->changeDate = changeDateOf(attributes.get());
    }
    setGlobalTS(entry->stamp);
  }
  remember(dir, *entry);
  return entry;
}

FilerCache::DirEntry *FilerCache::ensureEntry(const NSString &dir) {
  if (DirEntry *entry = getDirEntry(dir, true))
    return entry;
  RefPtr<NSFileAttributes> attributes;
  DirEntry made;
  if (!examine(dir, attributes, made.identity))
    return nullptr;
  made.changeDate = changeDateOf(attributes.get());
  setGlobalTS(made.stamp);
  return &dirs_.insert(std::move(made));
}

void FilerCache::flushDirEntry(DirEntry &entry) {
  lastCachedItem_ = nullptr;
  dirs_.remove(entry);
}

} // namespace tesker
