// ElfFile.h - the header of an ELF file and its two tables.
//
// Everything here is made four times, for files of 32 and 64 bits, in this machine's byte order and
// in the other one. Of what a file announces only that counts which lies inside it; structures are
// copied out of it, and numbers widened to 64 bits before anything is done with them.
#pragma once

#include "platform/images/ImageSource.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <elf.h>
#include <optional>
#include <type_traits>

namespace tesker {

// Rows of a table behind this many are not read, without a message. Real programs have some dozen;
// a file could announce billions and keep the search busy for minutes.
inline constexpr std::uint64_t kMostElfRows = 100'000;

// The structures of a file, and its numbers turned into host order (or back).
template <bool is64Bits, bool isOtherOrder> struct ElfFormat {
  static constexpr bool is64 = is64Bits;
  static constexpr bool isSwapped = isOtherOrder;
  using Header = std::conditional_t<is64Bits, Elf64_Ehdr, Elf32_Ehdr>;
  using Segment = std::conditional_t<is64Bits, Elf64_Phdr, Elf32_Phdr>;
  using Section = std::conditional_t<is64Bits, Elf64_Shdr, Elf32_Shdr>;

  template <class Number> static Number host(Number number) {
    static_assert(std::is_unsigned_v<Number>);
    if constexpr (!isOtherOrder)
      return number;
    else if constexpr (sizeof(Number) == 2)
      return __builtin_bswap16(number);
    else if constexpr (sizeof(Number) == 4)
      return __builtin_bswap32(number);
    else
      return __builtin_bswap64(number);
  }
  static ByteRange rangeOf(const Segment &segment) {
    return {host(segment.p_offset), host(segment.p_filesz)};
  }
  static ByteRange rangeOf(const Section &section) {
    return {host(section.sh_offset), host(section.sh_size)};
  }
};

// An image of which the first bytes are at hand, and those before some later place, too.
class ElfBytes {
public:
  explicit ElfBytes(ImageSource &image)
      : image_(image), size_(image.size()), start_(image.start()) {}

  std::uint64_t size() const { return size_; }
  // The bytes from the offset on that need no read, until the next hold(). There may be none.
  std::span<const std::byte> atHand(std::uint64_t offset) const {
    if (offset - heldOffset_ < heldLength_)
      return std::span<const std::byte>(held_.data(), heldLength_)
          .subspan(static_cast<std::size_t>(offset - heldOffset_));
    return offset < start_.size() ? start_.subspan(static_cast<std::size_t>(offset))
                                  : std::span<const std::byte>();
  }
  // Whether the whole range is in the image.
  bool contains(const ByteRange &range) const {
    return range.offset <= size_ && range.size <= size_ - range.offset;
  }
  // Has the end of the range at hand, and as much before it as one read brings, where not all of
  // the range is.
  void hold(const ByteRange &range) {
    if (atHand(range.offset).size() >= range.size)
      return;
    const std::uint64_t end = range.offset + range.size;
    heldOffset_ = end - std::min<std::uint64_t>(end, held_.size());
    heldLength_ = image_.read(heldOffset_, held_);
  }
  // True when the whole buffer could be filled.
  bool read(std::uint64_t offset, std::span<std::byte> buffer) {
    const auto bytes = atHand(offset);
    if (bytes.size() < buffer.size())
      return image_.readExactly(offset, buffer);
    std::memcpy(buffer.data(), bytes.data(), buffer.size());
    return true;
  }
  // True when the whole structure could be copied from the offset.
  template <class Structure> bool copy(std::uint64_t offset, Structure &structure) {
    static_assert(std::is_trivially_copyable_v<Structure>);
    return read(offset, std::as_writable_bytes(std::span(&structure, 1)));
  }

private:
  ImageSource &image_;
  const std::uint64_t size_;
  const std::span<const std::byte> start_;
  std::uint64_t heldOffset_ = 0;
  std::size_t heldLength_ = 0;
  std::array<std::byte, 4096> held_;
};

// The rows of a table that have a certain type, in file order, as they stand in the file.
template <class Format, class Row> class ElfRows {
public:
  // All rows lie in the image, which is borrowed.
  ElfRows(ElfBytes &image, ByteRange table, std::uint32_t type)
      : image_(image), next_(table.offset), end_(table.offset + table.size),
        type_(Format::host(type)) {}

  // Nothing after the last one, and when the file turns out to be shorter than it was.
  std::optional<Row> next() {
    Row row;
    while (next_ < end_ && image_.copy(next_, row)) {
      next_ += sizeof row;
      if (typeOf(row) == type_)
        return row;
    }
    return std::nullopt;
  }

private:
  static std::uint32_t typeOf(const Row &row) {
    if constexpr (std::is_same_v<Row, typename Format::Section>)
      return row.sh_type;
    else
      return row.p_type;
  }

  ElfBytes &image_;
  std::uint64_t next_;
  std::uint64_t end_;
  std::uint32_t type_;
};

template <class Format> class ElfFile {
public:
  using Segment = typename Format::Segment;
  using Section = typename Format::Section;

  // An image that begins as files of this format do, borrowed.
  explicit ElfFile(ElfBytes &image) : image_(image) {}

  // Reads the header; false when there is none. To be called first.
  [[nodiscard]] bool open() {
    typename Format::Header header;
    if (!image_.copy(0, header))
      return false;
    machine_ = Format::host(header.e_machine);
    std::uint64_t segmentCount = Format::host(header.e_phnum);
    std::uint64_t sectionCount = Format::host(header.e_shnum);
    namesIndex_ = Format::host(header.e_shstrndx);
    Section first; // which has the numbers that are too large for the header
    const bool isExtended =
        sectionCount == 0 || segmentCount == PN_XNUM || namesIndex_ == SHN_XINDEX;
    if (isExtended && header.e_shoff != 0 && image_.copy(Format::host(header.e_shoff), first)) {
      sectionCount = sectionCount == 0 ? Format::host(first.sh_size) : sectionCount;
      segmentCount = segmentCount == PN_XNUM ? Format::host(first.sh_info) : segmentCount;
      namesIndex_ = namesIndex_ == SHN_XINDEX ? Format::host(first.sh_link) : namesIndex_;
    }
    segments_ = table<Segment>(header.e_phoff, header.e_phentsize, segmentCount);
    sections_ = table<Section>(header.e_shoff, header.e_shentsize, sectionCount);
    return true;
  }

  std::uint16_t machine() const { return machine_; }

  ElfRows<Format, Segment> segments(std::uint32_t type) const { return {image_, segments_, type}; }
  ElfRows<Format, Section> sections(std::uint32_t type) const { return {image_, sections_, type}; }

  // To be called before sections and their names are asked for, which mostly stand together at the
  // end of the file: one read has all of them at hand.
  void holdSections() const { image_.hold(sections_); }

  // Where the names of the sections are, as far as that is in the file; empty when they have none.
  ByteRange sectionNames() const {
    Section row;
    if (namesIndex_ >= sections_.size / sizeof(Section) ||
        !image_.copy(sections_.offset + namesIndex_ * sizeof(Section), row))
      return {};
    return inside(Format::rangeOf(row));
  }

  // What of the range is in the file.
  ByteRange inside(const ByteRange &range) const {
    const std::uint64_t size = image_.size();
    return range.offset > size ? ByteRange{}
                               : ByteRange{range.offset, std::min(range.size, size - range.offset)};
  }

private:
  // A table of that many rows, as far as it is in the file and looked at. One whose rows are of
  // another size than they have, or that begins where the file does, is not there.
  template <class Row, class Offset>
  ByteRange table(Offset offset, std::uint16_t rowSize, std::uint64_t count) const {
    const std::uint64_t start = Format::host(offset);
    if (start == 0 || start > image_.size() || Format::host(rowSize) != sizeof(Row))
      return {};
    const std::uint64_t room = image_.size() - start;
    const std::uint64_t wanted = std::min(count, kMostElfRows) * sizeof(Row);
    return {start, wanted <= room ? wanted : room / sizeof(Row) * sizeof(Row)};
  }

  ElfBytes &image_;
  std::uint16_t machine_ = 0;
  ByteRange segments_{};
  ByteRange sections_{};
  std::uint64_t namesIndex_ = 0;
};

} // namespace tesker
