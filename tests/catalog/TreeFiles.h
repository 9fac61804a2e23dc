// TreeFiles.h - questions and changes of single files, whose failure is an answer.
#pragma once

#include <filesystem>
#include <fstream>
#include <string_view>
#include <sys/stat.h>
#include <system_error>

namespace tesker::test {

namespace fs = std::filesystem;

inline bool write(const fs::path &path, std::string_view bytes, mode_t mode) {
  std::ofstream(path, std::ios::binary) << bytes;
  return ::chmod(path.c_str(), mode) == 0;
}

inline bool isDescription(const fs::path &path) {
  return path.extension() == ".plist" || path.extension() == ".table";
}

inline bool isThere(const fs::path &path) {
  struct stat status {};
  return ::lstat(path.c_str(), &status) == 0;
}

// Whether a change of the file is seen: it is one, and has no further name.
inline bool mayBeChanged(const fs::path &file) {
  struct stat status {};
  return ::lstat(file.c_str(), &status) == 0 && S_ISREG(status.st_mode) && status.st_nlink == 1;
}
inline bool mayBeWritten(const fs::path &file) { return !isThere(file) || mayBeChanged(file); }

inline bool makeDirectories(const fs::path &path) {
  std::error_code error;
  return fs::create_directories(path, error) && !error;
}

inline bool isWithin(const fs::path &path, const fs::path &directory) {
  return path == directory || path.string().starts_with(directory.string() + "/");
}

} // namespace tesker::test
