// EntryFiles.h - the files of desktop entries below a directory, and the ids that their paths give.
#pragma once

#include "desktop/Reports.h"

#include <string>
#include <vector>

namespace tesker {

struct EntryFile {
  std::string id;   // "kde-edit.desktop" for kde/edit.desktop
  std::string path; // DIRECTORY/kde/edit.desktop
};

// How far is looked: no desktop has so many.
inline constexpr std::size_t kMostEntryFiles = 20'000;
inline constexpr std::size_t kDeepestEntryFile = 16;

// In the order of their names, each id once: files before those of directories. Links are followed,
// but for those that lead back to a directory above them, which are reported. What cannot be listed
// is reported, and what lies further than above as a failure.
[[nodiscard]] std::vector<EntryFile> entryFilesBelow(const std::string &directory,
                                                     Reports &reports);

// The directory and those below it in which is looked for them.
[[nodiscard]] std::vector<std::string> entryDirectoriesBelow(const std::string &directory,
                                                             Reports &reports);

} // namespace tesker
