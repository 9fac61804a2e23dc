#include "examples/MachOWriter.h"

#include <algorithm>

namespace tesker::examples {

namespace {

constexpr std::uint32_t kMachHeaderSize = 28;
constexpr std::uint32_t kSegmentSize = 56;
constexpr std::uint32_t kSectionSize = 68;
constexpr std::uint32_t kPage = 4096;
constexpr std::uint32_t kPagePower = 12;

std::uint32_t roundedUp(std::size_t size, std::uint32_t unit) {
  return static_cast<std::uint32_t>((size + unit - 1) / unit * unit);
}

void appendName(std::string &out, std::string name) {
  name.resize(16, '\0');
  out += name;
}

// How much of the file the sections of one segment take.
template <class Segment> std::uint32_t sizeInFile(const Segment &segment) {
  std::uint32_t size = 0;
  for (const auto &section : segment.sections)
    size += roundedUp(section.bytes.size(), 4);
  return size;
}

} // namespace

void appendWord(std::string &out, std::uint32_t word, ByteOrder order) {
  for (unsigned i = 0; i < 4; ++i) {
    const unsigned shift = 8 * (order == ByteOrder::kLittle ? i : 3 - i);
    out += static_cast<char>(static_cast<unsigned char>(word >> shift));
  }
}

MachOWriter &MachOWriter::addSection(std::string_view segment, std::string_view section,
                                     std::string_view bytes) {
  segmentNamed(segment).sections.push_back({std::string(section), std::string(bytes)});
  return *this;
}

MachOWriter::Segment &MachOWriter::segmentNamed(std::string_view name) {
  const auto found = std::ranges::find(segments_, name, &Segment::name);
  return found != segments_.end() ? *found : segments_.emplace_back(Segment{std::string(name), {}});
}

std::uint32_t MachOWriter::sizeOfCommands() const {
  std::uint32_t size = 0;
  for (const Segment &segment : segments_)
    size += kSegmentSize + kSectionSize * static_cast<std::uint32_t>(segment.sections.size());
  return size;
}

void MachOWriter::appendHeader(std::string &out) const {
  constexpr std::uint32_t kMagic = 0xfeedface;
  constexpr std::uint32_t kExecutable = 2;
  constexpr std::uint32_t kNoUndefinedSymbols = 1;
  for (const std::uint32_t word :
       {kMagic, static_cast<std::uint32_t>(processor_.type),
        static_cast<std::uint32_t>(processor_.subtype), kExecutable,
        static_cast<std::uint32_t>(segments_.size()), sizeOfCommands(), kNoUndefinedSymbols})
    appendWord(out, word, processor_.order);
}

void MachOWriter::appendSegment(std::string &out, const Segment &segment, std::uint32_t offset,
                                std::uint32_t address) const {
  constexpr std::uint32_t kSegmentCommand = 1;
  constexpr std::uint32_t kReadAndExecute = 5;
  const auto words = [&](std::initializer_list<std::uint32_t> list) {
    for (const std::uint32_t word : list)
      appendWord(out, word, processor_.order);
  };
  const auto count = static_cast<std::uint32_t>(segment.sections.size());
  const std::uint32_t size = sizeInFile(segment);
  words({kSegmentCommand, kSegmentSize + kSectionSize * count});
  appendName(out, segment.name);
  words(
      {address, roundedUp(size, kPage), offset, size, kReadAndExecute, kReadAndExecute, count, 0});
  for (const Section &section : segment.sections) {
    appendName(out, section.name);
    appendName(out, segment.name);
    words({address, static_cast<std::uint32_t>(section.bytes.size()), offset, 0, 0, 0, 0, 0, 0});
    const std::uint32_t taken = roundedUp(section.bytes.size(), 4);
    offset += taken;
    address += taken;
  }
}

std::string MachOWriter::bytes() const {
  std::string out;
  appendHeader(out);
  std::uint32_t offset = kMachHeaderSize + sizeOfCommands();
  std::uint32_t address = kPage;
  for (const Segment &segment : segments_) {
    appendSegment(out, segment, offset, address);
    offset += sizeInFile(segment);
    address += roundedUp(sizeInFile(segment), kPage);
  }
  for (const Segment &segment : segments_)
    for (const Section &section : segment.sections) {
      out += section.bytes;
      out.resize(roundedUp(out.size(), 4), '\0');
    }
  return out;
}

std::string fatFile(const std::vector<FatMember> &members) {
  constexpr std::uint32_t kFatMagic = 0xcafebabe;
  constexpr std::uint32_t kFatHeaderSize = 8;
  constexpr std::uint32_t kRecordSize = 20;
  std::string out;
  appendWord(out, kFatMagic, ByteOrder::kBig);
  appendWord(out, static_cast<std::uint32_t>(members.size()), ByteOrder::kBig);
  std::uint32_t offset = roundedUp(kFatHeaderSize + kRecordSize * members.size(), kPage);
  for (const FatMember &member : members) {
    const auto size = static_cast<std::uint32_t>(member.image.size());
    for (const std::uint32_t word :
         {static_cast<std::uint32_t>(member.processor.type),
          static_cast<std::uint32_t>(member.processor.subtype), offset, size, kPagePower})
      appendWord(out, word, ByteOrder::kBig);
    offset += roundedUp(size, kPage);
  }
  for (const FatMember &member : members) {
    out.resize(roundedUp(out.size(), kPage), '\0');
    out += member.image;
  }
  return out;
}

} // namespace tesker::examples
