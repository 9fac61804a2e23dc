// MachOWriter.h - makes executables in the 32-bit Mach-O format, thin and fat.
//
// What it makes is well formed and always the same for the same input. It stands alone on purpose:
// it shares no structure and no number with the code that reads such files.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tesker::examples {

enum class ByteOrder { kLittle, kBig };

// A processor type and subtype, as the format numbers them, and how that processor orders bytes.
struct Processor {
  std::int32_t type;
  std::int32_t subtype;
  ByteOrder order;
};

inline constexpr Processor kI386{7, 3, ByteOrder::kLittle};
inline constexpr Processor kArm{12, 0, ByteOrder::kLittle};
inline constexpr Processor kPowerPC{18, 0, ByteOrder::kBig};
inline constexpr Processor kM68k{6, 1, ByteOrder::kBig};
inline constexpr Processor kSparc{14, 0, ByteOrder::kBig};

// Appends one word of 32 bits in that order.
void appendWord(std::string &out, std::uint32_t word, ByteOrder order);

// One thin image. Sections of the same segment stand in one segment command, in the order in which
// they were added; segments stand in the order in which they were first named.
class MachOWriter {
public:
  explicit MachOWriter(Processor processor) : processor_(processor) {}
  // Names are at most 16 bytes.
  MachOWriter &addSection(std::string_view segment, std::string_view section,
                          std::string_view bytes);
  std::string bytes() const;

private:
  struct Section {
    std::string name;
    std::string bytes;
  };
  struct Segment {
    std::string name;
    std::vector<Section> sections;
  };
  Segment &segmentNamed(std::string_view name);
  std::uint32_t sizeOfCommands() const;
  void appendHeader(std::string &out) const;
  void appendSegment(std::string &out, const Segment &segment, std::uint32_t offset,
                     std::uint32_t address) const;

  Processor processor_;
  std::vector<Segment> segments_;
};

// One architecture of a fat file.
struct FatMember {
  Processor processor;
  std::string image;
};

// A fat file of the members, in that order, each at a multiple of 4096 bytes.
std::string fatFile(const std::vector<FatMember> &members);

} // namespace tesker::examples
