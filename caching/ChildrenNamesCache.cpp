#include "caching/ChildrenNamesCache.h"

#include "filesystem/TeskerFileManagerMethods.h"

namespace tesker {

Ref<ChildrenNamesCache> ChildrenNamesCache::initValidateWhen(std::int32_t mask, NSZone &zone) {
  return allocate<ChildrenNamesCache>(zone, mask, zone);
}

RefPtr<NSMutableArray> ChildrenNamesCache::childrenNamesFor(const NSString &path) {
  if (auto names = as<NSMutableArray>(getDir(path)))
    return names;
  countMiss();
  auto names = NSFileManager::classObject().childrenForDirPath(path);
  insertDir(path, names);
  return names;
}

} // namespace tesker
