#include "platform/images/MachO.h"

#include <bit>

namespace tesker {

namespace {

constexpr std::size_t kWordSize = sizeof(std::uint32_t);

// Reverses the words of the structure that stand outside [namesBegin, namesEnd), in bytes.
template <class Structure>
void swapWords(Structure &structure, std::size_t namesBegin = 0, std::size_t namesEnd = 0) {
  using Words = std::array<std::uint32_t, sizeof(Structure) / kWordSize>;
  auto words = std::bit_cast<Words>(structure);
  for (std::size_t i = 0; i < words.size(); ++i)
    if (i * kWordSize < namesBegin || i * kWordSize >= namesEnd)
      words[i] = __builtin_bswap32(words[i]);
  structure = std::bit_cast<Structure>(words);
}

} // namespace

void swap_mach_header(mach_header &header) { swapWords(header); }

void swap_load_command(load_command &command) { swapWords(command); }

void swap_segment_command(segment_command &command) {
  swapWords(command, offsetof(segment_command, segname), offsetof(segment_command, vmaddr));
}

void swap_section_entry(section_entry &entry) {
  swapWords(entry, offsetof(section_entry, sectname), offsetof(section_entry, addr));
}

void swap_fat_header(fat_header &header) { swapWords(header); }

void swap_fat_arch(fat_arch &record) { swapWords(record); }

} // namespace tesker
