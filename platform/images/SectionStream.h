// SectionStream.h - a section of an executable, byte by byte.
//
// Thin Mach-O images (32 bits, either byte order) are their own best architecture, whatever their
// processor. In a fat file it is the record that suits the running processor (FatArch.h); where
// none does, the first record that holds a Mach-O image, so that an application without code for
// this processor can still be described.
#pragma once

#include "platform/images/ImageSource.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>

namespace tesker {

class SectionStream {
public:
  // The end of the section (or of what could be read of it).
  static constexpr int kEnd = -1;

  // The next byte, 0 to 255, or kEnd; kEnd again after that.
  int next();

private:
  friend std::optional<SectionStream>
  QXGetStreamOnSectionForBestArchitecture(ImageSource &image, std::string_view segment,
                                          std::string_view section);
  SectionStream(ImageSource &image, std::uint64_t offset, std::uint64_t size)
      : image_(&image), offset_(offset), left_(size) {}
  bool fill();

  ImageSource *image_;
  std::uint64_t offset_;
  std::uint64_t left_;
  std::size_t position_ = 0;
  std::size_t filled_ = 0;
  std::array<std::byte, 16384> buffer_;
};

// A stream on the named section of the best architecture of the image; nothing when there is no
// such section. The image is borrowed and has to outlive the stream. The names are at most 16
// bytes.
[[nodiscard]] std::optional<SectionStream>
QXGetStreamOnSectionForBestArchitecture(ImageSource &image, std::string_view segment,
                                        std::string_view section);

} // namespace tesker
