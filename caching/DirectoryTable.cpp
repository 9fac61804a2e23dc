#include "caching/DirectoryTable.h"

namespace tesker {

Ref<DirectoryTable> DirectoryTable::create(NSZone &zone) {
  return allocate<DirectoryTable>(zone, zone);
}

NamedEntry *DirectoryTable::entryFor(const NSString &file) const {
  return entries_.find(namedEntryProbe(file));
}

NamedEntry &DirectoryTable::ensureEntryFor(const NSString &file) {
  if (NamedEntry *entry = entryFor(file))
    return *entry;
  return entries_.insert(namedEntryProbe(*file.copy(zone())));
}

void DirectoryTable::removeEntry(const NSString &file) {
  if (NamedEntry *entry = entryFor(file))
    entries_.remove(*entry);
}

} // namespace tesker
