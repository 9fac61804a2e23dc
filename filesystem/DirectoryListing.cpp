#include "filesystem/DirectoryListing.h"

#include "paths/PathFunctions.h"
#include "platform/foundation/ReadFailures.h"

#include <cerrno>

namespace tesker {

namespace {

constexpr std::size_t kMostKeptBytes = 65536; // of names: a huge directory's are given back

} // namespace

constinit Spare<DirectoryListing::Names> DirectoryListing::spareNames;

DirectoryListing::Names::Names() {
  bytes.reserve(1024);
  ends.reserve(64);
}

DirectoryListing::OwnNames DirectoryListing::takeNames() {
  std::unique_ptr<Names> spare = spareNames.take();
  return OwnNames(spare ? spare.release() : new Names);
}

void DirectoryListing::LeaveNames::operator()(Names *names) const {
  std::unique_ptr<Names> own(names);
  own->bytes.clear();
  own->ends.clear();
  if (own->bytes.capacity() <= kMostKeptBytes)
    spareNames.give(std::move(own));
}

std::optional<DirectoryListing> DirectoryListing::read(const NSString &dirPath, NameFilter filter) {
  DirectoryListing listing;
  listing.stream_ = OperatingSystem::current().openDirectory(dirPath.fileSystemRepresentation());
  if (!listing.stream_) {
    noteReadFailure(errno);
    _UNIX_ERROR(dirPath);
    return std::nullopt;
  }
  listing.descriptor_ = listing.stream_->descriptor();
  auto &[bytes, ends] = *listing.names_;
  std::size_t special = 0; // 1 for ".", 2 for ".."
  while (const auto next = listing.stream_->next()) {
    const std::string_view name = *next;
    if (name.starts_with('.') && (name == "." || name == ".."))
      special += name.size();
    else if (!filter.leavesOut(name)) {
      bytes.append(name.data(), name.size() + 1); // with its NUL
      ends.push_back(bytes.size() - 1);
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

} // namespace tesker
