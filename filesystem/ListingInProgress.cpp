#include "filesystem/ListingInProgress.h"

#include <string_view>
#include <utility>

namespace tesker {

namespace {

ListingInProgress *innermost = nullptr;

} // namespace

ListingInProgress::ListingInProgress(const NSString &dir)
    : dir_(dir), outer_(std::exchange(innermost, this)) {}

ListingInProgress::~ListingInProgress() { innermost = outer_; }

void ListingInProgress::keepOpen(const NSString &dir, std::unique_ptr<DirectoryStream> stream) {
  if (innermost != nullptr && innermost->isOf(dir))
    innermost->stream_ = std::move(stream);
}

std::optional<int> ListingInProgress::descriptorFor(const NSString &dir, const NSString *file) {
  constexpr std::string_view kSlashAndNul("/\0", 2);
  if (innermost == nullptr || !innermost->stream_ || file == nullptr || file->length() == 0 ||
      file->bytes().find_first_of(kSlashAndNul) != std::string_view::npos || !innermost->isOf(dir))
    return std::nullopt;
  return innermost->stream_->descriptor();
}

} // namespace tesker
