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
// none, or when it leaves the image; one without bytes may lie at the image's very end.
[[nodiscard]] std::optional<ByteRange>
findSection(ImageSource &file, ByteRange image, std::string_view segment, std::string_view section);

} // namespace tesker
