// FilerDirCache.h - one value per directory, known by its identity. See FilerCache.h.
#pragma once

#include "caching/FilerCache.h"

namespace tesker {

class FilerDirCache : public FilerCache {
public:
  // A new cache that takes part in validations with a bit of the mask.
  [[nodiscard]] static Ref<FilerDirCache> initValidateWhen(std::int32_t mask,
                                                           NSZone &zone = NSDefaultMallocZone());

  // The value of the directory; nil when there is none that still holds.
  [[nodiscard]] RefPtr<NSObject> getDir(const NSString &dir);
  // Keeps the value, in place of the one before. Nothing when the directory cannot be examined; an
  // exception out of the file-system layer passes, and nothing is kept.
  void insertDir(const NSString &dir, RefPtr<NSObject> data);
  void removeDir(const NSString &dir) { flushDir(dir); }

protected:
  friend NSObject;
  using FilerCache::FilerCache;

  // The directory's value as a Table, a new empty one where there is none. It is not kept when the
  // directory cannot be examined.
  template <class Table> Ref<Table> ensureTable(const NSString &dir) {
    if (const auto table = as<Table>(getDir(dir)))
      return table.toRef();
    auto table = Table::create(zone());
    insertDir(dir, table);
    return table;
  }
};

} // namespace tesker
