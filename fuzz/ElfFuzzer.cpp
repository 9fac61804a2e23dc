// ElfFuzzer.cpp - what an ELF file says of itself, asked of any bytes: with all of them at hand,
// and with none.
#include "fuzz/Check.h"
#include "parsing/ArchitectureCheck.h"
#include "platform/images/MachOImage.h"

#include <cstdint>

using namespace tesker;

namespace {

// Every byte is read when it is asked for.
class ReadImage final : public ImageSource {
public:
  explicit ReadImage(MemoryImage &image) : image_(image) {}
  std::uint64_t size() const override { return image_.size(); }
  std::size_t read(std::uint64_t offset, std::span<std::byte> buffer) override {
    return image_.read(offset, buffer);
  }

private:
  MemoryImage &image_;
};

bool areEqual(const std::optional<ByteRange> &one, const std::optional<ByteRange> &other) {
  return one ? other && one->offset == other->offset && one->size == other->size : !other;
}

void checkText(ImageSource &image, const std::optional<ByteRange> &text) {
  if (!text)
    return;
  check(text->offset <= image.size() && text->size <= image.size() - text->offset);
  SectionStream stream(image, *text);
  std::uint64_t length = 0;
  while (stream.next() != SectionStream::kEnd)
    ++length;
  check(length == text->size);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  MemoryImage image(std::as_bytes(std::span(data, size)));
  ReadImage slow(image);
  const auto found = elfDescriptionOf(image);
  const auto again = elfDescriptionOf(slow);
  check(found.has_value() == again.has_value());
  if (!found)
    return 0;
  check(areEqual(found->header, again->header) && areEqual(found->services, again->services) &&
        areEqual(found->request, again->request) && found->damage.what == again->damage.what);
  for (const auto &text : {found->header, found->services, found->request})
    checkText(image, text);
  // Who says nothing is not objected to.
  check(isSuitableArchitecture(image) == suitabilityOf(*found));
  check(!found->isEmpty() || suitabilityOf(*found) == Suitability::suitable);
  check(found->isEmpty() ? getArchNamesInternal(image).length() == 0
                         : bool(getArchNamesInternal(image)));
  return 0;
}
