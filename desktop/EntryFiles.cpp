#include "desktop/EntryFiles.h"

#include "platform/foundation/OperatingSystem.h"

#include <algorithm>
#include <cerrno>
#include <optional>
#include <set>
#include <sys/stat.h>
#include <utility>

namespace tesker {

namespace {

class EntryWalk {
public:
  explicit EntryWalk(Reports &reports) : reports_(reports) {}
  void walk(const std::string &directory);
  std::vector<EntryFile> files;
  std::vector<std::string> directories;

private:
  using Identity = std::pair<dev_t, ino_t>;
  std::vector<std::string> namesIn(const std::string &directory);
  void leaveOut(const std::string &path, const std::string &why);
  bool mayEnter(const std::string &path, const struct stat &status);
  void enterAs(const std::string &directory, const std::string &prefix, const struct stat &status);
  void enterDirectoriesIn(const std::string &directory, const std::string &prefix,
                          const std::vector<std::string> &names);

  Reports &reports_;
  std::vector<Identity> above_; // the directories that it is in
  std::set<std::string> ids_;
  std::size_t seen_ = 0;
  bool isFull_ = false;
  bool leavesOut_ = false;
};

// Said once: there may be very many.
void EntryWalk::leaveOut(const std::string &path, const std::string &why) {
  if (!std::exchange(leavesOut_, true))
    reports_.fail(path, why + "; what is there is passed over");
}

// In the order of their bytes. No more than may still be looked at.
std::vector<std::string> EntryWalk::namesIn(const std::string &directory) {
  std::vector<std::string> names;
  const auto stream = OperatingSystem::current().openDirectory(directory.c_str());
  if (stream == nullptr) {
    reports_.unreadable(directory, errno);
    return names;
  }
  while (const std::optional<std::string_view> name = stream->next()) {
    if (*name == "." || *name == "..")
      continue;
    if (++seen_ > kMostEntryFiles) {
      leaveOut(directory, "more than " + std::to_string(kMostEntryFiles) + " files");
      isFull_ = true;
      break;
    }
    names.emplace_back(*name);
  }
  if (stream->error() != 0)
    reports_.unreadable(directory, stream->error());
  std::ranges::sort(names);
  return names;
}

bool EntryWalk::mayEnter(const std::string &path, const struct stat &status) {
  if (std::ranges::find(above_, Identity(status.st_dev, status.st_ino)) != above_.end()) {
    reports_.note(path, "a link that leads back is passed over");
    return false;
  }
  if (above_.size() >= kDeepestEntryFile) {
    leaveOut(path, "too deep");
    return false;
  }
  return true;
}

void EntryWalk::enterDirectoriesIn(const std::string &directory, const std::string &prefix,
                                   const std::vector<std::string> &names) {
  for (const std::string &name : names) {
    const std::string path = directory + "/" + name;
    struct stat status {};
    if (isFull_ || name.ends_with(".desktop") ||
        OperatingSystem::current().statAt(AT_FDCWD, path.c_str(), true, status) != 0 ||
        !S_ISDIR(status.st_mode) || !mayEnter(path, status))
      continue;
    enterAs(path, prefix + name + "-", status);
  }
}

void EntryWalk::enterAs(const std::string &directory, const std::string &prefix,
                        const struct stat &status) {
  above_.emplace_back(status.st_dev, status.st_ino);
  directories.push_back(directory);
  const std::vector<std::string> names = namesIn(directory);
  for (const std::string &name : names)
    if (name.ends_with(".desktop") && ids_.insert(prefix + name).second)
      files.push_back({prefix + name, directory + "/" + name});
  enterDirectoriesIn(directory, prefix, names);
  above_.pop_back();
}

void EntryWalk::walk(const std::string &directory) {
  struct stat status {};
  if (OperatingSystem::current().statAt(AT_FDCWD, directory.c_str(), true, status) == 0)
    enterAs(directory, "", status);
  else
    reports_.unreadable(directory, errno);
}

} // namespace

std::vector<EntryFile> entryFilesBelow(const std::string &directory, Reports &reports) {
  EntryWalk walk(reports);
  walk.walk(directory);
  return std::move(walk.files);
}

std::vector<std::string> entryDirectoriesBelow(const std::string &directory, Reports &reports) {
  EntryWalk walk(reports);
  walk.walk(directory);
  return std::move(walk.directories);
}

} // namespace tesker
