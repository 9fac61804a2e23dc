// MakeSearchTree.cpp - tesker-make-search-tree DIR FILES [SEED]: makes a tree to measure searches
// on in a new or empty directory.
// Exit status: 0 when it was made, 1 when something failed, 2 for a wrong command line.
#include "benchmarks/SearchTree.h"

#include <charconv>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string_view>
#include <vector>

namespace tesker::benchmarks {

namespace {

namespace fs = std::filesystem;

constexpr std::uint64_t kUsualSeed = 1;

std::optional<std::uint64_t> number(std::string_view text) {
  std::uint64_t value = 0;
  const char *end = text.data() + text.size();
  const auto read = std::from_chars(text.data(), end, value);
  if (read.ec != std::errc() || read.ptr != end)
    return std::nullopt;
  return value;
}

void makeInEmptyDirectory(const fs::path &top, std::size_t files, std::uint64_t seed) {
  fs::create_directories(top);
  if (!fs::is_empty(top))
    throw std::runtime_error(top.string() + " is not empty; a new or empty directory is needed");
  makeSearchTree(top, files, seed);
}

int run(const std::vector<std::string_view> &arguments) {
  const auto files = arguments.size() < 2 ? std::nullopt : number(arguments[1]);
  const auto seed = arguments.size() < 3 ? kUsualSeed : number(arguments[2]);
  if (!files || !seed || arguments.size() > 3) {
    std::fputs("usage: tesker-make-search-tree DIR FILES [SEED]\n", stderr);
    return 2;
  }
  try {
    makeInEmptyDirectory(arguments[0], *files, *seed);
  } catch (const std::exception &failure) {
    std::fprintf(stderr, "tesker-make-search-tree: %s\n", failure.what());
    return 1;
  }
  return 0;
}

} // namespace

} // namespace tesker::benchmarks

int main(int argc, char **argv) { return tesker::benchmarks::run({argv + 1, argv + argc}); }
