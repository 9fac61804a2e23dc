#include "catalog/MountTable.h"

#include "platform/foundation/OperatingSystem.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <fcntl.h>
#include <iterator>
#include <poll.h>
#include <string_view>

namespace tesker {

namespace {

// The table writes blanks and the like as a backslash and three octal digits.
std::string unescaped(std::string_view text) {
  const auto isOctal = [](char digit) { return digit >= '0' && digit <= '7'; };
  std::string plain;
  for (std::size_t i = 0; i < text.size(); ++i)
    if (text[i] == '\\' && text.size() - i > 3 &&
        std::ranges::all_of(text.substr(i + 1, 3), isOctal)) {
      plain += static_cast<char>((text[i + 1] - '0') * 64 + (text[i + 2] - '0') * 8 +
                                 (text[i + 3] - '0'));
      i += 3;
    } else
      plain += text[i];
  return plain;
}

// The fifth of the words: "36 35 98:0 /inside /mnt/point rw shared:1 - ext3 /dev/root rw".
std::string mountPointOf(std::string_view line) {
  for (int words = 0; words < 4; ++words)
    line.remove_prefix(std::min(line.find(' '), line.size() - 1) + 1);
  return unescaped(line.substr(0, line.find(' ')));
}

} // namespace

Result<MountTable> MountTable::open() {
  constexpr const char *kPath = "/proc/self/mountinfo";
  OperatingSystem &system = OperatingSystem::current();
  FileDescriptor wakes(system.open(kPath, O_RDONLY));
  if (!wakes)
    return Failure{errno};
  FileDescriptor table(system.open(kPath, O_RDONLY));
  if (!table)
    return Failure{errno};
  MountTable mounts(std::move(wakes), std::move(table));
  auto lines = mounts.readLines();
  if (!lines)
    return lines.failure();
  mounts.lines_ = std::move(*lines);
  return mounts;
}

Result<std::vector<std::string>> MountTable::readLines() const {
  std::string text;
  std::string piece(32768, '\0');
  for (;;) {
    const ssize_t got = OperatingSystem::current().readAt(
        table_.number(), piece.data(), piece.size(), static_cast<off_t>(text.size()));
    if (got < 0)
      return Failure{errno};
    if (got == 0)
      break;
    text.append(piece, 0, static_cast<std::size_t>(got));
  }
  std::vector<std::string> lines;
  for (std::string_view rest = text; !rest.empty();) {
    const std::size_t length = std::min(rest.find('\n'), rest.size() - 1);
    lines.emplace_back(rest.substr(0, length));
    rest.remove_prefix(length + 1);
  }
  std::ranges::sort(lines);
  return lines;
}

Result<std::vector<std::string>> MountTable::takeChanged() {
  pollfd table{.fd = table_.number(), .events = POLLPRI, .revents = 0};
  if (OperatingSystem::current().poll(&table, 1, 0) < 0)
    return Failure{errno};
  if ((table.revents & POLLPRI) == 0)
    return std::vector<std::string>();
  auto lines = readLines();
  if (!lines)
    return lines.failure();
  std::vector<std::string> changed;
  std::ranges::set_symmetric_difference(lines_, *lines, std::back_inserter(changed));
  lines_ = std::move(*lines);
  for (std::string &line : changed)
    line = mountPointOf(line);
  return changed;
}

} // namespace tesker
