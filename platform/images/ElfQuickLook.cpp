#include "platform/images/ElfQuickLook.h"

#include "platform/images/DescriptionNotes.h"

#include <algorithm>
#include <cstring>
#include <string_view>

namespace tesker {

namespace {

// Stands in the name of each of our sections, and begins with a letter that other names hardly
// have.
constexpr std::string_view kInAllNames = "CON.__";

// Whether all those bytes are at hand, and the text is not among them.
bool lack(std::span<const std::byte> bytes, std::uint64_t size, std::string_view text) {
  return size <= bytes.size() && std::string_view(reinterpret_cast<const char *>(bytes.data()),
                                                  static_cast<std::size_t>(size))
                                         .find(text) == std::string_view::npos;
}

template <class Format> class QuickLook {
public:
  // An image that begins with this header.
  QuickLook(ElfBytes &image, const typename Format::Header &header)
      : image_(image), header_(header), start_(image.atHand(0)) {}

  // Looks at everything from the first note to the last one, whatever is between them.
  bool hasOnlyOtherNotes() const {
    if (header_.e_phentsize != sizeof(Segment) || header_.e_phnum == PN_XNUM ||
        header_.e_phoff == 0 || header_.e_phoff > start_.size() ||
        header_.e_phnum > (start_.size() - header_.e_phoff) / sizeof(Segment))
      return false;
    std::uint64_t first = start_.size();
    std::uint64_t end = 0;
    const std::byte *row = start_.data() + header_.e_phoff;
    const std::byte *const last = row + header_.e_phnum * sizeof(Segment);
    for (; row != last; row += sizeof(Segment)) {
      if (numberAt<std::uint32_t>(row + offsetof(Segment, p_type)) != PT_NOTE)
        continue;
      const std::uint64_t offset = numberAt<Number>(row + offsetof(Segment, p_offset));
      const std::uint64_t size = numberAt<Number>(row + offsetof(Segment, p_filesz));
      if (offset > start_.size() || size > start_.size() - offset)
        return false;
      first = std::min(first, offset);
      end = std::max(end, offset + size);
    }
    return first < end &&
           lack(start_.subspan(static_cast<std::size_t>(first)), end - first, kDescriptionOwner);
  }

  bool hasOnlyOtherSections() {
    if (header_.e_shoff == 0)
      return true;
    const ByteRange table{header_.e_shoff, header_.e_shnum * sizeof(Section)};
    if (header_.e_shentsize != sizeof(Section) || header_.e_shstrndx >= header_.e_shnum ||
        !image_.contains(table))
      return false;
    image_.hold(table);
    const auto row = image_.atHand(table.offset + header_.e_shstrndx * sizeof(Section));
    return row.size() >= sizeof(Section) &&
           lack(image_.atHand(numberAt<Number>(row.data() + offsetof(Section, sh_offset))),
                numberAt<Number>(row.data() + offsetof(Section, sh_size)), kInAllNames);
  }

private:
  using Segment = typename Format::Segment;
  using Section = typename Format::Section;
  using Number = decltype(Segment::p_offset); // all offsets and sizes are such ones

  // Only what is asked for: a copy of each row would be most of the work.
  template <class Value> static Value numberAt(const std::byte *bytes) {
    Value value;
    std::memcpy(&value, bytes, sizeof value);
    return value;
  }

  ElfBytes &image_;
  const typename Format::Header &header_;
  const std::span<const std::byte> start_;
};

template <class Format> bool looksMute(ElfBytes &image) {
  typename Format::Header header;
  if (!image.copy(0, header))
    return false;
  QuickLook<Format> look(image, header);
  return look.hasOnlyOtherNotes() && look.hasOnlyOtherSections();
}

} // namespace

bool clearlySaysNothing(ElfBytes &image, bool is64) {
  return is64 ? looksMute<ElfFormat<true, false>>(image)
              : looksMute<ElfFormat<false, false>>(image);
}

} // namespace tesker
