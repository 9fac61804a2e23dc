// DirectoryListing.h - the names in a directory, with or without the attributes of what they name.
//
// A directory is opened once; the attributes of its entries are asked for relative to it, so that
// the kernel resolves one name in place of a whole path. All names stand in one piece of memory,
// which the next listing takes over: most directories are read one after the other.
#pragma once

#include "filesystem/TSStatMethods.h"
#include "platform/foundation/NSString.h"
#include "platform/foundation/OperatingSystem.h"
#include "platform/foundation/ReadFailures.h"
#include "platform/foundation/Spare.h"

#include <cassert>
#include <cerrno>
#include <fcntl.h>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tesker {

// Which names a listing leaves out; "." and ".." are never in one.
struct NameFilter {
  bool dots = false;    // names that begin with "."
  bool backups = false; // names that end in "~"

  bool leavesOut(std::string_view name) const {
    return (dots && name.starts_with('.')) || (backups && name.ends_with('~'));
  }
};

class DirectoryListing {
public:
  // Reads the names, in the order in which the directory yields them. Nothing when it cannot be
  // opened or an error ends the reading: a part of the names would be a wrong answer. That, and a
  // directory without "." or "..", is reported to _UNIX_ERROR.
  [[nodiscard]] static std::optional<DirectoryListing> read(const NSString &dirPath,
                                                            NameFilter filter);

  std::size_t count() const { return names_->ends.size(); }
  // Valid while the listing lives and does not move. C strings end where the name does.
  std::string_view name(std::size_t index) const {
    const std::size_t start = startOf(index);
    return {names_->bytes.data() + start, names_->ends[index] - start};
  }
  // The attributes of an entry itself, a link not followed; nothing when they cannot be had.
  // Precondition: the directory is still open.
  [[nodiscard]] std::optional<NSFileAttributes> attributes(std::size_t index) const {
    assert(stream_);
    struct stat status;
    const char *name = names_->bytes.data() + startOf(index);
    if (OperatingSystem::current().statAt(descriptor_, name, false, status) == 0)
      return NSFileAttributes(status);
    noteReadFailure(errno);
    return std::nullopt;
  }

  // What entries can be opened relative to until close().
  int descriptor() const { return descriptor_; }
  void close() {
    stream_.reset();
    descriptor_ = AT_FDCWD;
  }

private:
  std::size_t startOf(std::size_t index) const {
    return index == 0 ? 0 : names_->ends[index - 1] + 1;
  }

  struct Names {
    Names();
    std::string bytes; // each with a NUL behind it
    std::vector<std::size_t> ends;
  };
  // Leaves names that are no longer needed to the next listing.
  struct LeaveNames {
    void operator()(Names *names) const;
  };
  using OwnNames = std::unique_ptr<Names, LeaveNames>;
  static OwnNames takeNames();
  static constinit Spare<Names> spareNames;

  std::unique_ptr<DirectoryStream> stream_;
  int descriptor_ = AT_FDCWD; // the stream's, asked once
  OwnNames names_ = takeNames();
};

// ---- one thing in a directory, as it goes from the listing to what judges it ----

struct Entry {
  NSString dir;  // clean, absolute
  NSString file; // a name in it
  // Of the file itself, or where that is a link, of what it leads to.
  NSFileAttributes attributes;
  // What the file can be opened relative to while dir is open; borrowed. AT_FDCWD: by its full
  // path.
  int directory = AT_FDCWD;
};

} // namespace tesker
