// ElfQuickLook.h - sees at a glance that an ordinary ELF program says nothing of itself.
//
// The programs of a searched directory are mostly such files, and none of them may cost much. What
// a linker makes has its notes among the first bytes, and the names of its sections beside their
// headers at the end; everything else is left to the proper search (ElfDescription), which finds
// the same in such files, too.
#pragma once

#include "platform/images/ElfFile.h"

#include <cstring>
#include <string_view>

namespace tesker {

template <class Format> class ElfQuickLook {
public:
  static_assert(!Format::isSwapped);
  // An image of this format, borrowed.
  explicit ElfQuickLook(ElfBytes &image) : image_(image), start_(image.atHand(0)) {}

  // True when no note in it has an owner of that length, with a NUL or without, and no name of a
  // section has that text in it. False also when a glance does not tell.
  bool lacks(std::size_t ownerLength, std::string_view inNames) {
    if (start_.size() < sizeof header_)
      return false;
    std::memcpy(&header_, start_.data(), sizeof header_);
    return segmentsLack(ownerLength) && namesLack(inNames);
  }

  // After that, where it was true.
  std::uint16_t machine() const { return header_.e_machine; }

private:
  using Segment = typename Format::Segment;
  using Section = typename Format::Section;

  template <class Value> static Value at(const std::byte *bytes) {
    Value value;
    std::memcpy(&value, bytes, sizeof value);
    return value;
  }

  // Where no segment has notes, sections have to be asked for them, if there are any.
  bool segmentsLack(std::size_t ownerLength) const {
    if (header_.e_phentsize != sizeof(Segment) || header_.e_phoff > start_.size() ||
        header_.e_phnum > (start_.size() - header_.e_phoff) / sizeof(Segment))
      return false;
    bool hasNotes = false;
    const std::byte *row = start_.data() + header_.e_phoff;
    const std::byte *const end = row + header_.e_phnum * sizeof(Segment);
    for (; row != end; row += sizeof(Segment)) {
      if (at<std::uint32_t>(row + offsetof(Segment, p_type)) != PT_NOTE)
        continue;
      if (!notesLack(at<Segment>(row), ownerLength))
        return false;
      hasNotes = true;
    }
    return hasNotes || header_.e_shoff == 0;
  }

  bool notesLack(const Segment &segment, std::size_t ownerLength) const {
    if (segment.p_offset > start_.size() || segment.p_filesz > start_.size() - segment.p_offset)
      return false;
    const std::uint64_t mask = segment.p_align == 8 ? 7 : 3;
    const std::byte *note = start_.data() + segment.p_offset;
    std::uint64_t left = segment.p_filesz;
    while (left >= sizeof(Elf32_Nhdr)) {
      const std::uint64_t name = at<std::uint32_t>(note);
      const std::uint64_t text = at<std::uint32_t>(note + offsetof(Elf32_Nhdr, n_descsz));
      if (name == ownerLength || name == ownerLength + 1)
        return false;
      const std::uint64_t named = (sizeof(Elf32_Nhdr) + name + mask) & ~mask;
      const std::uint64_t length = (named + text + mask) & ~mask;
      if (length >= left)
        return true;
      note += length;
      left -= length;
    }
    return true;
  }

  bool namesLack(std::string_view inNames) {
    if (header_.e_shoff == 0)
      return true;
    const ByteRange table{header_.e_shoff, header_.e_shnum * sizeof(Section)};
    if (header_.e_shentsize != sizeof(Section) || header_.e_shstrndx >= header_.e_shnum ||
        !image_.contains(table))
      return false;
    image_.hold(table);
    const auto bytes = image_.atHand(table.offset + header_.e_shstrndx * sizeof(Section));
    if (bytes.size() < sizeof(Section))
      return false;
    const auto section = at<Section>(bytes.data());
    const auto names = image_.atHand(section.sh_offset);
    return section.sh_size <= names.size() &&
           std::string_view(reinterpret_cast<const char *>(names.data()),
                            static_cast<std::size_t>(section.sh_size))
                   .find(inNames) == std::string_view::npos;
  }

  ElfBytes &image_;
  const std::span<const std::byte> start_;
  typename Format::Header header_;
};

} // namespace tesker
