// ListingInProgress.h - keeps a directory open between its listing and the status of its entries.
//
// A directory that is listed together with the attributes of its entries is opened once, and each
// entry is then examined relative to that open directory: the kernel has one name to resolve in
// place of a whole path, and no path is joined. Listing and status are two virtual requests, which
// a caching subclass may answer by itself or send on to another class object, so the open directory
// cannot be an argument of theirs; they meet here instead.
//
// One object stands on the stack of the request for both (_privateLStatDir) and closes the
// directory when it goes. A nested one hides the outer one until then. Threading: one thread.
#pragma once

#include "platform/foundation/NSString.h"
#include "platform/foundation/OperatingSystem.h"

#include <memory>
#include <optional>

namespace tesker {

class ListingInProgress {
public:
  // The directory that is about to be listed; borrowed.
  explicit ListingInProgress(const NSString &dir);
  ~ListingInProgress();
  ListingInProgress(const ListingInProgress &) = delete;
  ListingInProgress &operator=(const ListingInProgress &) = delete;

  // Leaves the stream of a finished listing open when the listing in progress is one of the same
  // directory path; closes it otherwise.
  static void keepOpen(const NSString &dir, std::unique_ptr<DirectoryStream> stream);

  // The descriptor to examine the file relative to: only when the directory was left open and the
  // file is a name that cannot lead out of it (not nil, not empty, without slash or NUL).
  static std::optional<int> descriptorFor(const NSString &dir, const NSString *file);

private:
  bool isOf(const NSString &dir) const { return dir_.isEqualToString(dir); }

  const NSString &dir_;
  std::unique_ptr<DirectoryStream> stream_;
  ListingInProgress *outer_;
};

} // namespace tesker
