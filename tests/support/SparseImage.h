// SparseImage.h - an image of any size that holds zeros but for a few pieces, and counts its reads.
#pragma once

#include "platform/images/ImageSource.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <string>
#include <utility>

namespace tesker::test {

class SparseImage final : public ImageSource {
public:
  explicit SparseImage(std::uint64_t size) : size_(size) {}
  // The pieces stay inside the image and apart from each other.
  SparseImage &write(std::uint64_t offset, std::string bytes) {
    pieces_[offset] = std::move(bytes);
    return *this;
  }

  std::uint64_t size() const override { return size_; }
  std::size_t read(std::uint64_t offset, std::span<std::byte> buffer) override {
    ++reads;
    const auto length =
        offset < size_
            ? static_cast<std::size_t>(std::min<std::uint64_t>(buffer.size(), size_ - offset))
            : 0;
    std::ranges::fill(buffer.first(length), std::byte{0});
    for (const auto &[start, bytes] : pieces_) {
      const std::uint64_t from = std::max(offset, start);
      const std::uint64_t to = std::min(offset + length, start + bytes.size());
      if (from < to)
        std::memcpy(buffer.data() + (from - offset), bytes.data() + (from - start), to - from);
    }
    return length;
  }

  std::size_t reads = 0;

private:
  std::uint64_t size_;
  std::map<std::uint64_t, std::string> pieces_;
};

} // namespace tesker::test
