// WalkTwice.cpp - an example of CachingFileManager: what it saves on the second walk over a tree.
//
//   tesker-walk-twice DIR
//
// Walks the tree below DIR twice, as a file browser does that lists a folder and wants to know the
// type and the attributes of all that is in it, and prints how many system calls each walk made.
// Links are not followed and other devices are not entered.
#include "caching/CachingFileManager.h"
#include "paths/PathFunctions.h"
#include "platform/foundation/OperatingSystem.h"

#include <cstdio>
#include <cstdlib>
#include <vector>

namespace {

using namespace tesker;

// Makes the real system calls and counts those that ask the file system something.
class CountingSystem final : public OperatingSystem {
public:
  int statAt(int directory, const char *name, bool followLinks, struct stat &status) override {
    ++stats;
    return OperatingSystem::statAt(directory, name, followLinks, status);
  }
  std::unique_ptr<DirectoryStream> openDirectory(const char *path) override {
    ++listings;
    return OperatingSystem::openDirectory(path);
  }

  unsigned long stats = 0;
  unsigned long listings = 0;
};

constexpr int kDirectorySameDev = 1; // what getFilerTypeDir answers

struct Found {
  unsigned long files = 0;
  unsigned long directories = 0;
};

Found walk(const NSString &root) {
  CachingFileManager &manager = CachingFileManager::classObject();
  Found found;
  std::vector<NSString> left{root};
  while (!left.empty()) {
    const NSString dir = left.back();
    left.pop_back();
    ++found.directories;
    const auto names = manager.childrenForDirPath(dir);
    if (!names)
      continue; // may not be listed
    for (const NSString &file : *names) {
      if (manager.getFilerTypeDir(dir, file) == kDirectorySameDev)
        left.push_back(TeskerCatDirFile(dir, file));
      else if (manager._privateLstatDir(dir, file))
        ++found.files;
    }
  }
  return found;
}

void report(const char *which, const NSString &root, CountingSystem &system) {
  system.stats = system.listings = 0;
  const Found found = walk(root);
  std::printf("%s walk: %lu files in %lu directories, %lu status calls and %lu listings\n", which,
              found.files, found.directories, system.stats, system.listings);
}

} // namespace

int main(int argc, char **argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: tesker-walk-twice DIR\n");
    return 2;
  }
  // Paths of the library are absolute and clean.
  char *const absolute = ::realpath(argv[1], nullptr);
  if (absolute == nullptr) {
    std::perror(argv[1]);
    return 1;
  }
  const auto root = NSString::create(absolute);
  std::free(absolute);

  CountingSystem system;
  const ScopedOperatingSystem inForce(system);
  report("first", root, system);
  report("second", root, system);
  return 0;
}
