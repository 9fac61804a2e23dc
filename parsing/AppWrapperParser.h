// AppWrapperParser.h - from an application wrapper to the records that describe it.
//
// A wrapper is a directory such as Foo.app that holds an executable Foo and a description:
// "Resources/Info-quorvale.plist" or an older "registry.table". Where neither is met first, the
// executable speaks for itself (IconHeaderParser.h). Tools and bundles may be nested in it.
//
// Files are hostile input: whatever cannot be read yields no records and at most a line in the
// system log. A wrapper has no more than RecordRoom::kMostRecords records of its descriptions.
#pragma once

#include "filesystem/DirectoryListing.h"
#include "filesystem/TeskerFileManagerMethods.h"
#include "parsing/TKLine.h"
#include "parsing/WayDown.h"
#include "parsing/WrapperNames.h"

#include <optional>

namespace tesker {

// The records of the wrapper dir/file: of its description or its executable, then of the tools and
// bundles nested in it. Nothing when file is nil, the wrapper cannot be examined or searched, or
// nothing in it has anything to say. What is not a directory goes to parseApp. The attributes that
// decide come from `fileManagerClass`; the records are made in the zone. With a way down, which has
// the wrappers that it is nested in, it is left out when it is one of them.
[[nodiscard]] std::optional<Records> parseAppWrapper(NSFileManager &fileManagerClass,
                                                     const NSString &dir, const NSString &file,
                                                     NSZone &zone, WayDown *way = nullptr);

// The same for an entry whose attributes are known.
[[nodiscard]] std::optional<Records> parseAppWrapper(NSFileManager &fileManagerClass,
                                                     const Entry &wrapper, NSZone &zone,
                                                     WayDown *way = nullptr);

// The records of the first, then of the second; nothing counts as none.
[[nodiscard]] Records catenateArrays(std::optional<Records> first, std::optional<Records> second);

} // namespace tesker
