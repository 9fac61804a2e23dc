// NSSet.h - a set of strings that keeps one shared instance for each distinct text.
#pragma once

#include "platform/foundation/NSString.h"

#include <memory_resource>
#include <unordered_set>

namespace tesker {

class NSMutableSet final : public NSObject {
public:
  [[nodiscard]] static Ref<NSMutableSet> create(NSZone &zone = NSDefaultMallocZone());

  std::size_t count() const { return members_.size(); }
  // The member that equals the string, which may be another object; nil when there is none.
  [[nodiscard]] RefPtr<NSString> member(std::string_view bytes) const;
  // Nothing when an equal string is a member already.
  void addObject(Ref<NSString> string);

private:
  friend NSObject;
  explicit NSMutableSet(NSZone &zone) : members_(&zone) {}
  std::pmr::unordered_set<Ref<NSString>, StringKeyHash, StringKeyEqual> members_;
};

} // namespace tesker
