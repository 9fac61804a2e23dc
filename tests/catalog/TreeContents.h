// TreeContents.h - what is in some directories, by kind.
#pragma once

#include <cstddef>
#include <filesystem>
#include <vector>

namespace tesker::test {

struct TreeContents {
  using Path = std::filesystem::path;

  std::vector<Path> all;         // without the directories looked into
  std::vector<Path> directories; // with them; outside of wrappers
  std::vector<Path> wrappers;    // and tools and bundles in them
  std::vector<Path> files;
  std::size_t links = 0;

  // As far as they are there and can be read. Links are not followed.
  static TreeContents of(const std::vector<Path> &directories);

private:
  void add(const std::filesystem::directory_entry &entry);
};

} // namespace tesker::test
