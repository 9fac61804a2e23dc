// DirFileStatsTable.h - the files of one directory in the attribute cache. Internal to it.
#pragma once

#include "caching/DirFileStatEntry.h"
#include "platform/foundation/NSString.h"

#include <memory_resource>
#include <unordered_map>

namespace tesker {

class DirFileStatsTable final : public NSObject {
public:
  [[nodiscard]] static Ref<DirFileStatsTable> create(NSZone &zone);

  // The file's entry; null when there is none.
  DirFileStatEntry *find(const NSString &file) const;
  // Makes or replaces the file's entry; what a link leads to is forgotten. Nothing is kept when
  // there is no memory for an entry.
  void set(const NSString &file, const FilerTS &stamp, RefPtr<NSFileAttributes> lstatInfo);

private:
  friend NSObject;
  explicit DirFileStatsTable(NSZone &zone) : entries_(&zone) {}

  // By name, of which the table's zone has a copy.
  std::pmr::unordered_map<Ref<NSString>, OwnedDirFileStatEntry, StringKeyHash, StringKeyEqual>
      entries_;
};

} // namespace tesker
