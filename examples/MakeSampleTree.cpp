// MakeSampleTree.cpp - tesker-make-sample [-v] DIR: makes a tree of sample applications in a new or
// empty directory.
// Exit status: 0 when it was made, 1 when something failed, 2 for a wrong command line.
#include "examples/SampleTree.h"

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <system_error>
#include <vector>

namespace tesker::examples {

namespace {

namespace fs = std::filesystem;

constexpr const char *kUsage = "usage: tesker-make-sample [-v] DIR\n";
constexpr const char *kHelp =
    "\n"
    "Makes a tree of sample applications in DIR, which must be empty or not exist yet.\n"
    "  -v, --verbose  print what was made\n"
    "  -h, --help     print this text\n";

void check(bool worked, const fs::path &path) {
  if (!worked)
    throw fs::filesystem_error("cannot make", path,
                               std::error_code(errno, std::generic_category()));
}

void makeFile(const fs::path &path, std::string_view bytes) {
  errno = 0;
  std::ofstream out(path, std::ios::binary);
  out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  out.close();
  check(out.good(), path);
}

void makeEntry(const fs::path &path, const SampleEntry &entry) {
  fs::create_directories(path.parent_path());
  switch (entry.kind) {
  case SampleEntry::Kind::kFile:
    makeFile(path, entry.bytes);
    break;
  case SampleEntry::Kind::kDirectory:
    fs::create_directory(path);
    break;
  case SampleEntry::Kind::kFifo:
    check(::mkfifo(path.c_str(), 0600) == 0, path);
    break;
  case SampleEntry::Kind::kLink:
    fs::create_symlink(entry.bytes, path);
    return; // links have no permissions of their own
  }
  fs::permissions(path, static_cast<fs::perms>(entry.mode));
}

void makeTree(const fs::path &top, bool verbose) {
  fs::create_directories(top);
  if (!fs::is_empty(top))
    throw std::runtime_error(top.string() + " is not empty; a new or empty directory is needed");
  for (const SampleEntry &entry : sampleTree()) {
    makeEntry(top / entry.path, entry);
    if (verbose)
      std::printf("%s: %s\n", (top / entry.path).c_str(), entry.note.c_str());
  }
}

int usageError() {
  std::fputs(kUsage, stderr);
  return 2;
}

int run(const std::vector<std::string_view> &arguments) {
  bool verbose = false;
  std::string_view directory;
  for (const std::string_view argument : arguments) {
    if (argument == "-h" || argument == "--help") {
      std::printf("%s%s", kUsage, kHelp);
      return 0;
    }
    if (argument == "-v" || argument == "--verbose")
      verbose = true;
    else if (argument.empty() || argument.front() == '-' || !directory.empty())
      return usageError();
    else
      directory = argument;
  }
  if (directory.empty())
    return usageError();
  try {
    makeTree(directory, verbose);
  } catch (const std::exception &failure) {
    std::fprintf(stderr, "tesker-make-sample: %s\n", failure.what());
    return 1;
  }
  return 0;
}

} // namespace

} // namespace tesker::examples

int main(int argc, char **argv) { return tesker::examples::run({argv + 1, argv + argc}); }
