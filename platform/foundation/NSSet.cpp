#include "platform/foundation/NSSet.h"

namespace tesker {

Ref<NSMutableSet> NSMutableSet::create(NSZone &zone) { return allocate<NSMutableSet>(zone, zone); }

RefPtr<NSString> NSMutableSet::member(std::string_view bytes) const {
  const auto found = members_.find(bytes);
  if (found == members_.end())
    return nullptr;
  return *found;
}

void NSMutableSet::addObject(Ref<NSString> string) { members_.insert(std::move(string)); }

} // namespace tesker
