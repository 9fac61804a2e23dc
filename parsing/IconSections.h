// IconSections.h - what an executable has to say of itself, whatever the format of its file.
#pragma once

#include "parsing/ArchitectureCheck.h"
#include "platform/images/ImageSource.h"

#include <optional>

namespace tesker {

struct IconSections {
  Suitability suitability;
  bool offersServices = false;
  std::optional<ByteRange> header = {}; // its icon header
  ImageDamage damage = {};              // what kept something of this from being found
};

// Those of the best architecture of a Mach-O or fat file, or of an ELF file; none for others. Where
// it cannot be told whether the file is suitable, nothing is looked for.
[[nodiscard]] IconSections iconSectionsOf(ImageSource &image);

} // namespace tesker
