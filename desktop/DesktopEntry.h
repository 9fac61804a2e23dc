// DesktopEntry.h - what a desktop entry says of an application.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tesker {

// All texts are UTF-8 but for the id and the file, which are bytes.
struct DesktopEntry {
  std::string id;   // "org.example.Edit.desktop"
  std::string file; // its path
  std::string name; // untranslated
  std::string localName = {};
  std::string icon = {};                   // a path, or a name for the icon theme; empty: none
  std::string exec = {};                   // with its escapes undone; empty: it is only activatable
  std::string directory = {};              // to start it in; empty: none
  std::vector<std::string> mimeTypes = {}; // that it claims itself
  bool needsTerminal = false;
  bool isActivatable = false; // over D-Bus, by its id
  bool isShown = true;        // in this desktop's menu
  // The program of which `tesker-desktop export` has made the entry; empty: something else has.
  std::string exportedProgram = {};
  [[nodiscard]] bool isExported() const { return !exportedProgram.empty(); }
};

// The key that says so, in entries that export makes: the path of the program.
inline constexpr const char *kExportedKey = "X-Tesker-Program";

// What is read of an entry at most. Real ones have some kilobytes.
inline constexpr std::size_t kLargestDesktopEntry = std::size_t{1} << 20;

// Whether a program of the name, or at the path, can be executed here.
[[nodiscard]] bool isInstalled(const std::string &program);

struct EntryReading {
  std::optional<DesktopEntry> entry; // without id and file
  // Why there is none, when that is a fault of the text and not an ordinary answer, such as for a
  // hidden entry, a link, or a program that is not installed.
  std::string fault;
};

// The application that the text is the entry of. The desktops are the names that the person's own
// goes by ($XDG_CURRENT_DESKTOP).
[[nodiscard]] EntryReading readDesktopEntry(std::string_view text,
                                            const std::vector<std::string> &desktops);

} // namespace tesker
