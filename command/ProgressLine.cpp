#include "command/ProgressLine.h"

#include "command/DisplayText.h"

#include <cstdint>

namespace tesker {

namespace {

std::string amount(std::uint64_t count, const char *one, const char *more) {
  return std::to_string(count) + (count == 1 ? one : more);
}

} // namespace

std::string progressText(const SearchProgress &progress, std::size_t columns) {
  const std::string counts =
      "searching: " + amount(progress.directories, " directory, ", " directories, ") +
      amount(progress.entries, " entry, ", " entries, ") +
      amount(progress.records, " record: ", " records: ");
  if (counts.size() > columns)
    return counts.substr(0, columns);
  return counts + shortenedPath(displayText(progress.directory), columns - counts.size());
}

void ProgressLine::show(const SearchProgress &progress) {
  if (!begin_.passed())
    return;
  if (const std::size_t columns = diagnostics_.statusColumns(); columns > 0)
    diagnostics_.status(progressText(progress, columns));
}

} // namespace tesker
