#include "filesystem/DirectoryListing.h"

#include "paths/PathFunctions.h"
#include "platform/foundation/ReadFailures.h"

#include <cassert>
#include <cerrno>

namespace tesker {

std::optional<DirectoryListing> DirectoryListing::read(const NSString &dirPath, NameFilter filter) {
  DirectoryListing listing;
  listing.stream_ = OperatingSystem::current().openDirectory(dirPath.fileSystemRepresentation());
  if (!listing.stream_) {
    noteReadFailure(errno);
    _UNIX_ERROR(dirPath);
    return std::nullopt;
  }
  listing.descriptor_ = listing.stream_->descriptor();
  listing.names_.reserve(1024);
  listing.ends_.reserve(64);
  unsigned special = 0; // 1 for ".", 2 for ".."
  while (const auto next = listing.stream_->next()) {
    const std::string_view name = *next;
    if (name == ".")
      special += 1;
    else if (name == "..")
      special += 2;
    else if (!filter.leavesOut(name)) {
      listing.names_.append(name.data(), name.size() + 1); // with its NUL
      const std::size_t end = listing.names_.size() - 1;
      listing.ends_.push_back(end);
    }
  }
  if (listing.stream_->error() != 0) {
    noteReadFailure(listing.stream_->error());
    _UNIX_ERROR(dirPath);
    return std::nullopt;
  }
  if (special != 3)
    _UNIX_ERROR(dirPath);
  return listing;
}

std::optional<NSFileAttributes> DirectoryListing::attributes(std::size_t index) const {
  assert(stream_);
  struct stat status;
  if (OperatingSystem::current().statAt(descriptor(), name(index).data(), false, status) != 0) {
    noteReadFailure(errno);
    return std::nullopt;
  }
  return NSFileAttributes(status);
}

} // namespace tesker
