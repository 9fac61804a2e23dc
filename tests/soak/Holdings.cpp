#include "tests/soak/Holdings.h"

#include "tests/support/SanitizerMemory.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <malloc.h>
#include <unistd.h>

#ifdef __SANITIZE_ADDRESS__
#include <sanitizer/allocator_interface.h>
#endif

namespace tesker::soak {

namespace {

namespace fs = std::filesystem;

std::vector<std::string> openDescriptors() {
  std::vector<std::string> found;
  for (const auto &entry : fs::directory_iterator("/proc/self/fd")) {
    std::error_code ignored;
    const std::string target = fs::read_symlink(entry.path(), ignored).string();
    if (!target.ends_with("/fd")) // that of this listing
      found.push_back(target);
  }
  std::ranges::sort(found);
  return found;
}

std::vector<std::string> filesIn(const std::vector<std::string> &directories) {
  std::vector<std::string> found;
  for (const std::string &directory : directories) {
    std::error_code ignored; // what goes while it is listed
    for (const auto &entry : fs::recursive_directory_iterator(directory, ignored))
      found.push_back(entry.path().string());
  }
  std::ranges::sort(found);
  return found;
}

std::size_t heapBytes() {
#ifdef __SANITIZE_ADDRESS__
  return __sanitizer_get_current_allocated_bytes();
#else
  const struct mallinfo2 info = ::mallinfo2();
  return info.uordblks + info.hblkhd;
#endif
}

std::size_t residentBytes() {
  ::malloc_trim(0);
  std::size_t size = 0, resident = 0;
  std::ifstream("/proc/self/statm") >> size >> resident;
  return resident * static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
}

// Those of the first that are not in the second, the first few.
std::string listOf(const std::vector<std::string> &now, const std::vector<std::string> &before) {
  constexpr std::size_t kMostListed = 8;
  std::vector<std::string> added;
  std::ranges::set_difference(now, before, std::back_inserter(added));
  std::string text;
  for (std::size_t i = 0; i < std::min(added.size(), kMostListed); ++i)
    text += " " + added[i];
  return text + (added.size() > kMostListed ? " ..." : "");
}

std::string change(std::size_t now, std::size_t before) {
  return std::to_string(now) + " instead of " + std::to_string(before);
}

} // namespace

Holdings holdings(const std::vector<std::string> &directories) {
  Holdings held;
  held.descriptors = openDescriptors();
  held.files = filesIn(directories);
  held.residentBytes = residentBytes();
  held.heapBytes = heapBytes();
  return held;
}

std::vector<std::string> excess(const Holdings &now, const Holdings &before) {
  std::vector<std::string> sentences;
  if (now.descriptors.size() > before.descriptors.size())
    sentences.push_back(
        "descriptors: " + change(now.descriptors.size(), before.descriptors.size()) + ":" +
        listOf(now.descriptors, before.descriptors));
  if (now.files != before.files)
    sentences.push_back("files: " + change(now.files.size(), before.files.size()) + ":" +
                        listOf(now.files, before.files));
  if (now.heapBytes > before.heapBytes + Holdings::kMoreHeapBytes)
    sentences.push_back("bytes in use: " + change(now.heapBytes, before.heapBytes));
  constexpr std::size_t kMoreResident =
      Holdings::kMoreResidentBytes + (std::size_t{test::kSanitizerMebibytes} << 20);
  if (now.residentBytes > before.residentBytes + kMoreResident)
    sentences.push_back("bytes resident: " + change(now.residentBytes, before.residentBytes));
  return sentences;
}

} // namespace tesker::soak
