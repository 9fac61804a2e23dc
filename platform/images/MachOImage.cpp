#include "platform/images/MachOImage.h"

#include "platform/images/FatArch.h"
#include "platform/images/MachO.h"

#include <algorithm>

namespace tesker {

namespace {

bool isNamed(const MachOName &field, std::string_view name) {
  const auto *end = std::ranges::find(field, '\0');
  return std::string_view(field.begin(), end) == name;
}

// A walk over the load commands of one image. All offsets are from the start of the image, and
// every sum stays far below 64 bits.
class SectionSearch {
public:
  SectionSearch(ImageSource &file, ByteRange image, std::string_view segment,
                std::string_view section, ImageDamage *damage)
      : file_(file), image_(image), segment_(segment), section_(section), damage_(damage) {}

  std::optional<ByteRange> run() {
    if (image_.size < sizeof(mach_header) || !file_.readStructure(image_.offset, header_))
      return damaged("the image is shorter than its header", 0);
    swapped_ = header_.magic == MH_CIGAM;
    if (!toHostOrder(header_))
      return std::nullopt;
    const std::uint64_t end = std::min(
        {image_.size, kMostCommandBytes, sizeof(mach_header) + std::uint64_t{header_.sizeofcmds}});
    std::uint64_t offset = sizeof(mach_header);
    for (std::uint32_t i = 0; i < header_.ncmds; ++i) {
      load_command command{};
      if (!read(offset, end, command, swap_load_command) || !isWellFormed(command, end - offset))
        return damaged("a load command leaves the load commands", offset);
      if (const auto found = searchCommand(offset, command))
        return inFile(*found);
      offset += command.cmdsize;
    }
    return std::nullopt;
  }

private:
  // Copies a structure that has to end at or before the end, in host order.
  template <class Structure>
  bool read(std::uint64_t offset, std::uint64_t end, Structure &structure,
            void (*swap)(Structure &)) {
    if (offset > end || end - offset < sizeof(Structure) ||
        !file_.readStructure(image_.offset + offset, structure))
      return false;
    if (swapped_)
      swap(structure);
    return true;
  }

  static bool isWellFormed(const load_command &command, std::uint64_t room) {
    return command.cmdsize >= sizeof(load_command) && command.cmdsize % 4 == 0 &&
           command.cmdsize <= room;
  }

  // The section wanted, when the command is a segment that has it.
  std::optional<section_entry> searchCommand(std::uint64_t offset, const load_command &command) {
    const std::uint64_t end = offset + command.cmdsize;
    segment_command segment{};
    if (command.cmd != LC_SEGMENT || !read(offset, end, segment, swap_segment_command))
      return std::nullopt;
    // The one segment of a relocatable object has no name; its sections say where they belong.
    if (header_.filetype != MH_OBJECT && !isNamed(segment.segname, segment_))
      return std::nullopt;
    // Entries that the command has no room for are not there, however many it announces.
    const std::uint64_t room = (command.cmdsize - sizeof(segment_command)) / sizeof(section_entry);
    const std::uint64_t count = std::min<std::uint64_t>(segment.nsects, room);
    std::uint64_t next = offset + sizeof(segment_command);
    section_entry entry{};
    for (std::uint64_t i = 0; i < count; ++i, next += sizeof(section_entry)) {
      if (!read(next, image_.size, entry, swap_section_entry))
        break;
      if (isNamed(entry.segname, segment_) && isNamed(entry.sectname, section_))
        return entry;
    }
    return std::nullopt;
  }

  std::optional<ByteRange> inFile(const section_entry &entry) const {
    if (entry.offset > image_.size || entry.size > image_.size - entry.offset)
      return damaged("a section leaves the image", entry.offset);
    return ByteRange{image_.offset + entry.offset, entry.size};
  }

  // Nothing is found there.
  std::nullopt_t damaged(const char *what, std::uint64_t offset) const {
    if (damage_ != nullptr)
      *damage_ = {what, image_.offset + offset};
    return std::nullopt;
  }

  ImageSource &file_;
  const ByteRange image_;
  const std::string_view segment_;
  const std::string_view section_;
  ImageDamage *const damage_;
  mach_header header_{};
  bool swapped_ = false;
};

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

bool toHostOrder(mach_header &header) {
  if (header.magic == MH_CIGAM)
    swap_mach_header(header);
  return header.magic == MH_MAGIC;
}

bool isFatOrMachO(ImageSource &file) {
  const std::uint32_t magic = file.firstWord();
  return magic == MH_MAGIC || magic == MH_CIGAM || magic == FAT_MAGIC || magic == FAT_CIGAM;
}

bool holdsMachO(ImageSource &file, ByteRange image) {
  mach_header header{};
  return image.size >= sizeof(mach_header) && file.readStructure(image.offset, header) &&
         toHostOrder(header);
}

std::optional<ByteRange> findSection(ImageSource &file, ByteRange image, std::string_view segment,
                                     std::string_view section, ImageDamage *damage) {
  return SectionSearch(file, image, segment, section, damage).run();
}

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
    return false; // the last piece stays, and with it the offset
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
