// ElfTest.h - what is found in ELF files, as a text.
#pragma once

#include "platform/images/ElfDescription.h"
#include "tests/support/ElfBuilder.h"
#include "tests/support/MachOBuilder.h"

#include <string>

namespace tesker::test {

// "header=TEXT services=TEXT request=TEXT" of those that are there. "(outside)" in place of a text
// that is not in the file.
inline std::string described(ImageSource &image) {
  const auto found = elfDescriptionOf(image);
  if (!found)
    return "(not ELF)";
  std::string text;
  const auto add = [&](const char *name, const std::optional<ByteRange> &range) {
    if (!range)
      return;
    text.append(text.empty() ? "" : " ").append(name);
    if (range->offset > image.size() || range->size > image.size() - range->offset)
      text += "(outside)";
    SectionStream stream(image, *range);
    for (int byte = stream.next(); byte != SectionStream::kEnd; byte = stream.next())
      text += static_cast<char>(byte);
  };
  add("header=", found->header);
  add("services=", found->services);
  add("request=", found->request);
  return text;
}
inline std::string described(const std::string &bytes) {
  MemoryImage image = imageOf(bytes);
  return described(image);
}

} // namespace tesker::test
