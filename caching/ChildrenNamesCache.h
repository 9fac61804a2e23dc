// ChildrenNamesCache.h - the listings of directories, remembered by path.
//
// A listing is good until a validation finds that its directory has changed (FilerNameDirCache.h;
// ChangeTest.h says what that can miss). A directory that cannot be listed is asked for every time.
// Threading: one thread.
#pragma once

#include "caching/FilerNameDirCache.h"
#include "platform/foundation/NSArray.h"

namespace tesker {

class ChildrenNamesCache final : public FilerNameDirCache {
public:
  // A new cache that takes part in validations with a bit of the mask.
  [[nodiscard]] static Ref<ChildrenNamesCache>
  initValidateWhen(std::int32_t mask, NSZone &zone = NSDefaultMallocZone());

  // All names in the directory, in its own order; nil when it cannot be listed. The array is the
  // cached one: whoever changes it changes what others are told. An exception out of the
  // file-system layer passes, and nothing is kept for the path.
  [[nodiscard]] RefPtr<NSMutableArray> childrenNamesFor(const NSString &path);

private:
  friend NSObject;
  using FilerNameDirCache::FilerNameDirCache;
};

} // namespace tesker
