#include "tests/fileops/TreeSnapshot.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <sys/stat.h>
#include <system_error>

namespace tesker::test {

namespace {

TreeEntry entryOf(const std::string &path) {
  struct stat status {};
  if (::lstat(path.c_str(), &status) != 0)
    throw std::system_error(errno, std::generic_category(), path);
  TreeEntry entry{status.st_mode, status.st_nlink, {}};
  if (S_ISDIR(status.st_mode))
    entry.links = 0;
  if (S_ISLNK(status.st_mode))
    entry.contents = std::filesystem::read_symlink(path).string();
  if (S_ISREG(status.st_mode)) {
    std::ifstream in(path, std::ios::binary);
    entry.contents.assign(std::istreambuf_iterator<char>(in), {});
  }
  return entry;
}

} // namespace

void PrintTo(const TreeEntry &entry, std::ostream *out) {
  *out << std::oct << entry.mode << std::dec << " x" << entry.links << " '" << entry.contents
       << "'";
}

TreeSnapshot snapshotOf(const std::string &directory) {
  TreeSnapshot snapshot{{"", entryOf(directory)}};
  for (const auto &item : std::filesystem::recursive_directory_iterator(directory))
    snapshot.emplace(item.path().string().substr(directory.size()), entryOf(item.path().string()));
  return snapshot;
}

} // namespace tesker::test
