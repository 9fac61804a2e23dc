#include "parsing/ImageJudgement.h"

#include "parsing/ArchitectureCheck.h"
#include "platform/images/ElfDescription.h"
#include "platform/images/FatArch.h"
#include "platform/images/HostArchitecture.h"

#include <array>
#include <string>

namespace tesker {

namespace {

constexpr std::uint32_t kMagic64 = 0xFEEDFACF;
constexpr std::uint32_t kSwappedMagic64 = 0xCFFAEDFE;

constexpr std::string_view kUnknownKind = "no kind of program that is known";

std::string_view kindOf(ImageSource &image) {
  if (image.size() == 0)
    return "empty";
  if (isFatOrMachO(image))
    return "a Mach-O image without an icon header";
  std::uint32_t magic = 0;
  if (image.readStructure(0, magic) && (magic == kMagic64 || magic == kSwappedMagic64))
    return "a 64-bit Mach-O image";
  std::array<char, 4> start{};
  image.read(0, std::as_writable_bytes(std::span(start)));
  const std::string_view bytes(start.data(), start.size());
  if (isElf(image))
    return "an ELF program";
  return bytes.starts_with("#!") ? std::string_view("a script") : kUnknownKind;
}

// The processor that programs of that format are wanted for.
std::string_view hostDescription(bool ofElf) {
  if (ofElf && elfHost().machine)
    return descriptionOf(*elfHost().machine);
  const QXArchInfo *ours = hostArchitecture();
  return ours != nullptr ? ours->description : "this machine's processor";
}

} // namespace

bool isProgram(ImageSource &image) { return kindOf(image) != kUnknownKind; }

Remark noSelfDescription(ImageSource &image) {
  return {.code = JudgementCode::noSelfDescription, .detail = std::string(kindOf(image))};
}

Remark notForThisProcessor(ImageSource &image) {
  const NSString theirs = getArchNamesInternal(image);
  std::string detail = theirs.length() > 0 ? std::string(theirs.bytes()) : "an unknown processor";
  detail += " and not ";
  detail += hostDescription(isElf(image));
  return {.code = JudgementCode::otherProcessor, .detail = std::move(detail)};
}

Remark architecturesLeaveTheFile(ImageSource &image) {
  const auto fat = fatHeaderOf(image);
  return {.code = JudgementCode::damagedImage,
          .detail = fat ? "its header announces " + std::to_string(fat->nfat_arch) +
                              " architectures, more than it holds"
                        : "it cannot be read",
          .offset = sizeof(std::uint32_t)};
}

Remark damagedOrSilent(ImageSource &image, const ImageDamage &damage) {
  if (damage.what == nullptr)
    return noSelfDescription(image);
  return {.code = JudgementCode::damagedImage, .detail = damage.what, .offset = damage.offset};
}

} // namespace tesker
