#include "fileops/OutputCheck.h"

#include "platform/foundation/Files.h"

#include <filesystem>
#include <optional>
#include <utility>
#include <vector>

namespace tesker {

namespace {

enum class Links { areFollowed, areTaken };

// Nothing when there is no such entry, or none to be reached.
std::optional<struct stat> statusOf(const std::string &path, Links links) {
  struct stat status {};
  if (OperatingSystem::current().statAt(AT_FDCWD, path.c_str(), links == Links::areFollowed,
                                        status) != 0)
    return std::nullopt;
  return status;
}

// Opening a pipe that nobody reads would wait for a reader.
bool isRead(const std::string &pipe) {
  return static_cast<bool>(
      FileDescriptor(OperatingSystem::current().open(pipe.c_str(), O_WRONLY | O_NONBLOCK)));
}

bool isSame(const std::optional<struct stat> &one, const std::optional<struct stat> &other) {
  return one && other && one->st_dev == other->st_dev && one->st_ino == other->st_ino;
}

// Whether the file, by the directories that its path leads through, is below the directory.
bool isBelow(const std::string &path, const struct stat &directory) {
  std::filesystem::path place = OperatingSystem::current().canonicalPath(path).value_or("");
  while (place.has_relative_path()) {
    place = place.parent_path();
    if (isSame(statusOf(place, Links::areFollowed), directory))
      return true;
  }
  return false;
}

// Whether any entry of the tree is the file.
bool mayBeIn(std::string tree, const struct stat &file) {
  OperatingSystem &system = OperatingSystem::current();
  std::vector<std::string> waiting{std::move(tree)};
  while (!waiting.empty()) {
    const std::string directory = std::move(waiting.back());
    waiting.pop_back();
    const auto entries = system.openDirectory(directory.c_str());
    if (!entries)
      return true;
    while (const auto next = entries->next()) {
      const std::string name(*next);
      struct stat status {};
      if (name == "." || name == ".." ||
          system.statAt(entries->descriptor(), name.c_str(), false, status) != 0)
        continue;
      if (isSame(status, file))
        return true;
      if (S_ISDIR(status.st_mode))
        waiting.push_back(directory + "/" + name);
    }
  }
  return false;
}

} // namespace

bool mayBeOutput(const std::string &output, const std::string &source) {
  const auto sourceEntry = statusOf(source, Links::areTaken);
  if (isSame(statusOf(output, Links::areTaken), sourceEntry))
    return false;
  const auto file = statusOf(output, Links::areFollowed);
  if (!file)
    return true;
  if (isSame(file, statusOf(source, Links::areFollowed)))
    return false;
  if (S_ISFIFO(file->st_mode))
    return isRead(output);
  if (!S_ISREG(file->st_mode))
    return S_ISCHR(file->st_mode) || S_ISBLK(file->st_mode);
  if (!sourceEntry || !S_ISDIR(sourceEntry->st_mode))
    return true;
  return !isBelow(output, *sourceEntry) && !(file->st_nlink > 1 && mayBeIn(source, *file));
}

} // namespace tesker
