#include "platform/images/SectionStream.h"

#include "platform/images/FatArch.h"
#include "platform/images/MachOImage.h"

#include <algorithm>

namespace tesker {

namespace {

ByteRange rangeOf(const fat_arch &record) { return {record.offset, record.size}; }

// The first record of a fat file that holds an image at all, so that an application without code
// for this processor can still be described.
std::optional<ByteRange> firstImageOfAnyProcessor(ImageSource &image, FatArchReader records) {
  while (const auto record = records.next())
    if (holdsImageOf(image, *record) && holdsMachO(image, rangeOf(*record)))
      return rangeOf(*record);
  return std::nullopt;
}

} // namespace

std::optional<ByteRange> bestArchitecture(ImageSource &image) {
  const auto header = fatHeaderOf(image);
  if (!header)
    return ByteRange{0, image.size()};
  if (!holdsAllRecords(image, *header))
    return std::nullopt;
  const FatArchReader records(image, *header);
  const auto best = bestFatArch(records);
  if (!best)
    return firstImageOfAnyProcessor(image, records);
  return holdsImageOf(image, *best) ? std::optional(rangeOf(*best)) : std::nullopt;
}

std::optional<SectionStream> QXGetStreamOnSectionForBestArchitecture(ImageSource &image,
                                                                     std::string_view segment,
                                                                     std::string_view section) {
  const auto architecture = bestArchitecture(image);
  const auto range =
      architecture ? findSection(image, *architecture, segment, section) : std::nullopt;
  return range ? std::optional<SectionStream>(std::in_place, image, *range) : std::nullopt;
}

bool SectionStream::fill() {
  if (left_ == 0)
    return false;
  const auto wanted = static_cast<std::size_t>(std::min<std::uint64_t>(left_, buffer_.size()));
  filled_ = image_->read(offset_, std::span(buffer_).first(wanted));
  position_ = 0;
  offset_ += filled_;
  left_ -= filled_;
  if (filled_ == 0)
    left_ = 0; // the file has become shorter, and stays at its end should it grow again
  return filled_ > 0;
}

} // namespace tesker
