// MachOBuilder.h - executables for tests: well-formed ones, any corruption of them, and what is
// read out of them. Link to tesker_images and tesker_macho_writer.
#pragma once

#include "examples/MachOWriter.h"
#include "platform/images/FatArch.h"
#include "platform/images/HostArchitecture.h"
#include "platform/images/ImageSource.h"
#include "platform/images/MachOImage.h"

#include <algorithm>
#include <cstdlib>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tesker::test {

using examples::ByteOrder;
using examples::fatFile;
using examples::FatMember;
using examples::kArm;
using examples::kI386;
using examples::kM68k;
using examples::kPowerPC;
using examples::kSparc;
using examples::MachOWriter;
using examples::Processor;

// The places of some words in a file, in bytes from its start (or its image's).
namespace at {
inline constexpr std::size_t kFileType = 12;
inline constexpr std::size_t kNumberOfCommands = 16;
inline constexpr std::size_t kSizeOfCommands = 20;
inline constexpr std::size_t kFirstCommand = 28;
inline constexpr std::size_t kCommandSize = 4;     // in a command
inline constexpr std::size_t kSegmentName = 8;     // in a segment command
inline constexpr std::size_t kSectionCount = 48;   // in a segment command
inline constexpr std::size_t kFirstSection = 56;   // in a segment command
inline constexpr std::size_t kSectionSegment = 16; // in a section entry
inline constexpr std::size_t kSectionSize = 36;    // in a section entry
inline constexpr std::size_t kSectionOffset = 40;  // in a section entry
inline constexpr std::size_t kSectionFlags = 56;   // in a section entry
inline constexpr std::size_t kRecordCount = 4;     // in a fat file
inline constexpr std::size_t kFirstRecord = 8;     // in a fat file
inline constexpr std::size_t kRecordOffset = 8;    // in a record
inline constexpr std::size_t kRecordSize = 12;     // in a record
} // namespace at

// Lengths of a section entry and of a fat record.
inline constexpr std::size_t kSectionEntry = 68;
inline constexpr std::size_t kFatRecord = 20;

// Well-formed bytes that are then made otherwise, step by step.
class MachOBuilder {
public:
  // A thin image; sections can be added until the first change.
  explicit MachOBuilder(Processor processor) : order_(processor.order), writer_(processor) {}
  // A fat file.
  explicit MachOBuilder(const std::vector<FatMember> &members)
      : order_(ByteOrder::kBig), bytes_(fatFile(members)) {}

  MachOBuilder &section(std::string_view segment, std::string_view name, std::string_view bytes) {
    writer_->addSection(segment, name, bytes);
    return *this;
  }
  // Replaces a word, in the byte order of the file.
  MachOBuilder &word(std::size_t offset, std::uint32_t value) {
    std::string bytes;
    examples::appendWord(bytes, value, order_);
    return text(offset, bytes);
  }
  MachOBuilder &text(std::size_t offset, std::string_view bytes) {
    written().replace(offset, bytes.size(), bytes);
    return *this;
  }
  // Cuts the file or lengthens it with zeros.
  MachOBuilder &resize(std::size_t size) {
    written().resize(size, '\0');
    return *this;
  }
  std::string bytes() { return written(); }

private:
  std::string &written() {
    if (writer_)
      bytes_ = std::exchange(writer_, std::nullopt)->bytes();
    return bytes_;
  }

  ByteOrder order_;
  std::optional<MachOWriter> writer_;
  std::string bytes_;
};

// A thin image with that text in its icon header.
inline MachOBuilder iconImage(Processor processor, std::string_view header) {
  MachOBuilder builder(processor);
  builder.section("__ICON", "__header", header);
  return builder;
}

// The string's bytes as an image; the string has to outlive it.
inline MemoryImage imageOf(const std::string &bytes) {
  return MemoryImage(std::as_bytes(std::span(bytes)));
}

// An image that ends earlier than it says, as a file does that has become shorter. Borrows the
// bytes.
class ShrunkImage final : public ImageSource {
public:
  ShrunkImage(const std::string &bytes, std::size_t left) : whole_(imageOf(bytes)), left_(left) {}
  std::uint64_t size() const override { return whole_.size(); }
  std::size_t read(std::uint64_t offset, std::span<std::byte> buffer) override {
    if (offset >= left_)
      return 0;
    return whole_.read(offset, buffer.first(std::min<std::size_t>(buffer.size(), left_ - offset)));
  }

private:
  MemoryImage whole_;
  std::size_t left_;
};

// The image in the file at the path; nothing where that is not a regular file.
inline std::optional<FileImage> openImage(const std::string &path) {
  auto file = openRegularFile(path.c_str());
  return file ? std::optional<FileImage>(std::in_place, std::move(*file)) : std::nullopt;
}

// The whole section of the best architecture, "(none)" when there is no such section.
inline std::string sectionText(ImageSource &image, std::string_view segment = "__ICON",
                               std::string_view section = "__header") {
  auto stream = QXGetStreamOnSectionForBestArchitecture(image, segment, section);
  if (!stream)
    return "(none)";
  std::string text;
  for (int byte = stream->next(); byte != SectionStream::kEnd; byte = stream->next())
    text += static_cast<char>(byte);
  return text;
}
inline std::string sectionText(const std::string &bytes, std::string_view segment = "__ICON",
                               std::string_view section = "__header") {
  MemoryImage image = imageOf(bytes);
  return sectionText(image, segment, section);
}

// Makes this machine's processor another one for as long as it lives.
class ScopedHostCpu {
public:
  explicit ScopedHostCpu(const char *name) {
    ::setenv("TESKER_HOST_CPU", name, 1);
    setCpu();
  }
  ~ScopedHostCpu() {
    ::unsetenv("TESKER_HOST_CPU");
    setCpu();
  }
  ScopedHostCpu(const ScopedHostCpu &) = delete;
  ScopedHostCpu &operator=(const ScopedHostCpu &) = delete;
};

} // namespace tesker::test
