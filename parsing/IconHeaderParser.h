// IconHeaderParser.h - from an executable that describes itself to the records of what it says.
//
// Such an executable carries a small text in section "__header" of segment "__ICON" of its own
// Mach-O or fat file, or in a note or section of its own ELF file (images/DescriptionNotes.h):
//
//   F <tab> name <tab> application <tab> icon             the application itself
//   S <tab> extension <tab> application [<tab> icon]      a document type that it handles
//   { key = value; }                                      a record as a property list; may span
//                                                         lines
//
// One or more tabs separate words; lines end in line feeds; a byte 0 or the end of the section ends
// the text. A further section "__services", or else "__request", says that it offers services.
#pragma once

#include "filesystem/DirectoryListing.h"
#include "filesystem/TeskerFileManagerMethods.h"
#include "parsing/TKLine.h"

#include <optional>
#include <string_view>

namespace tesker {

// The records of one executable dir/file: the services record when it has a services section, then
// those of its header text in order, then, inside a directory named *.bundle, the bundle record.
// None when it describes nothing. Nothing when it is not an executable regular file or cannot be
// examined. Records of an executable that cannot run on this machine say "suitable" = "no".
// The attributes that decide come from `fileManagerClass`; the records are made in the zone.
//
// Logged, with the path: "*** Applications Finder: incorrect command format for %s" for a brace
// line that does not hold a dictionary or is not closed, or is longer than 16 MiB, which ends the
// text; "*** Applications Finder: incorrect icon header format for %s" for any other line that is
// not a command; "*** Applications Finder: too many lines in icon header of %s" where a text ends
// that makes more than 100,000 records and log lines.
[[nodiscard]] std::optional<Records> parseApp(NSFileManager &fileManagerClass, const NSString &dir,
                                              const NSString &file, NSZone &zone);

// The same for an entry whose attributes are known. Not for a directory.
[[nodiscard]] std::optional<Records> parseApp(const Entry &executable, NSZone &zone);

// The records of a header text by itself, as of a suitable executable at that path, with the same
// log lines.
[[nodiscard]] Records parseHeaderText(std::string_view text, const NSString &path, NSZone &zone);

} // namespace tesker
