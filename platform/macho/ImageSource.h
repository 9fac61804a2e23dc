// ImageSource.h - the bytes of a file image, wherever they are.
//
// Everything that looks into an executable reads through this: nothing is mapped, and nothing is
// read that was not asked for. A file that has become shorter than it was gives short reads.
#pragma once

#include "platform/foundation/FileDescriptor.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace tesker {

class ImageSource {
public:
  virtual ~ImageSource() = default;
  // Length of the image in bytes, as it was when the source was made.
  virtual std::uint64_t size() const = 0;
  // Reads up to buffer.size() bytes at the offset; the number read, 0 at or beyond the end and on
  // an error.
  virtual std::size_t read(std::uint64_t offset, std::span<std::byte> buffer) = 0;

  // True when the whole buffer could be filled.
  bool readExactly(std::uint64_t offset, std::span<std::byte> buffer);
};

// An image in memory, borrowed.
class MemoryImage final : public ImageSource {
public:
  explicit MemoryImage(std::span<const std::byte> bytes) : bytes_(bytes) {}
  std::uint64_t size() const override { return bytes_.size(); }
  std::size_t read(std::uint64_t offset, std::span<std::byte> buffer) override;

private:
  std::span<const std::byte> bytes_;
};

// An open regular file, owned. Its first bytes are kept, since every question begins with them.
class FileImage final : public ImageSource {
public:
  // Nothing when the file cannot be opened or examined, or is no regular file.
  [[nodiscard]] static std::optional<FileImage> open(const char *path);
  std::uint64_t size() const override { return size_; }
  std::size_t read(std::uint64_t offset, std::span<std::byte> buffer) override;

private:
  FileImage(FileDescriptor file, std::uint64_t size) : file_(std::move(file)), size_(size) {}
  FileDescriptor file_;
  std::uint64_t size_;
};

} // namespace tesker
