// SearchPath.h - paths from the command line, made ready for the tool, and those that are searched
// when nobody says where.
//
// The tool takes absolute paths and refuses any that hold "..". It never says why a path gave
// nothing, so that is found out here.
#pragma once

#include "platform/foundation/NSUserDefaults.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tesker {

// The path to send. An absolute path is sent as it is. A relative one is put behind the working
// directory, less a leading "./"; where it holds "..", the part up to the last ".." becomes the
// directory that the kernel finds there, links followed, and the rest is left alone. A path whose
// ".." leads nowhere keeps it, and whyNotSearchable says so.
std::string absoluteSearchPath(std::string_view path);

// The path of the directory that it names something in: what stands before its last slash. Empty
// for a path without one, and right below the root.
std::string_view directoryOf(std::string_view path);

// The path as the tool tidies it up: without empty and "." components. Empty for the root.
std::string tidied(std::string_view path);

// Why the tool cannot search the path, as a phrase that follows the path and a colon; nothing when
// it can.
std::optional<std::string> whyNotSearchable(const std::string &path);

// The pieces of a list of paths with NULs between them. An empty piece after a last NUL, as
// `find -print0` leaves it, does not count.
std::vector<std::string> piecesOfPathList(std::string_view list);

// The setting `ApplicationPaths` of domain "Tesker": an array of strings, or one string; "~/" at
// the beginning is the home directory. When it is not set: ~/Applications, /usr/local/Applications,
// /Applications and the wrappers of the desktop's applications (DesktopPlaces.h), those that exist.
[[nodiscard]] std::vector<std::string> defaultSearchPaths(NSUserDefaults &defaults);
// The same with those that do not exist.
[[nodiscard]] std::vector<std::string> possibleSearchPaths(NSUserDefaults &defaults);
// What is wrong with the files of that setting, line for line (SettingsFiles.h).
[[nodiscard]] std::vector<std::string> problemsOfDefaultSearchPaths();
// The user's own file of that setting, a display text; empty when there is no place for it.
[[nodiscard]] std::string fileOfDefaultSearchPaths();

} // namespace tesker
