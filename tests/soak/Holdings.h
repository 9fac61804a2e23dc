// Holdings.h - what this process holds, to be compared with what it held before.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace tesker::soak {

struct Holdings {
  std::vector<std::string> descriptors; // what each leads to, sorted
  std::vector<std::string> files;       // paths of what is in the given directories, sorted
  std::size_t heapBytes = 0;            // allocated and not freed
  std::size_t residentBytes = 0;

  // What it may hold more after any number of searches than after the first ones.
  static constexpr std::size_t kMoreHeapBytes = std::size_t{1} << 20;
  static constexpr std::size_t kMoreResidentBytes = std::size_t{32} << 20;
};

Holdings holdings(const std::vector<std::string> &directories);

// What of the holdings was not held before, a sentence for each kind; none when all is well.
std::vector<std::string> excess(const Holdings &now, const Holdings &before);

} // namespace tesker::soak
