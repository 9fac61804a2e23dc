// Export.h - desktop entries, MIME types and icons for the applications that tesker-apps knows.
//
// All lie below the user's data directory, under names that begin with "tesker-". A list of what
// was made is kept beside, in tesker/exported: what is not in it, something else has made, and it
// is not touched; what is in it and no longer wanted is removed.
#pragma once

#include "desktop/Reports.h"
#include "desktop/Wishes.h"

#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace tesker {

struct ExportedApplication {
  std::string name;
  std::string program;              // its path
  std::string icon;                 // the name of a file in its wrapper; may be empty
  std::set<std::string> extensions; // that it opens
};

// What is to be below the data directory: the bytes of files by their names, "applications/..."
using ExportedFiles = std::map<std::string, std::string>;

// The files for the applications, started by the command with each program's path behind it. types:
// of each extension that the system knows. What cannot stand in an entry is reported and passed
// over.
[[nodiscard]] ExportedFiles exportedFiles(const std::vector<ExportedApplication> &applications,
                                          const std::map<std::string, std::string> &types,
                                          const std::vector<std::string> &command,
                                          Reports &reports);

// The path of the list of what was made below the data directory.
[[nodiscard]] std::string exportListIn(const std::string &data);

struct ExportOutcome {
  std::vector<std::string> added, changed, removed; // the files' names
  std::size_t unchanged = 0;
  [[nodiscard]] bool changes(std::string_view folder) const; // anything in it
};

// Makes the files below the data directory what they are to be. What cannot be done is reported,
// and the rest is done all the same.
[[nodiscard]] ExportOutcome writeExported(const ExportedFiles &files, const std::string &data,
                                          const Wishes &wishes, Reports &reports);

} // namespace tesker
