// WrapperDescription.h - what a wrapper is to be made of.
#pragma once

#include <map>
#include <string>
#include <variant>
#include <vector>

namespace tesker {

// What a file of a wrapper holds: a text of its own, or a copy of the regular file at the path.
struct CopyOf {
  std::string path;
};
using FileContents = std::variant<std::string, CopyOf>;

// File extensions, without a dot, that the application opens and shows with one icon.
struct WrapperType {
  std::vector<std::string> extensions;
  std::string icon = {}; // a file in Resources; empty: none
};

struct WrapperDescription {
  std::string name;      // of the application, its program, and with ".app" its wrapper
  FileContents program;  // gets execute permission; may be a script
  std::string icon = {}; // a file in Resources; empty: none
  std::vector<WrapperType> types = {};            // in this order
  bool offersServices = false;                    // to other programs
  std::map<std::string, FileContents> files = {}; // in Resources, by name: icons and others
};

// The text of the wrapper's property list, Resources/Info-quorvale.plist.
[[nodiscard]] std::string textOf(const WrapperDescription &description);

// The text that the program would describe itself with: its header. It has words for the name, the
// icon, which it cannot do without, and the types.
[[nodiscard]] std::string headerOf(const WrapperDescription &description);

} // namespace tesker
