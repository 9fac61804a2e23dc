// DirFileStatsTable.h - the files of one directory in the attribute cache. Internal to it.
#pragma once

#include "caching/DirFileStatEntry.h"
#include "caching/NameTable.h"

namespace tesker {

class DirFileStatsTable final : public NSObject {
public:
  [[nodiscard]] static Ref<DirFileStatsTable> create(NSZone &zone);

  // The file's entry; null when there is none.
  DirFileStatEntry *find(const NSString &file);
  // Makes or replaces the file's entry; what a link leads to is forgotten. Nothing is kept when
  // there is no memory for an entry.
  void set(const NSString &file, const FilerTS &stamp, RefPtr<NSFileAttributes> lstatInfo);

private:
  friend NSObject;
  explicit DirFileStatsTable(NSZone &zone) : entries_(zone) {}

  NameTable<OwnedDirFileStatEntry> entries_;
};

} // namespace tesker
