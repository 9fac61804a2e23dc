#include "caching/FilerNameDirCache.h"

#include "caching/ChangeTest.h"
#include "caching/GlobalStatCache.h"

#include <utility>

namespace tesker {

namespace {

RefPtr<NSFileAttributes> attributesOf(const NSString &dir) {
  RefPtr<NSFileAttributes> attributes;
  globalCachedDirStat(&dir, attributes, true);
  return attributes;
}

// Whether the directory is sure to be as it was when the entry was made.
bool isUnchanged(const NamedEntry &entry, const NSString &dir) {
  try {
    return !hasChanged(attributesOf(dir).get(), entry.changeDate.get(), entry.stamp);
  } catch (...) {
    return false;
  }
}

} // namespace

Ref<FilerNameDirCache> FilerNameDirCache::initValidateWhen(std::int32_t mask, NSZone &zone) {
  return allocate<FilerNameDirCache>(zone, mask, zone);
}

FilerNameDirCache::FilerNameDirCache(std::int32_t validateMask, NSZone &zone)
    : FilerCache(validateMask, zone), paths_(zone) {}

RefPtr<NSObject> FilerNameDirCache::getDir(const NSString &dir) {
  NamedEntry *entry = paths_.find(namedEntryProbe(dir));
  if (entry == nullptr)
    return nullptr;
  if (!isValid(entry->stamp)) {
    if (!isUnchanged(*entry, dir)) {
      paths_.remove(*entry);
      return nullptr;
    }
    setGlobalTS(entry->stamp);
  }
  return entry->data;
}

void FilerNameDirCache::insertDir(const NSString &dir, RefPtr<NSObject> data) {
  NamedEntry *entry = paths_.find(namedEntryProbe(dir));
  if (entry == nullptr)
    entry = &paths_.insert(namedEntryProbe(*dir.copy(zone())));
  try {
    entry->changeDate = changeDateOf(attributesOf(dir).get());
  } catch (...) {
    // A value that was there before goes too: the caller has a newer one.
    paths_.remove(*entry);
    throw;
  }
  setGlobalTS(entry->stamp);
  entry->data = std::move(data);
}

void FilerNameDirCache::reset() {
  FilerCache::reset();
  paths_.reset();
}

void FilerNameDirCache::flushDir(const NSString &dir) {
  if (NamedEntry *entry = paths_.find(namedEntryProbe(dir)))
    paths_.remove(*entry);
}

std::int32_t FilerNameDirCache::flushVeryOld(std::int32_t age) {
  return paths_.flushVeryOld(age, [this](NamedEntry &entry) { paths_.remove(entry); });
}

} // namespace tesker
