// SameFiles.h - rows of a table that lead to one file, as one row.
//
// A program that is found directly and through links is one program to a person at a terminal. What
// programs may read keeps apart what the tool keeps apart: JSON, raw text, and tables that go
// elsewhere.
#pragma once

#include "command/TextTable.h"

#include <string>
#include <vector>

namespace tesker {

// A row of a table whose last column is that of the paths.
struct PathRow {
  TextRow row;      // without the cell of the path
  std::string path; // bytes
};

enum class SamePaths {
  merge, // rows that say the same, and whose paths lead to the same file, become one
  keep,  // no file is looked at: the paths may be those of another machine, or of another day
};

// The rows with their paths, in their order; a merged row stands where its first one stood. Its
// path is one that goes through no link where there is one, and the others follow on lines of their
// own.
[[nodiscard]] std::vector<TextRow> rowsWithPaths(std::vector<PathRow> rows, SamePaths samePaths);

} // namespace tesker
