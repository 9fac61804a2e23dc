#include "caching/FilerDirCache.h"

#include <utility>

namespace tesker {

Ref<FilerDirCache> FilerDirCache::initValidateWhen(std::int32_t mask, NSZone &zone) {
  return allocate<FilerDirCache>(zone, mask, zone);
}

RefPtr<NSObject> FilerDirCache::getDir(const NSString &dir) {
  const DirEntry *entry = getDirEntry(dir, true);
  return entry != nullptr ? entry->data : nullptr;
}

void FilerDirCache::insertDir(const NSString &dir, RefPtr<NSObject> data) {
  if (DirEntry *entry = ensureEntry(dir))
    entry->data = std::move(data);
}

} // namespace tesker
