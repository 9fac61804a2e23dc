// FilerNameDirCache.h - one value per directory path.
//
// Unlike the other caches of directories this one goes by the path string: two paths to one
// directory have two entries. It has no memory of the last directory of its own, but it learns
// about the directory from the global stat cache, which has one (GlobalStatCache.h).
#pragma once

#include "caching/FilerCache.h"
#include "caching/NamedEntry.h"

namespace tesker {

class FilerNameDirCache : public FilerCache {
public:
  // A new cache that takes part in validations with a bit of the mask.
  [[nodiscard]] static Ref<FilerNameDirCache>
  initValidateWhen(std::int32_t mask, NSZone &zone = NSDefaultMallocZone());

  // The value of the path; nil when there is none that still holds. A directory that can no longer
  // be examined has none.
  [[nodiscard]] RefPtr<NSObject> getDir(const NSString &dir);
  // Keeps the value, in place of the one before, also for a directory that cannot be examined. An
  // exception out of the file-system layer passes, and leaves no value for the path.
  void insertDir(const NSString &dir, RefPtr<NSObject> data);
  void removeDir(const NSString &dir) { flushDir(dir); }

  void reset() override;
  void flushDir(const NSString &dir) override;
  std::int32_t flushVeryOld(std::int32_t age) override;

protected:
  friend NSObject;
  FilerNameDirCache(std::int32_t validateMask, NSZone &zone);

private:
  friend struct FilerNameDirCachePeer; // for tests
  NamedEntryTable paths_;              // in place of the base's table, which stays empty
};

} // namespace tesker
