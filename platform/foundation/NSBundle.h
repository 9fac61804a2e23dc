// NSBundle.h - a directory with resources: an application wrapper, or the program's own.
//
// A bundle remembers only where its resources are; they are looked at when they are asked for, so
// what has changed in the meantime is seen.
#pragma once

#include "platform/foundation/NSDictionary.h"
#include "platform/foundation/NSString.h"

namespace tesker {

class NSBundle final : public NSObject {
public:
  // The bundle of the running program. Its resources are in share/tesker/Resources beside the
  // folder of the program (bin/) or beside the one above (libexec/tesker/), installed and in the
  // build tree alike.
  [[nodiscard]] static Ref<NSBundle> mainBundle();
  // The bundle whose resources are in the path's "Resources"; nil when the path, links followed, is
  // no directory.
  [[nodiscard]] static RefPtr<NSBundle> bundleWithPath(const NSString &path);

  // What the resource "Info-quorvale.plist" holds. Nil when there is none or it is no dictionary;
  // raises NSParseErrorException when it is malformed.
  [[nodiscard]] RefPtr<NSDictionary> infoDictionary() const;

  // The path of the resource "name.type", or "name" when the type is empty; nil when there is none.
  [[nodiscard]] RefPtr<NSString> pathForResource(std::string_view name,
                                                 std::string_view type) const;

private:
  friend NSObject;
  explicit NSBundle(Ref<NSString> resourcePath) : resourcePath_(std::move(resourcePath)) {}
  Ref<NSString> resourcePath_;
};

} // namespace tesker
