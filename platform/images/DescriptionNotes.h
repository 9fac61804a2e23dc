// DescriptionNotes.h - how an ELF file carries a description of itself.
//
// It has up to three texts, the same ones that a Mach-O file has in segment __ICON. Each is the
// descriptor of a note with this owner, in an allocated section (SHT_NOTE, SHF_ALLOC), for which
// linkers make a segment PT_NOTE; or all there is in a section (SHT_PROGBITS) of this name, as
// objcopy --add-section makes it. Linkers, GNU strip and llvm-strip keep allocated notes.
//
// In a note, numbers are in the byte order of the file, and the descriptor is padded to 4 bytes (8
// where the segment or section is aligned to 8).
#pragma once

#include <cstdint>
#include <string_view>

namespace tesker {

// A note's name: these 6 bytes and a NUL, which counts (n_namesz is 7).
inline constexpr std::string_view kDescriptionOwner = "Tesker";

// A note's type. Others are passed over, and so are notes of other owners.
enum class DescriptionNote : std::uint32_t {
  header = 1,   // the icon header: a text that the first NUL or the end ends
  services = 2, // that the program offers services, whatever is in it
  request = 3,  // the same
};

// The sections that stand for a note.
inline constexpr std::string_view kHeaderSection = "__ICON.__header";
inline constexpr std::string_view kServicesSection = "__ICON.__services";
inline constexpr std::string_view kRequestSection = "__ICON.__request";

} // namespace tesker
