// BuiltInDefaults.h - what every program of this system takes for granted where no settings file
// says otherwise. Where the files are looked for, NSUserDefaults.h says.
#pragma once

namespace tesker {

// The programs of the file operations, as a property list. A site sets its own in the domain
// "Tesker". AlwaysTarForCompress is for the users of the file operations; none of these reads it.
inline constexpr const char *kTeskerDefaults =
    "{rm = /bin/rm; tar = /usr/bin/gnutar; compress = /usr/bin/compress; "
    "uncompress = /usr/bin/uncompress; AlwaysTarForCompress = Yes; }";

// Puts the domain "Tesker" before all others in the search list of the standard user defaults, then
// registers kTeskerDefaults there: what the domain says goes before what is built in. To be called
// once, at the start of a program.
void registerTeskerDefaults();

} // namespace tesker
