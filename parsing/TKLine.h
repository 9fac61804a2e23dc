// TKLine.h - the record of one application, document type, services provider or bundle.
//
// A small dictionary of string keys and, as a rule, string values. The keys that the parsers fill:
//   path       full path of the executable
//   type       "app", "extension", "services", "bundle", "InspectorCommand"
//   name       of the application, or the file extension, or the bundle's executable
//   appName    the application that an extension belongs to
//   icon       name of the icon
//   priority   "NSPrimary" on extensions of new-style wrappers
//   suitable   "no" when the executable cannot run on this machine; absent otherwise
// A brace line or an inspector's dictionary may bring any other key, and values that are arrays or
// dictionaries.
#pragma once

#include "platform/foundation/NSDictionary.h"

namespace tesker {

class TKLine final : public NSMutableDictionary {
public:
  // An empty record with room for capacity pairs before it has to grow.
  [[nodiscard]] static Ref<TKLine> create(std::size_t capacity = 0,
                                          NSZone &zone = NSDefaultMallocZone());

  // The record that the property-list text holds. Nil when it holds no dictionary; text that cannot
  // be parsed is also logged through NSLog, "*** Could not parse icon header: %@".
  [[nodiscard]] static RefPtr<TKLine> initWithString(NSZone &zone, std::string_view text);

  std::size_t count() const override;
  [[nodiscard]] RefPtr<NSObject> objectForKey(std::string_view key) const override;
  [[nodiscard]] NSKeyEnumerator keyEnumerator() const override;
  // A nil object is ignored, so that optional values can be set without testing them.
  void setObjectForKey(RefPtr<NSObject> object, const NSString &key) override;
  // The same for the parsers' own few keys, whose string objects are kept and shared.
  void set(std::string_view key, RefPtr<NSObject> object);
  void set(std::string_view key, std::string_view text);
  void removeObjectForKey(std::string_view key) override;

private:
  friend NSObject;
  explicit TKLine(Ref<NSMutableDictionary> mdict) : mdict_(std::move(mdict)) {}
  Ref<NSMutableDictionary> mdict_;
};

} // namespace tesker
