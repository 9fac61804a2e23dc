// ImageSource.h - the bytes of a file image, wherever they are.
//
// Everything that looks into an executable reads through this: nothing is mapped, and nothing is
// read that was not asked for. A file that has become shorter than it was gives short reads.
#pragma once

#include "platform/foundation/Files.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <type_traits>

namespace tesker {

// A run of bytes of a file.
struct ByteRange {
  std::uint64_t offset;
  std::uint64_t size;
};

// In what an image contradicts itself, and where in the file.
struct ImageDamage {
  const char *what = nullptr; // nil while none is known
  std::uint64_t offset = 0;
};

class ImageSource {
public:
  virtual ~ImageSource() = default;
  // Length of the image in bytes, as it was when the source was made.
  virtual std::uint64_t size() const = 0;
  // Reads up to buffer.size() bytes at the offset; the number read, 0 at or beyond the end and on
  // an error.
  virtual std::size_t read(std::uint64_t offset, std::span<std::byte> buffer) = 0;
  // The first bytes, as many as are kept in memory for as long as the image lives. There may be
  // none.
  virtual std::span<const std::byte> start() const { return {}; }

  // True when the whole buffer could be filled.
  bool readExactly(std::uint64_t offset, std::span<std::byte> buffer);
  // True when the whole structure could be copied from the offset.
  template <class Structure> bool readStructure(std::uint64_t offset, Structure &structure) {
    static_assert(std::is_trivially_copyable_v<Structure>);
    return readExactly(offset, std::as_writable_bytes(std::span(&structure, 1)));
  }
  // The first four bytes, in this machine's byte order; 0 when there are fewer.
  std::uint32_t firstWord() {
    std::uint32_t word = 0;
    if (const auto bytes = start(); bytes.size() >= sizeof word)
      std::memcpy(&word, bytes.data(), sizeof word);
    else if (!readStructure(0, word))
      return 0;
    return word;
  }
};

// An image in memory, borrowed.
class MemoryImage final : public ImageSource {
public:
  explicit MemoryImage(std::span<const std::byte> bytes) : bytes_(bytes) {}
  std::uint64_t size() const override { return bytes_.size(); }
  std::size_t read(std::uint64_t offset, std::span<std::byte> buffer) override;
  std::span<const std::byte> start() const override { return bytes_; }

private:
  std::span<const std::byte> bytes_;
};

// An open regular file, owned. Two pieces of it are kept: its first bytes, since every question
// begins with them, and the piece that was read last, since headers are read in small steps.
class FileImage final : public ImageSource {
public:
  explicit FileImage(RegularFile &&file);
  FileImage(const FileImage &) = delete;
  FileImage &operator=(const FileImage &) = delete;

  std::uint64_t size() const override { return size_; }
  std::size_t read(std::uint64_t offset, std::span<std::byte> buffer) override;
  std::span<const std::byte> start() const override {
    return std::span(first_.bytes).first(first_.length);
  }

private:
  struct Piece {
    std::uint64_t offset = 0;
    std::size_t length = 0;
    std::array<std::byte, 4096> bytes;

    std::size_t copy(std::uint64_t from, std::span<std::byte> buffer) const;
  };
  std::size_t readFile(std::uint64_t offset, std::span<std::byte> buffer);
  void load(Piece &piece, std::uint64_t offset);

  FileDescriptor file_;
  std::uint64_t size_;
  Piece first_;
  Piece last_;
};

} // namespace tesker
