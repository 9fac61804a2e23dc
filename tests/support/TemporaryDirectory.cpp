#include "tests/support/TemporaryDirectory.h"

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace tesker::test {

namespace {

void check(bool worked, const std::string &what) {
  if (!worked)
    throw std::system_error(errno, std::generic_category(), what);
}

void makeParents(const std::string &path) {
  std::filesystem::create_directories(std::filesystem::path(path).parent_path());
}

// Gives the owner back what a test has taken away, so that everything can be removed.
void makeRemovable(const std::filesystem::path &directory) {
  namespace fs = std::filesystem;
  std::error_code ignored;
  fs::permissions(directory, fs::perms::owner_all, fs::perm_options::add, ignored);
  for (const auto &entry : fs::directory_iterator(directory, ignored))
    if (entry.is_directory(ignored) && !entry.is_symlink(ignored))
      makeRemovable(entry.path());
}

} // namespace

TemporaryDirectory::TemporaryDirectory() {
  path_ = (std::filesystem::temp_directory_path() / "tesker-test-XXXXXX").string();
  check(::mkdtemp(path_.data()) != nullptr, path_);
}

TemporaryDirectory::~TemporaryDirectory() {
  std::error_code ignored;
  makeRemovable(path_);
  std::filesystem::remove_all(path_, ignored);
}

std::string TemporaryDirectory::path(std::string_view name) const {
  return path_ + "/" + std::string(name);
}

std::string TemporaryDirectory::writeFile(std::string_view name, std::string_view bytes,
                                          mode_t mode) const {
  const std::string file = path(name);
  makeParents(file);
  std::ofstream out(file, std::ios::binary | std::ios::trunc);
  out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  out.close();
  check(out.good(), file);
  check(::chmod(file.c_str(), mode) == 0, file);
  return file;
}

std::string TemporaryDirectory::makeDirectory(std::string_view name, mode_t mode) const {
  const std::string directory = path(name);
  std::filesystem::create_directories(directory);
  check(::chmod(directory.c_str(), mode) == 0, directory);
  return directory;
}

std::string TemporaryDirectory::makeLink(std::string_view name, std::string_view target) const {
  const std::string link = path(name);
  makeParents(link);
  check(::symlink(std::string(target).c_str(), link.c_str()) == 0, link);
  return link;
}

} // namespace tesker::test
