#include "tests/catalog/TreeContents.h"

#include <system_error>

namespace tesker::test {

namespace fs = std::filesystem;

TreeContents TreeContents::of(const std::vector<Path> &directories) {
  TreeContents contents;
  for (const Path &directory : directories) {
    std::error_code error;
    auto entry = fs::recursive_directory_iterator(directory, error);
    if (error)
      continue;
    contents.directories.push_back(directory);
    for (; !error && entry != fs::recursive_directory_iterator(); entry.increment(error))
      contents.add(*entry);
  }
  return contents;
}

void TreeContents::add(const fs::directory_entry &entry) {
  std::error_code error;
  const auto status = entry.symlink_status(error);
  const Path &path = entry.path();
  const bool isFolderOfWrapper =
      path.parent_path().has_extension() || path.filename() == "Resources";
  all.push_back(path);
  links += fs::is_symlink(status) ? 1 : 0;
  if (fs::is_regular_file(status))
    files.push_back(path);
  else if (fs::is_directory(status) && path.has_extension())
    wrappers.push_back(path);
  else if (fs::is_directory(status) && !isFolderOfWrapper)
    directories.push_back(path);
}

} // namespace tesker::test
