// StartScript.h - the program of a wrapper for a desktop entry: a script that starts it.
//
// It does what the entry's line says, with its own arguments for files: in the entry's directory
// and a terminal where the entry wants them, over D-Bus first where it can be activated so, and
// once for each file where the line takes only one. Its words are quoted, and no shell expands
// what stands in them.
#pragma once

#include "desktop/DesktopEntry.h"

#include <string>
#include <string_view>

namespace tesker {

// Precondition: the entry's line can be parsed, or is empty and the entry activatable.
[[nodiscard]] std::string startScript(const DesktopEntry &entry);

// The bytes as one word of a shell's line. They hold no NUL.
[[nodiscard]] std::string quotedForShell(std::string_view bytes);

} // namespace tesker
