#include "platform/images/ElfDescription.h"

#include "platform/images/DescriptionNotes.h"
#include "platform/images/ElfFile.h"
#include "platform/images/HostArchitecture.h"

#include <algorithm>
#include <array>
#include <bit>
#include <string_view>

namespace tesker {

namespace {

constexpr auto kMagic =
    std::bit_cast<std::uint32_t>(std::array<char, SELFMAG>{ELFMAG0, ELFMAG1, ELFMAG2, ELFMAG3});

// Stands in the name of each of our sections, and begins with a letter that other names hardly
// have, so that one look for it passes over a program that has none.
constexpr std::string_view kInAllNames = "CON.__";

// To a power of 2.
std::uint64_t alignedUp(std::uint64_t offset, std::uint64_t unit) {
  return (offset + unit - 1) & ~(unit - 1);
}

// One note, in bytes from its own start. Sums stay far below 64 bits.
struct Note {
  DescriptionNote type;
  std::uint64_t nameLength;
  std::uint64_t text;
  std::uint64_t textLength;
};

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
      if (const ByteRange run = file_.inside(Format::rangeOf(*segment));
          !image_.lacks(run, kDescriptionOwner))
        searchNotes(run, Format::host(segment->p_align));
    }
    if (isIncomplete())
      searchSections(!hasNotes);
    return true;
  }

private:
  bool isIncomplete() const { return !found_.header || (!found_.services && !found_.request); }

  void searchSections(bool forNotes) {
    file_.holdSections();
    if (forNotes) {
      auto sections = file_.sections(SHT_NOTE);
      while (const auto section = sections.next())
        if ((Format::host(section->sh_flags) & SHF_ALLOC) != 0)
          searchNotes(file_.inside(Format::rangeOf(*section)), Format::host(section->sh_addralign));
    }
    const ByteRange names = file_.sectionNames();
    image_.hold(names);
    if (!image_.lacks(names, kInAllNames))
      searchNames(names);
  }

  void searchNotes(ByteRange run, std::uint64_t align) {
    const std::uint64_t unit = align == 8 ? 8 : 4;
    while (notesLeft_ > 0) {
      --notesLeft_;
      const auto note = noteAt(run, unit);
      if (!note)
        return;
      if (isOurs(*note, run))
        takeNote(*note, run);
      const std::uint64_t length = alignedUp(note->text + note->textLength, unit);
      if (length >= run.size)
        return;
      run = {run.offset + length, run.size - length};
    }
  }

  // The one at the start of the run; nothing where not even its name lies in it.
  std::optional<Note> noteAt(const ByteRange &run, std::uint64_t unit) {
    Elf32_Nhdr header; // of both classes
    if (run.size < sizeof header || !image_.copy(run.offset, header))
      return std::nullopt;
    const std::uint64_t nameLength = Format::host(header.n_namesz);
    if (nameLength > run.size - sizeof header)
      return std::nullopt;
    // The padding of the last note may be missing.
    const std::uint64_t text = std::min(alignedUp(sizeof header + nameLength, unit), run.size);
    return Note{static_cast<DescriptionNote>(Format::host(header.n_type)), nameLength, text,
                Format::host(header.n_descsz)};
  }

  // Some write owners without the NUL.
  bool isOurs(const Note &note, const ByteRange &run) {
    std::array<char, kDescriptionOwner.size() + 1> owner{};
    if (note.nameLength != owner.size() && note.nameLength != kDescriptionOwner.size())
      return false;
    const auto name =
        std::as_writable_bytes(std::span(owner)).first(static_cast<std::size_t>(note.nameLength));
    return image_.read(run.offset + sizeof(Elf32_Nhdr), name) && owner.back() == '\0' &&
           std::string_view(owner.data()) == kDescriptionOwner;
  }

  void takeNote(const Note &note, const ByteRange &run) {
    std::optional<ByteRange> *const text = textOf(note.type);
    if (text == nullptr)
      return;
    if (note.textLength > run.size - note.text)
      return damaged("a note leaves its segment or section", run.offset);
    if (!*text)
      *text = ByteRange{run.offset + note.text, note.textLength};
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

  void searchNames(const ByteRange &names) {
    auto sections = file_.sections(SHT_PROGBITS);
    while (const auto section = sections.next()) {
      const std::uint64_t name = Format::host(section->sh_name);
      if (name < names.size && (Format::host(section->sh_flags) & SHF_COMPRESSED) == 0)
        takeNamed({names.offset + name, names.size - name}, Format::rangeOf(*section));
    }
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
    if (section.offset > image_.size() || section.size > image_.size() - section.offset)
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

template <bool is64> bool search(ElfBytes &image, unsigned char order, ElfDescription &found) {
  constexpr unsigned char kOurs =
      std::endian::native == std::endian::little ? ELFDATA2LSB : ELFDATA2MSB;
  constexpr unsigned char kOther = kOurs == ELFDATA2LSB ? ELFDATA2MSB : ELFDATA2LSB;
  if (order == kOurs)
    return DescriptionSearch<ElfFormat<is64, false>>(image, found).run();
  return order == kOther && DescriptionSearch<ElfFormat<is64, true>>(image, found).run();
}

} // namespace

bool isElf(ImageSource &image) { return image.firstWord() == kMagic; }

std::optional<ElfDescription> elfDescriptionOf(ImageSource &image) {
  std::optional<ElfDescription> found;
  if (!isElf(image))
    return found;
  ElfBytes bytes(image);
  std::array<unsigned char, EI_NIDENT> ident;
  if (!bytes.copy(0, ident))
    return found;
  found.emplace();
  const unsigned char size = ident[EI_CLASS];
  const unsigned char order = ident[EI_DATA];
  const bool isWhole = size == ELFCLASS64   ? search<true>(bytes, order, *found)
                       : size == ELFCLASS32 && search<false>(bytes, order, *found);
  if (!isWhole)
    found.reset();
  return found;
}

bool runsHere(const ElfDescription &program) { return runs(elfHost(), program.machine); }

} // namespace tesker
