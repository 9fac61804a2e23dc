// AppParsing.h - from a file or a wrapper directory to the records that describe it.
//
// Two forms of application are understood: executables that carry a small text in section
// "__header" of segment "__ICON" of their own Mach-O or fat file, and wrappers, directories such as
// Foo.app, that hold an executable and "Resources/Info-quorvale.plist" or "registry.table".
//
// Files are hostile input: whatever cannot be read yields no records and at most a line in the
// system log. A description of more than kLargestPropertyListFile bytes cannot be read. What makes
// more than 100,000 lines or records is cut off there, which is logged: "*** Applications Finder:
// too many lines in icon header of %s", "*** Applications Finder: too many records for %s". The
// attributes that decide come from `fileManagerClass`, as a rule NSFileManager::classObject(). New
// records are made in `zone`; the arrays hold TKLines.
#pragma once

#include "filesystem/TeskerFileManagerMethods.h"
#include "platform/foundation/NSArray.h"
#include "platform/foundation/NSDictionary.h"

#include <string_view>

namespace tesker {

// The records of one executable dir/file: the services record when it has a services section, then
// those of its header text in order, then, inside a directory named *.bundle, the bundle record. An
// empty array when it describes nothing. Nil when it is no executable regular file or cannot be
// examined. Records of an executable that cannot run on this machine say "suitable" = "no".
//
// Logged, with the path: "*** Applications Finder: incorrect command format for %s" for a brace
// line that holds no dictionary or is not closed, or is longer than 16 MiB, which ends the text;
// "*** Applications Finder: incorrect icon header format for %s" for any other line that is no
// command.
[[nodiscard]] RefPtr<NSMutableArray> parseApp(NSFileManager &fileManagerClass, const NSString &dir,
                                              const NSString *file, NSZone &zone);

// The records of the wrapper dir/file: of its description or its executable, then of the tools and
// bundles nested in it. Nil when file is nil, the wrapper cannot be examined or searched, or
// nothing in it has anything to say. What is no directory goes to parseApp.
[[nodiscard]] RefPtr<NSMutableArray> parseAppWrapper(NSFileManager &fileManagerClass,
                                                     const NSString &dir, const NSString *file,
                                                     NSZone &zone);

// Records of an "Info-quorvale.plist" for the executable. Nil without a description: when the file
// cannot be read, the executable path is tried as a bundle. Malformed text is logged, "***
// Applications Finder: error parsing %s" with the list's path. baseName is nil for a wrapper
// without a suffix.
[[nodiscard]] RefPtr<NSMutableArray>
parseNewStyle(const NSString &executablePath, const NSString *baseName, const NSString &listPath);

// Records of a "registry.table". Nil without a description: "*** Applications Finder: cannot read
// file %s", or "*** Applications Finder: error parsing %s".
[[nodiscard]] RefPtr<NSMutableArray> parseOldNewStyle(const NSString &executablePath,
                                                      const NSString *baseName,
                                                      const NSString &registryPath);

// Extension records of an `NSTypes` array, in order. The first element that is no dictionary or has
// no `NSExtensions` array ends it: later elements are not looked at.
void parseNSTypesArray(const NSArray &types, NSMutableArray &result, const NSString &executablePath,
                       const NSString *appName, std::string_view priority);

// Extension records of an `NSExtensions` dictionary, in its enumeration order.
void parseResourceFileDict(const NSDictionary &extensions, NSMutableArray &result,
                           const NSString &executablePath, const NSString *appName,
                           std::string_view priority);

// The elements of the first array, then of the second; nil counts as empty. The result is the first
// array itself when the caller hands over its only reference.
[[nodiscard]] Ref<NSMutableArray> catenateArrays(RefPtr<NSMutableArray> first,
                                                 const NSArray *second);

} // namespace tesker
