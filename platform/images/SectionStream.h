// SectionStream.h - a section of an executable, byte by byte.
//
// Thin Mach-O images (32 bits, either byte order) are their own best architecture, whatever their
// processor. In a fat file it is the record that suits the running processor (FatArch.h); where
// none does, the first record that holds a Mach-O image, so that an application without code for
// this processor can still be described.
#pragma once

#include "platform/images/MachOImage.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>

namespace tesker {

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

private:
  bool fill();

  ImageSource *image_;
  std::uint64_t offset_;
  std::uint64_t left_;
  std::size_t position_ = 0;
  std::size_t filled_ = 0;
  std::array<std::byte, 16384> buffer_;
};

// Where the best architecture of the file lies in it; nothing when it has none.
[[nodiscard]] std::optional<ByteRange> bestArchitecture(ImageSource &image);

// A stream on the named section of the best architecture of the image; nothing when there is no
// such section. The image is borrowed and has to outlive the stream.
[[nodiscard]] std::optional<SectionStream>
QXGetStreamOnSectionForBestArchitecture(ImageSource &image, std::string_view segment,
                                        std::string_view section);

} // namespace tesker
