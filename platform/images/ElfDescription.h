// ElfDescription.h - where in an ELF file its description of itself stands.
//
// What it looks like there, DescriptionNotes.h says. The notes that the program headers lead to
// come first, then those of the allocated note sections, then the sections with a name; of what
// stands there twice, the first counts.
#pragma once

#include "platform/images/ImageSource.h"
#include "platform/ports/ElfProcessors.h"

#include <cstdint>
#include <optional>

namespace tesker {

// Notes behind this many in one file are not looked at, without a message. Real programs have a
// handful.
inline constexpr std::size_t kMostElfNotes = 100'000;

// No more of a text is read: a Mach-O file could not have a longer one.
inline constexpr std::uint64_t kLongestElfText = 0xffffffff;

struct ElfDescription {
  ElfMachine machine = {}; // of a file that has any of the texts
  // Each lies in the file; nothing where there is none.
  std::optional<ByteRange> header = {};
  std::optional<ByteRange> services = {};
  std::optional<ByteRange> request = {};
  // The first note or section that should have been one of these, and leaves the file. What is
  // wrong elsewhere in the file is nobody's business here.
  ImageDamage damage = {};

  bool isEmpty() const { return !header && !services && !request; }
};

// Whether the image begins as ELF files do.
[[nodiscard]] bool isElf(ImageSource &image);

// Nothing when the image does not begin with the whole header of an ELF file.
[[nodiscard]] std::optional<ElfDescription> elfDescriptionOf(ImageSource &image);

// Whether this machine runs the program.
[[nodiscard]] bool runsHere(const ElfDescription &program);

} // namespace tesker
