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

#include <array>
#include <optional>
#include <string_view>

namespace tesker {

// What the name of a directory that is an application ends in, behind the dot; and what the names
// of those do that are read only inside another.
inline constexpr std::array<std::string_view, 3> kWrapperSuffixes = {"app", "debug", "profile"};
inline constexpr std::array<std::string_view, 2> kNestedSuffixes = {"tool", "bundle"};

// How descriptions are called, and the directory for them and for icons.
inline constexpr std::string_view kResourcesName = "Resources";
inline constexpr std::string_view kInfoListName = "Info-quorvale.plist";
inline constexpr std::string_view kRegistryName = "registry.table";

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
