// NSBundle.h - a directory with resources: an application wrapper, or the program's own.
//
// A bundle remembers only where its resources are; they are looked at when they are asked for, so
// what has changed in the meantime is seen.
#pragma once

#include "platform/foundation/NSDictionary.h"
#include "platform/foundation/NSString.h"

#include <optional>
#include <string_view>

namespace tesker {

class NSBundle {
public:
  // The bundle of the running program. Its resources are in share/tesker/Resources beside the
  // folder of the program (bin/) or beside the one above (libexec/tesker/), installed and in the
  // build tree alike.
  [[nodiscard]] static NSBundle mainBundle();
  // The bundle whose resources are in the path's "Resources"; nothing when the path, links
  // followed, is not a directory.
  [[nodiscard]] static std::optional<NSBundle> bundleWithPath(const NSString &path);

  // What the resource "Info-quorvale.plist" holds. Nil when there is none or it is not a
  // dictionary; raises NSParseErrorException when it is malformed.
  [[nodiscard]] RefPtr<const NSDictionary> infoDictionary() const;

  // The path of the resource "name.type", or "name" when the type is empty; nil when there is none.
  [[nodiscard]] NSString pathForResource(std::string_view name, std::string_view type) const;

private:
  explicit NSBundle(NSString resourcePath) : resourcePath_(std::move(resourcePath)) {}
  NSString resourcePath_;
};

} // namespace tesker
