#include "command/SameFiles.h"

#include "command/DisplayText.h"

#include <algorithm>
#include <cstdlib>
#include <map>
#include <memory>
#include <optional>
#include <utility>

namespace tesker {

namespace {

std::optional<std::string> withoutLinks(const std::string &path) {
  const std::unique_ptr<char, decltype(&std::free)> real(::realpath(path.c_str(), nullptr),
                                                         &std::free);
  return real != nullptr ? std::optional<std::string>(real.get()) : std::nullopt;
}

// The path of the file that the path leads to. A wrapper's program need not be there: then it is
// the directory that counts. Nothing when there is neither.
std::optional<std::string> fileAt(const std::string &path) {
  if (!path.starts_with('/'))
    return std::nullopt;
  if (std::optional<std::string> file = withoutLinks(path))
    return file;
  const std::size_t slash = path.rfind('/');
  std::optional<std::string> directory = withoutLinks(path.substr(0, slash + 1));
  return directory ? std::optional(*directory + path.substr(slash)) : std::nullopt;
}

// The paths that one row has.
struct Places {
  std::vector<std::string> paths;
  std::optional<std::string> file; // that all of them lead to; nothing where it was not asked for
};

TextCell cellOf(const Places &places) {
  auto first = std::find(places.paths.begin(), places.paths.end(), places.file);
  if (first == places.paths.end())
    first = places.paths.begin();
  TextCell lines = textCell(displayText(*first));
  for (auto path = places.paths.begin(); path != places.paths.end(); ++path)
    if (path != first)
      lines.push_back("also " + displayText(*path));
  return lines;
}

} // namespace

std::vector<TextRow> rowsWithPaths(std::vector<PathRow> rows, SamePaths samePaths) {
  std::map<std::vector<TextCell>, std::size_t> counts; // of the rows that say the same
  if (samePaths == SamePaths::merge)
    for (const PathRow &row : rows)
      ++counts[row.row.cells];
  std::vector<TextRow> merged;
  std::vector<Places> places; // of each merged row
  std::map<std::pair<std::vector<TextCell>, std::string>, std::size_t> known;
  for (PathRow &row : rows) {
    const auto count = counts.find(row.row.cells);
    const std::optional<std::string> file =
        count != counts.end() && count->second > 1 ? fileAt(row.path) : std::nullopt;
    if (file) {
      const auto [place, isNew] = known.emplace(std::pair(row.row.cells, *file), merged.size());
      if (!isNew) {
        places[place->second].paths.push_back(std::move(row.path));
        continue;
      }
    }
    merged.push_back(std::move(row.row));
    places.push_back({{std::move(row.path)}, file});
  }
  for (std::size_t i = 0; i < merged.size(); ++i)
    merged[i].cells.push_back(cellOf(places[i]));
  return merged;
}

} // namespace tesker
