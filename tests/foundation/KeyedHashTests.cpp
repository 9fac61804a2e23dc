#include "platform/foundation/KeyedHash.h"

#include "platform/foundation/NSData.h"
#include "platform/foundation/NSString.h"
#include "platform/foundation/OperatingSystem.h"

#include <gmock/gmock.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <set>
#include <string>

namespace tesker {
namespace {

TEST(KeyedHashTest, EqualBytesHaveEqualHashes) {
  for (const std::string text : {"", "a", "1234567", "12345678", "a longer text, by far"})
    EXPECT_EQ(keyedHash(std::string(text)), keyedHash(std::string(text))) << text;
}

TEST(KeyedHashTest, EveryByteAndTheLengthCount) {
  std::set<std::size_t> hashes;
  for (std::size_t length = 0; length <= 40; ++length) {
    hashes.insert(keyedHash(std::string(length, '\0')));
    for (std::size_t place = 0; place < length; ++place) {
      std::string bytes(length, '\0');
      bytes[place] = '\x80';
      hashes.insert(keyedHash(bytes));
    }
  }
  EXPECT_EQ(hashes.size(), 41u + 40 * 41 / 2);
}

TEST(KeyedHashTest, TwoHashesCountInTheirOrder) {
  EXPECT_EQ(keyedHash(std::size_t{1}, 2), keyedHash(std::size_t{1}, 2));
  EXPECT_NE(keyedHash(std::size_t{1}, 2), keyedHash(std::size_t{2}, 1));
  EXPECT_NE(keyedHash(std::size_t{1}, 2), keyedHash(std::size_t{1}, 3));
}

// Sixteen bytes that the C++ library's own hash of strings, which has no key, takes for those of
// any other value of the top bit.
std::string colliding(std::uint64_t topBit) {
  constexpr std::uint64_t kInverseOfItsFactor = 0x5f7a0ea7e59b19bd;
  std::uint64_t word = (0x1234567812345678 | topBit << 63) * kInverseOfItsFactor;
  word = (word ^ word >> 47) * kInverseOfItsFactor;
  std::string bytes(16, '\0');
  std::memcpy(bytes.data(), &word, 8);
  std::memcpy(bytes.data() + 8, &word, 8);
  return bytes;
}

TEST(KeyedHashTest, TextsChosenForOneHashHaveHashesOfTheirOwn) {
  std::set<std::size_t> strings;
  std::set<std::size_t> data;
  std::set<std::size_t> without;
  for (unsigned choice = 0; choice < 256; ++choice) {
    std::string text;
    for (unsigned bit = 0; bit < 8; ++bit)
      text += colliding(choice >> bit & 1);
    strings.insert(NSString::create(text).hash());
    data.insert(NSData::create(text)->hash());
    without.insert(std::hash<std::string>()(text));
  }
  EXPECT_EQ(strings.size(), 256u);
  EXPECT_EQ(data.size(), 256u);
#ifdef __GLIBCXX__
  EXPECT_EQ(without.size(), 1u) << "they are no longer chosen well";
#endif
}

// What this test prints as a new process that is told to.
std::string hashInANewProcess() {
  const std::string command = "TESKER_PRINT_HASH=1 '" +
                              OperatingSystem::current().programPath().value_or("") +
                              "' --gtest_filter=KeyedHashTest.EveryProcessHasAKeyOfItsOwn";
  std::FILE *output = ::popen(command.c_str(), "re");
  std::string hash;
  char line[256];
  while (std::fgets(line, sizeof line, output) != nullptr)
    if (std::string_view(line).starts_with("hash "))
      hash = line;
  EXPECT_EQ(::pclose(output), 0);
  return hash;
}

TEST(KeyedHashTest, EveryProcessHasAKeyOfItsOwn) {
  if (std::getenv("TESKER_PRINT_HASH") != nullptr) {
    std::printf("hash %zx\n", keyedHash("text"));
    return;
  }
  const std::string first = hashInANewProcess();
  EXPECT_THAT(first, testing::StartsWith("hash "));
  EXPECT_NE(first, hashInANewProcess());
}

} // namespace
} // namespace tesker
