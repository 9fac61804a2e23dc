// MachOFuzzer.cpp - everything that is asked of an executable file, asked of any bytes.
#include "fuzz/Check.h"
#include "parsing/ArchitectureCheck.h"
#include "platform/images/MachOImage.h"

#include <cstdint>

using namespace tesker;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  MemoryImage image(std::as_bytes(std::span(data, size)));
  const Suitability suitability = isSuitableArchitecture(image);
  const NSString names = getArchNamesInternal(image);
  // A fat file that announces too much is found out by both.
  check(names || suitability == Suitability::cannotTell);
  for (const char *section : {"__services", "__request", "__header"}) {
    auto stream = QXGetStreamOnSectionForBestArchitecture(image, "__ICON", section);
    std::size_t length = 0;
    while (stream && stream->next() != SectionStream::kEnd)
      ++length;
    check(length <= size);
  }
  return 0;
}
