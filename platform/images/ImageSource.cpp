#include "platform/images/ImageSource.h"

#include "platform/foundation/ReadFailures.h"

#include <algorithm>
#include <cerrno>
#include <utility>

namespace tesker {

namespace {

// The length of the part of the wanted bytes that lies inside an image of that size.
std::size_t lengthInside(std::uint64_t size, std::uint64_t offset, std::size_t wanted) {
  return offset < size ? static_cast<std::size_t>(std::min<std::uint64_t>(wanted, size - offset))
                       : 0;
}

} // namespace

bool ImageSource::readExactly(std::uint64_t offset, std::span<std::byte> buffer) {
  while (!buffer.empty()) {
    const std::size_t got = read(offset, buffer);
    if (got == 0)
      return false;
    offset += got;
    buffer = buffer.subspan(got);
  }
  return true;
}

std::size_t MemoryImage::read(std::uint64_t offset, std::span<std::byte> buffer) {
  const std::size_t length = lengthInside(bytes_.size(), offset, buffer.size());
  if (length > 0)
    std::ranges::copy(bytes_.subspan(static_cast<std::size_t>(offset), length), buffer.begin());
  return length;
}

FileImage::FileImage(RegularFile &&file)
    : file_(std::move(file.descriptor)), size_(static_cast<std::uint64_t>(file.status.st_size)) {
  load(first_, 0);
}

// The bytes that the piece has of the wanted ones, which begin inside it; 0 when they do not.
std::size_t FileImage::Piece::copy(std::uint64_t from, std::span<std::byte> buffer) const {
  if (from < offset || from - offset >= length)
    return 0;
  const auto skipped = static_cast<std::size_t>(from - offset);
  const std::size_t count = std::min(buffer.size(), length - skipped);
  std::copy_n(bytes.begin() + static_cast<std::ptrdiff_t>(skipped), count, buffer.begin());
  return count;
}

std::size_t FileImage::readFile(std::uint64_t offset, std::span<std::byte> buffer) {
  const std::size_t length = lengthInside(size_, offset, buffer.size());
  if (length == 0)
    return 0;
  const ssize_t got = OperatingSystem::current().readAt(file_.number(), buffer.data(), length,
                                                        static_cast<off_t>(offset));
  if (got < 0)
    noteReadFailure(errno);
  return static_cast<std::size_t>(std::max<ssize_t>(got, 0));
}

void FileImage::load(Piece &piece, std::uint64_t offset) {
  piece.offset = offset;
  piece.length = readFile(offset, piece.bytes);
}

std::size_t FileImage::read(std::uint64_t offset, std::span<std::byte> buffer) {
  if (size_ > first_.bytes.size() && buffer.size() >= last_.bytes.size())
    return readFile(offset, buffer);
  if (const std::size_t count = first_.copy(offset, buffer))
    return count;
  if (const std::size_t count = last_.copy(offset, buffer))
    return count;
  load(last_, offset);
  return last_.copy(offset, buffer);
}

} // namespace tesker
