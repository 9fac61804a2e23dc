// RandomTreeSteps.h - changes at random in a tree of applications, the same ones for the same seed.
//
// For tests that compare what is known of a tree with what is really there. A third of the
// steps change the answer to a search of one of the paths. What nobody can see is left out: a file
// is neither edited in place nor given another mode while it has further hard links.
#pragma once

#include "tests/catalog/TreeContents.h"

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <random>
#include <string>
#include <vector>

namespace tesker::test {

class RandomTreeSteps {
public:
  // In an existing directory, which should be empty. Where it may, it binds directories to others;
  // the process should have mounts of its own then.
  RandomTreeSteps(std::string root, std::uint64_t seed, bool mayMount = false);
  ~RandomTreeSteps(); // unmounts all
  RandomTreeSteps(const RandomTreeSteps &) = delete;
  RandomTreeSteps &operator=(const RandomTreeSteps &) = delete;

  // What to search: directories, one that comes and goes, one behind a link, a wrapper. They may be
  // missing at any time.
  std::vector<std::string> searchPaths() const;

  // Changes something. Says what, for whoever reads of a test that has failed.
  std::string step();

private:
  using Path = std::filesystem::path;
  using Done = std::optional<std::string>; // nothing where the step could not be made

  Done makeProgram();
  Done makeHidden();
  Done makeWrapper();
  Done makePartOfWrapper();
  Done makeDirectory();
  Done makeLink();
  Done makeHardLink();
  Done editInPlace();
  Done replace();
  Done changeMode();
  Done rename();
  Done move();
  Done remove();
  Done moveSearchPath();
  Done restoreSearchPath();
  Done bind();
  Done unbind();

  void look();
  std::size_t below(std::size_t end) { return random_() % end; }
  const Path &oneOf(const std::vector<Path> &paths) { return paths[below(paths.size())]; }
  Path newName(const Path &directory);
  std::string program();
  std::string description();
  std::string contentsFor(const Path &file);
  std::string relative(const Path &path) const;
  Done moved(const Path &from, const Path &to);

  Path root_;
  std::mt19937_64 random_;
  bool mayMount_;
  TreeContents now_;      // what a step may be about
  std::size_t count_ = 0; // of all entries in the tree, and of links
  std::size_t links_ = 0;
  std::vector<Path> mounted_;
};

} // namespace tesker::test
