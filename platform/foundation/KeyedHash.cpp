#include "platform/foundation/KeyedHash.h"

#include <array>
#include <bit>
#include <cstdint>
#include <cstring>
#include <sys/auxv.h>

namespace tesker {

namespace {

using Key = std::array<std::uint64_t, 2>;

// The 16 random bytes that the kernel hands to every program it starts.
Key keyOfTheProcess() {
  Key key{};
  if (const unsigned long random = getauxval(AT_RANDOM))
    std::memcpy(key.data(), reinterpret_cast<const void *>(random), sizeof key);
  return key;
}

class SipHash {
public:
  explicit SipHash(const Key &key)
      : a_(key[0] ^ 0x736f6d6570736575), b_(key[1] ^ 0x646f72616e646f6d),
        c_(key[0] ^ 0x6c7967656e657261), d_(key[1] ^ 0x7465646279746573) {}

  void add(std::uint64_t word) {
    d_ ^= word;
    round();
    a_ ^= word;
  }

  std::uint64_t finish() {
    c_ ^= 0xff;
    for (int i = 0; i < 3; ++i)
      round();
    return a_ ^ b_ ^ c_ ^ d_;
  }

private:
  void round() {
    a_ += b_;
    b_ = std::rotl(b_, 13) ^ a_;
    a_ = std::rotl(a_, 32);
    c_ += d_;
    d_ = std::rotl(d_, 16) ^ c_;
    a_ += d_;
    d_ = std::rotl(d_, 21) ^ a_;
    c_ += b_;
    b_ = std::rotl(b_, 17) ^ c_;
    c_ = std::rotl(c_, 32);
  }

  std::uint64_t a_, b_, c_, d_;
};

} // namespace

std::size_t keyedHash(std::string_view bytes) {
  static const Key key = keyOfTheProcess();
  SipHash hash(key);
  // The last word holds the rest and the length, so that trailing NULs count.
  std::uint64_t last = std::uint64_t{bytes.size()} << 56;
  for (; bytes.size() >= sizeof last; bytes.remove_prefix(sizeof last)) {
    std::uint64_t word;
    std::memcpy(&word, bytes.data(), sizeof word);
    hash.add(word);
  }
  std::uint64_t rest = 0;
  bytes.copy(reinterpret_cast<char *>(&rest), bytes.size());
  hash.add(last | rest);
  return hash.finish();
}

std::size_t keyedHash(std::size_t first, std::size_t second) {
  const std::array<std::size_t, 2> both{first, second};
  return keyedHash(std::string_view(reinterpret_cast<const char *>(both.data()), sizeof both));
}

} // namespace tesker
