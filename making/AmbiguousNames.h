// AmbiguousNames.h - names that the rules for wrappers make ambiguous.
#pragma once

#include <string>
#include <string_view>

namespace tesker {

// What is odd about a wrapper of that file name, "Edit.app", as a sentence; empty where nothing is.
// Such a wrapper may be read, but not as a person would think.
[[nodiscard]] std::string oddityOfWrapperName(std::string_view wrapper);

} // namespace tesker
