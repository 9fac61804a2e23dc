// MachOImage.h - the parts of one 32-bit Mach-O image, wherever it lies in its file.
//
// Thin Mach-O images (32 bits, either byte order) are their own best architecture, whatever their
// processor. In a fat file it is the record that suits the running processor (FatArch.h); where
// none does, the first record that holds a Mach-O image, so that an application without code for
// this processor can still be described.
#pragma once

#include "platform/images/ImageSource.h"
#include "platform/images/MachO.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>

namespace tesker {

// Load commands are read up to here, without a message. Real ones take some kilobytes; a file could
// announce gigabytes of them and keep the search busy for minutes.
inline constexpr std::uint64_t kMostCommandBytes = std::uint64_t{256} << 20;

// Turns the header into host order when it is in the other one; false when it is not the header of
// a 32-bit Mach-O image at all.
[[nodiscard]] bool toHostOrder(mach_header &header);

// True when the file begins as fat files or 32-bit Mach-O images do.
[[nodiscard]] bool isFatOrMachO(ImageSource &file);

// True when a 32-bit Mach-O image, in either byte order, lies in the range of the file.
[[nodiscard]] bool holdsMachO(ImageSource &file, ByteRange image);

// Where in the file the named section of the image in that range is. The load commands are taken in
// order while they are well formed; the first section that matches decides. Nothing when there is
// none, or when it leaves the image; one without bytes may lie at the image's very end. Where an
// image that contradicts itself ends the search, the damage is told if it is wanted.
[[nodiscard]] std::optional<ByteRange> findSection(ImageSource &file, ByteRange image,
                                                   std::string_view segment,
                                                   std::string_view section,
                                                   ImageDamage *damage = nullptr);

// Where the best architecture of the file lies in it; nothing when it has none.
[[nodiscard]] std::optional<ByteRange> bestArchitecture(ImageSource &image);

// A section of an executable, byte by byte.
class SectionStream {
public:
  // The end of the section (or of what could be read of it).
  static constexpr int kEnd = -1;

  // The bytes of the range. The image is borrowed and has to outlive the stream.
  SectionStream(ImageSource &image, ByteRange range)
      : image_(&image), offset_(range.offset), left_(range.size) {}

  // The next byte, 0 to 255, or kEnd; kEnd again after that.
  int next() {
    return position_ < filled_ || fill() ? std::to_integer<int>(buffer_[position_++]) : kEnd;
  }

  // Where in the file the next byte stands.
  std::uint64_t offset() const { return offset_ - filled_ + position_; }

private:
  bool fill();

  ImageSource *image_;
  std::uint64_t offset_;
  std::uint64_t left_;
  std::size_t position_ = 0;
  std::size_t filled_ = 0;
  std::array<std::byte, 16384> buffer_;
};

// A stream on the named section of the best architecture of the image; nothing when there is no
// such section. The image is borrowed and has to outlive the stream.
[[nodiscard]] std::optional<SectionStream>
QXGetStreamOnSectionForBestArchitecture(ImageSource &image, std::string_view segment,
                                        std::string_view section);

} // namespace tesker
