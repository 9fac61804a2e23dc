// MachOMutator.cpp - changes images where it tells: in a word of a header, of a command or of a fat
// record, in a name, or in how often something stands there. What is left is an image.
#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <random>

extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t *data, std::size_t size, std::size_t most);

namespace {

constexpr std::array<std::uint32_t, 4> kMagics = {0xfeedface, 0xcefaedfe, 0xbebafeca, 0xcafebabe};
constexpr std::array<const char *, 6> kNames = {"__ICON",    "__header", "__services",
                                                "__request", "__TEXT",   ""};

class Mutation {
public:
  Mutation(std::uint8_t *data, std::size_t size, unsigned seed)
      : data_(data), size_(size), random_(seed) {}

  void makeOne() {
    // Headers and commands stand at the beginning.
    const std::size_t place = pick(std::min<std::size_t>(size_, 400) / 4) * 4;
    if (pick(4) == 0)
      putName(place);
    else
      putWord(place, pick(2) == 0 ? interestingNumber() : nudged(place));
    if (!hasMagic())
      std::memcpy(data_, &kMagics[pick(kMagics.size())], 4);
  }

private:
  std::size_t pick(std::size_t count) { return random_() % count; }

  // Near the borders of what can be true, or a processor or command.
  std::uint32_t interestingNumber() {
    const std::array<std::size_t, 12> numbers = {
        0, 1, 7, 12, 14, 18, 28, size_, size_ - 1, size_ + 1, 0x7fffffff, 0xffffffff};
    const auto number = static_cast<std::uint32_t>(numbers[pick(numbers.size())]);
    return pick(2) == 0 ? number : __builtin_bswap32(number); // in either byte order
  }
  std::uint32_t nudged(std::size_t place) {
    std::uint32_t word = 0;
    std::memcpy(&word, data_ + place, 4);
    const auto by = static_cast<std::uint32_t>(pick(9)) * 4 - 16;
    return pick(2) == 0 ? word + by : __builtin_bswap32(__builtin_bswap32(word) + by);
  }

  void putWord(std::size_t place, std::uint32_t word) { std::memcpy(data_ + place, &word, 4); }
  void putName(std::size_t place) {
    std::array<char, 16> name{};
    std::strncpy(name.data(), kNames[pick(kNames.size())], name.size());
    std::memcpy(data_ + place, name.data(), std::min(name.size(), size_ - place));
  }
  bool hasMagic() const {
    return std::ranges::any_of(
        kMagics, [&](std::uint32_t magic) { return std::memcmp(data_, &magic, 4) == 0; });
  }

  std::uint8_t *data_;
  std::size_t size_;
  std::minstd_rand random_;
};

} // namespace

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t *data, std::size_t size,
                                               std::size_t most, unsigned seed) {
  if (size < 8 || seed % 4 == 0) // now and then the usual way, which also changes the length
    return LLVMFuzzerMutate(data, size, most);
  Mutation(data, size, seed).makeOne();
  return size;
}
