#include "platform/images/ElfDescription.h"

#include "platform/images/DescriptionNotes.h"
#include "platform/images/ElfFile.h"
#include "platform/images/ElfQuickLook.h"
#include "platform/images/HostArchitecture.h"

#include <algorithm>
#include <array>
#include <bit>
#include <string_view>

namespace tesker {

namespace {

constexpr auto kMagic =
    std::bit_cast<std::uint32_t>(std::array<char, SELFMAG>{ELFMAG0, ELFMAG1, ELFMAG2, ELFMAG3});

// To a power of 2.
std::uint64_t alignedUp(std::uint64_t offset, std::uint64_t unit) {
  return (offset + unit - 1) & ~(unit - 1);
}

template <class Format> class DescriptionSearch {
public:
  DescriptionSearch(ElfBytes &image, ElfDescription &found)
      : image_(image), file_(image), found_(found) {}

  // False when the image has no whole header.
  bool run() {
    if (!file_.open())
      return false;
    found_.machine = {file_.machine(), Format::is64,
                      Format::isSwapped == (std::endian::native == std::endian::little)};
    bool hasNotes = false;
    auto segments = file_.segments(PT_NOTE);
    while (const auto segment = segments.next()) {
      hasNotes = true;
      searchSegment(file_.inside(Format::rangeOf(*segment)), Format::host(segment->p_align));
    }
    if (isIncomplete())
      searchSections(!hasNotes);
    return true;
  }

private:
  bool isIncomplete() const { return !found_.header || (!found_.services && !found_.request); }

  // Some linkers put notes that are padded to 4 bytes behind others in one segment aligned to 8.
  void searchSegment(const ByteRange &notes, std::uint64_t align) {
    searchNotes(notes, align);
    if (align == 8 && isIncomplete())
      searchNotes(notes, 4);
  }

  void searchSections(bool forNotes) {
    file_.holdSections();
    if (forNotes) {
      auto sections = file_.sections(SHT_NOTE);
      while (const auto section = sections.next())
        if ((Format::host(section->sh_flags) & SHF_ALLOC) != 0)
          searchNotes(file_.inside(Format::rangeOf(*section)), Format::host(section->sh_addralign));
    }
    const ByteRange names = file_.sectionNames();
    auto sections = file_.sections(SHT_PROGBITS);
    while (const auto section = sections.next()) {
      const std::uint64_t name = Format::host(section->sh_name);
      if (name < names.size && (Format::host(section->sh_flags) & SHF_COMPRESSED) == 0)
        takeNamed({names.offset + name, names.size - name}, Format::rangeOf(*section));
    }
  }

  // The notes of a run that is in the file, while their names lie in it. Sums stay far below 64
  // bits.
  void searchNotes(ByteRange run, std::uint64_t align) {
    const std::uint64_t unit = align == 8 ? 8 : 4;
    Elf32_Nhdr header; // of both classes
    while (notesLeft_ > 0 && run.size >= sizeof header && image_.copy(run.offset, header)) {
      --notesLeft_;
      const std::uint64_t nameLength = Format::host(header.n_namesz);
      const std::uint64_t textLength = Format::host(header.n_descsz);
      if (nameLength > run.size - sizeof header)
        return;
      // The padding of the last note may be missing.
      const std::uint64_t text = std::min(alignedUp(sizeof header + nameLength, unit), run.size);
      if (isOurs(run.offset + sizeof header, nameLength))
        takeNote(Format::host(header.n_type), run, {text, textLength});
      const std::uint64_t length = alignedUp(text + textLength, unit);
      if (length >= run.size)
        return;
      run = {run.offset + length, run.size - length};
    }
  }

  // Some write owners without the NUL.
  bool isOurs(std::uint64_t offset, std::uint64_t length) {
    std::array<char, kDescriptionOwner.size() + 1> owner{};
    if (length != owner.size() && length != kDescriptionOwner.size())
      return false;
    const auto name =
        std::as_writable_bytes(std::span(owner)).first(static_cast<std::size_t>(length));
    return image_.read(offset, name) && owner.back() == '\0' &&
           std::string_view(owner.data()) == kDescriptionOwner;
  }

  // The note that the run begins with, and the text in it.
  void takeNote(std::uint32_t type, const ByteRange &run, const ByteRange &inNote) {
    std::optional<ByteRange> *const text = textOf(static_cast<DescriptionNote>(type));
    if (text == nullptr)
      return;
    if (inNote.size > run.size - inNote.offset)
      return damaged("a note leaves its segment or section", run.offset);
    if (!*text)
      *text = ByteRange{run.offset + inNote.offset, inNote.size};
  }

  // Nil for a type that is not known.
  std::optional<ByteRange> *textOf(DescriptionNote type) {
    switch (type) {
    case DescriptionNote::header:
      return &found_.header;
    case DescriptionNote::services:
      return &found_.services;
    case DescriptionNote::request:
      return &found_.request;
    }
    return nullptr;
  }

  void takeNamed(const ByteRange &name, const ByteRange &section) {
    std::array<char, kServicesSection.size() + 1> bytes{}; // the longest one, and its NUL
    const auto length = static_cast<std::size_t>(std::min<std::uint64_t>(bytes.size(), name.size));
    if (!image_.read(name.offset, std::as_writable_bytes(std::span(bytes)).first(length)))
      return;
    const std::string_view text(bytes.begin(), std::ranges::find(bytes, '\0'));
    std::optional<ByteRange> *const taken = text == kHeaderSection     ? &found_.header
                                            : text == kServicesSection ? &found_.services
                                            : text == kRequestSection  ? &found_.request
                                                                       : nullptr;
    if (taken == nullptr)
      return;
    if (!image_.contains(section))
      return damaged("a section leaves the image", section.offset);
    if (!*taken)
      *taken = ByteRange{section.offset, std::min(section.size, kLongestElfText)};
  }

  void damaged(const char *what, std::uint64_t offset) {
    if (found_.damage.what == nullptr)
      found_.damage = {what, offset};
  }

  ElfBytes &image_;
  ElfFile<Format> file_;
  ElfDescription &found_;
  std::size_t notesLeft_ = kMostElfNotes;
};

template <bool is64, bool isSwapped> std::optional<ElfDescription> search(ElfBytes &image) {
  std::optional<ElfDescription> found(std::in_place);
  if (!DescriptionSearch<ElfFormat<is64, isSwapped>>(image, *found).run())
    found.reset();
  return found;
}

constexpr unsigned char kOurOrder =
    std::endian::native == std::endian::little ? ELFDATA2LSB : ELFDATA2MSB;

std::optional<ElfDescription> search(ElfBytes &image, bool is64, bool isSwapped) {
  if (is64)
    return isSwapped ? search<true, true>(image) : search<true, false>(image);
  return isSwapped ? search<false, true>(image) : search<false, false>(image);
}

} // namespace

bool isElf(ImageSource &image) { return image.firstWord() == kMagic; }

std::optional<ElfDescription> elfDescriptionOf(ImageSource &image) {
  std::array<unsigned char, EI_NIDENT> ident;
  if (!isElf(image))
    return std::nullopt;
  ElfBytes bytes(image);
  if (!bytes.copy(0, ident))
    return std::nullopt;
  const unsigned char size = ident[EI_CLASS];
  const unsigned char order = ident[EI_DATA];
  if ((size != ELFCLASS32 && size != ELFCLASS64) || (order != ELFDATA2LSB && order != ELFDATA2MSB))
    return std::nullopt;
  if (order == kOurOrder && clearlySaysNothing(bytes, size == ELFCLASS64))
    return std::optional<ElfDescription>(std::in_place);
  return search(bytes, size == ELFCLASS64, order != kOurOrder);
}

bool runsHere(const ElfDescription &program) { return runs(elfHost(), program.machine); }

} // namespace tesker
