// PropertyListFiles.h - property lists in files.
#pragma once

#include "platform/foundation/NSDictionary.h"

namespace tesker {

// Writes the bytes atomically; false when that failed.
[[nodiscard]] bool writeStringToPath(const NSString &path, const NSString &string);

// A strings file in and out. Nil when the file cannot be read, is larger than
// kLargestPropertyListFile or is malformed.
[[nodiscard]] RefPtr<NSDictionary> readOldStylePList(const NSString &path);
[[nodiscard]] bool writeOldStylePList(const NSString &path, const NSDictionary &list);

} // namespace tesker
