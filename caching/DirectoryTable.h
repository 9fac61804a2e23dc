// DirectoryTable.h - the files of one directory in a FilerFileCache.
#pragma once

#include "caching/NamedEntry.h"

namespace tesker {

class DirectoryTable final : public NSObject {
public:
  [[nodiscard]] static Ref<DirectoryTable> create(NSZone &zone);

  // The file's entry; null when there is none.
  NamedEntry *entryFor(const NSString &file) const;
  // The same, made where there is none, with a copy of the name in the table's zone.
  NamedEntry &ensureEntryFor(const NSString &file);
  // Nothing when there is none.
  void removeEntry(const NSString &file);

private:
  friend NSObject;
  explicit DirectoryTable(NSZone &zone) : entries_(zone) {}
  NamedEntryTable entries_;
};

} // namespace tesker
