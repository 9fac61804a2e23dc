// DescribingImage.h - executables that describe themselves, as tests of what is found need them.
// Link to tesker_macho_writer.
#pragma once

#include "examples/MachOWriter.h"

#include <string>
#include <string_view>

namespace tesker::test {

// An i386 executable that carries the header's text.
inline std::string imageWithHeader(std::string_view header) {
  return examples::MachOWriter(examples::kI386).addSection("__ICON", "__header", header).bytes();
}

// One of an application of that name, with no types.
inline std::string describingItself(std::string_view name) {
  return imageWithHeader("F\t" + std::string(name) + "\tApplication\ticon\n");
}

} // namespace tesker::test
