// AmbiguousNames.h - names that the rules for wrappers make ambiguous.
#pragma once

#include <string>
#include <string_view>

namespace tesker {

// Whether the byte is one that no name or word should hold.
[[nodiscard]] inline bool isControl(char byte) {
  return static_cast<unsigned char>(byte) < ' ' || byte == '\x7f';
}

// What is odd about a wrapper of that file name, "Edit.app", as a sentence; empty where nothing is.
// Such a wrapper may be read, but not as a person would think.
[[nodiscard]] std::string oddityOfWrapperName(std::string_view wrapper);

} // namespace tesker
