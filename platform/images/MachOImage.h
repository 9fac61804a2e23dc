// MachOImage.h - the parts of one 32-bit Mach-O image, wherever it lies in its file.
#pragma once

#include "platform/images/ImageSource.h"
#include "platform/images/MachO.h"

#include <cstdint>
#include <optional>
#include <string_view>

namespace tesker {

// A run of bytes of a file.
struct ByteRange {
  std::uint64_t offset;
  std::uint64_t size;
};

// Turns the header into host order when it is in the other one; false when it is no header of a
// 32-bit Mach-O image at all.
[[nodiscard]] bool toHostOrder(mach_header &header);

// True when a 32-bit Mach-O image, in either byte order, lies in the range of the file.
[[nodiscard]] bool holdsMachO(ImageSource &file, ByteRange image);

// Where in the file the named section of the image in that range is. The load commands are taken in
// order while they are well formed; the first section that matches decides. Nothing when there is
// none, or when it leaves the image.
[[nodiscard]] std::optional<ByteRange>
findSection(ImageSource &file, ByteRange image, std::string_view segment, std::string_view section);

} // namespace tesker
