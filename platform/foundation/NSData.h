// NSData.h - an immutable run of bytes, as a property list's <...> holds it.
#pragma once

#include "platform/foundation/NSString.h"

#include <string_view>

namespace tesker {

class NSData final : public NSObject {
public:
  [[nodiscard]] static Ref<NSData> create(std::string_view bytes,
                                          NSZone &zone = NSDefaultMallocZone());
  std::string_view bytes() const { return bytes_.bytes(); }

  // Data equals data with the same bytes, never a string.
  std::size_t hash() const override { return bytes_.hash(); }
  bool isEqual(const NSObject &other) const override;
  NSString description() const override;
  const NSData *asData() const override { return this; }

private:
  friend NSObject;
  explicit NSData(NSString bytes) : bytes_(std::move(bytes)) {}
  NSString bytes_;
};

} // namespace tesker
