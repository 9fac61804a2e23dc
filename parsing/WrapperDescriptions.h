// WrapperDescriptions.h - the two description files of an application wrapper: the new-style
// property list and the older registry.
//
// Kept: they differ where it shows. Only new-style extensions carry a priority, and the registry's
// application always has the icon "NSApplicationIcon"; file browsers tell the two styles apart so.
//
// A description of more than kLargestPropertyListFile bytes cannot be read.
#pragma once

#include "parsing/TKLine.h"
#include "platform/foundation/NSArray.h"
#include "platform/foundation/NSDictionary.h"

#include <optional>
#include <string_view>

namespace tesker {

// How many more records one wrapper may have: a record takes some hundred bytes however little of a
// description makes it. Applications and services, of which a description has one each, are not
// counted.
class RecordRoom {
public:
  static constexpr std::size_t kMostRecords = 100'000;

  // Takes the place of one record; false when there is none, which is logged once with the path:
  // "*** Applications Finder: too many records for %s".
  [[nodiscard]] bool take(const NSString &executablePath);

private:
  std::size_t left_ = kMostRecords;
  bool logged_ = false;
};

// Records of an "Info-quorvale.plist" for the executable. Nothing without a description: when the
// file cannot be read, the executable path is tried as a bundle. Malformed text is logged, "***
// Applications Finder: error parsing %s" with the list's path. baseName is nil for a wrapper
// without a suffix.
[[nodiscard]] std::optional<Records> parseNewStyle(const NSString &executablePath,
                                                   const NSString &baseName,
                                                   const NSString &listPath, RecordRoom &room);

// Records of a "registry.table". Nothing without a description: "*** Applications Finder: cannot
// read file %s", or "*** Applications Finder: error parsing %s".
[[nodiscard]] std::optional<Records> parseOldNewStyle(const NSString &executablePath,
                                                      const NSString &baseName,
                                                      const NSString &registryPath,
                                                      RecordRoom &room);

// Appends the extension records of an `NSTypes` array, in order. The first element that is not a
// dictionary or has no `NSExtensions` array ends it: later elements are not looked at.
void parseNSTypesArray(const NSArray &types, Records &result, const NSString &executablePath,
                       const NSString &appName, const NSString &priority, RecordRoom &room);

// Appends the extension records of an `NSExtensions` dictionary, in its order.
void parseResourceFileDict(const NSDictionary &extensions, Records &result,
                           const NSString &executablePath, const NSString &appName,
                           const NSString &priority, RecordRoom &room);

} // namespace tesker
