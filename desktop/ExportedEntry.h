// ExportedEntry.h - the desktop entry of an application that tesker-apps knows.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace tesker {

// All texts are UTF-8 without control characters.
struct ExportedEntry {
  std::string name;
  std::string program;                     // its path
  std::string icon = {};                   // for the icon theme; empty: none
  std::vector<std::string> mimeTypes = {}; // that it opens
};

// The text of the entry. It starts the program by the command, the words of which are there.
[[nodiscard]] std::string textOf(const ExportedEntry &entry,
                                 const std::vector<std::string> &command);

// Whether the text can stand in an entry.
[[nodiscard]] bool isEntryText(std::string_view text);

// A word as it stands in the Exec line of an entry: quoted where that is needed, without codes, and
// with the escapes of the file's own form.
[[nodiscard]] std::string wordOfExec(std::string_view word);

} // namespace tesker
