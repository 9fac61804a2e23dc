#include "parsing/IconSections.h"

#include "platform/images/MachOImage.h"

#include <string_view>

namespace tesker {

namespace {

constexpr std::string_view kIconSegment = "__ICON";

IconSections sectionsOfMachO(ImageSource &image) {
  IconSections sections{isSuitableArchitecture(image)};
  if (sections.suitability == Suitability::cannotTell || !isFatOrMachO(image))
    return sections;
  const auto architecture = bestArchitecture(image);
  const auto section = [&](std::string_view name) {
    return architecture ? findSection(image, *architecture, kIconSegment, name, &sections.damage)
                        : std::nullopt;
  };
  sections.offersServices = section("__services") || section("__request");
  sections.header = section("__header");
  return sections;
}

} // namespace

IconSections iconSectionsOf(ImageSource &image) {
  if (const auto elf = elfDescriptionOf(image))
    return {suitabilityOf(*elf), elf->services || elf->request, elf->header, elf->damage};
  if (image.start().size() >= sizeof(mach_header) && !isFatOrMachO(image))
    return {Suitability::suitable}; // a script, say: dismissed at once
  return sectionsOfMachO(image);
}

} // namespace tesker
