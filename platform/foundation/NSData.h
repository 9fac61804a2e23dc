// NSData.h - an immutable run of bytes, as a property list's <...> holds it.
#pragma once

#include "platform/foundation/NSObject.h"

#include <string>
#include <string_view>

namespace tesker {

class NSData final : public NSObject {
public:
  [[nodiscard]] static Ref<NSData> create(std::string_view bytes,
                                          NSZone &zone = NSDefaultMallocZone());
  std::string_view bytes() const { return bytes_; }

  // Data equals data with the same bytes, never a string.
  std::size_t hash() const override;
  bool isEqual(const NSObject *other) const override;
  Ref<NSString> description() const override;

private:
  friend NSObject;
  NSData(std::string_view bytes, NSZone &zone) : bytes_(bytes, &zone) {}
  std::pmr::string bytes_;
};

} // namespace tesker
