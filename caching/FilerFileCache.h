// FilerFileCache.h - one value per file, grouped by directory.
//
// Directories are known as in FilerCache.h. A file's value is compared with the file's own change
// date after a validation, not with its directory's: a directory that changes keeps the values of
// the files that did not.
#pragma once

#include "caching/DirectoryTable.h"
#include "caching/FilerCache.h"

namespace tesker {

class FilerFileCache final : public FilerCache {
public:
  // A new cache that takes part in validations with a bit of the mask.
  [[nodiscard]] static Ref<FilerFileCache> initValidateWhen(std::int32_t mask,
                                                            NSZone &zone = NSDefaultMallocZone());

  // The value of the file; nil when there is none that still holds.
  [[nodiscard]] RefPtr<NSObject> getDir(const NSString &dir, const NSString &file);
  // Keeps the value, in place of the one before. Nothing when the directory cannot be examined. An
  // exception while the file is examined passes, and leaves no value for the file.
  void insertDir(const NSString &dir, const NSString &file, RefPtr<NSObject> data);
  void removeDir(const NSString &dir) { flushDir(dir); }
  void removeDir(const NSString &dir, const NSString &file);

private:
  friend NSObject;
  using FilerCache::FilerCache;

  // The directory's table; nil when it has none.
  RefPtr<DirectoryTable> tableFor(const NSString &dir);
  // The same, made where there is none; nil when the directory cannot be examined.
  RefPtr<DirectoryTable> ensureTableFor(const NSString &dir);
};

} // namespace tesker
