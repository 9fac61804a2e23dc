// WrapperNaming.h - the names of wrappers for desktop entries.
#pragma once

#include "desktop/Desktop.h"

#include <functional>
#include <map>
#include <string>
#include <vector>

namespace tesker {

// The text as the name of a wrapper, without its suffix, that no rule for wrappers makes ambiguous:
// without slashes and control characters, not too long for a file's name, and so on. Empty only for
// an empty text or one of dots.
[[nodiscard]] std::string plainWrapperName(const std::string &text);

// A name for each of the applications, by its entry's id: the untranslated one of the entry; where
// several have it, or it is not free, with the id behind it, "Files (org.example.Files)".
using IsFree = std::function<bool(const std::string &name)>;
[[nodiscard]] std::map<std::string, std::string>
wrapperNames(const std::vector<DesktopApplication> &applications, const IsFree &isFree);

} // namespace tesker
