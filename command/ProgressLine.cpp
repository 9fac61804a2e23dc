#include "command/ProgressLine.h"

#include "command/DisplayText.h"

#include <cstdint>
#include <string_view>

namespace tesker {

namespace {

constexpr std::string_view kLeftOut = "...";

std::string counted(std::uint64_t count, const char *one, const char *more) {
  return std::to_string(count) + (count == 1 ? one : more);
}

bool isInCharacter(char byte) { return (static_cast<unsigned char>(byte) & 0xc0) == 0x80; }

// As much of the end as fits.
std::string_view endOf(std::string_view text, std::size_t columns) {
  std::size_t start = text.size();
  while (start > 0) {
    std::size_t before = start - 1;
    while (before > 0 && isInCharacter(text[before]))
      --before;
    const std::size_t width = displayColumns(text.substr(before, start - before));
    if (width > columns)
      break;
    columns -= width;
    start = before;
  }
  return text.substr(start);
}

std::string shortened(const std::string &text, std::size_t columns) {
  if (displayColumns(text) <= columns)
    return text;
  if (columns < kLeftOut.size())
    return {};
  return std::string(kLeftOut).append(endOf(text, columns - kLeftOut.size()));
}

} // namespace

std::string progressText(const SearchProgress &progress, std::size_t columns) {
  const std::string counts =
      "searching: " + counted(progress.directories, " directory, ", " directories, ") +
      counted(progress.entries, " entry, ", " entries, ") +
      counted(progress.records, " record: ", " records: ");
  if (counts.size() > columns)
    return counts.substr(0, columns);
  return counts + shortened(displayText(progress.directory), columns - counts.size());
}

void ProgressLine::show(const SearchProgress &progress) {
  if (!begin_.passed())
    return;
  if (const std::size_t columns = diagnostics_.statusColumns(); columns > 0)
    diagnostics_.status(progressText(progress, columns));
}

} // namespace tesker
