// FilerDirCache.h - one value per directory, known by its identity. See FilerCache.h.
#pragma once

#include "caching/FilerCache.h"

#include <typeinfo>

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
    const DirEntry *entry = getDirEntry(dir, true);
    if (entry != nullptr && entry->data) {
      // Tables are of just this class; the comparison is all that a warm look-up can afford.
      NSObject &data = *entry->data;
      if (typeid(data) == typeid(Table))
        return Ref<Table>(static_cast<Table &>(data));
    }
    auto table = Table::create(zone());
    insertDir(dir, table);
    return table;
  }
};

} // namespace tesker
