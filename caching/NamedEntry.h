// NamedEntry.h - an entry of a table keyed by a name or path. Internal to the caches.
#pragma once

#include "caching/EntryTable.h"
#include "caching/FilerTS.h"
#include "filesystem/FileManagerUtils.h"
#include "platform/foundation/NSDate.h"

namespace tesker {

struct NamedEntry {
  Ref<const NSString> key; // a copy in the table's zone
  FilerTS stamp;
  RefPtr<NSDate> changeDate; // nil when the file could not be examined
  RefPtr<NSObject> data;
};

using NamedEntryTable = EntryTable<NamedEntry, hashStringKey, isEqualStringKey>;

// A probe to find the entry of that name with.
inline NamedEntry namedEntryProbe(const NSString &name) {
  return {Ref<const NSString>(name), {}, nullptr, nullptr};
}

} // namespace tesker
