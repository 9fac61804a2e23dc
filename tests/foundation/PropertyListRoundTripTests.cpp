// Whatever value a container holds, its description is one line that reads back equal.
#include "platform/foundation/NSData.h"
#include "platform/foundation/PropertyList.h"
#include "platform/foundation/PropertyListDescription.h"
#include "tests/support/Texts.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

namespace tesker {
namespace {

// Makes values by chance, the same ones in every run.
class RandomValues {
public:
  explicit RandomValues(unsigned seed) : random_(seed) {}

  Ref<NSDictionary> dictionary(unsigned depth) {
    auto made = NSDictionary::create();
    for (unsigned left = below(25); left > 0; --left)
      made->setObjectForKey(value(depth), NSString::create(text()));
    return made;
  }

  Ref<NSArray> array(unsigned depth) {
    auto made = NSArray::create();
    for (unsigned left = below(6); left > 0; --left)
      made->addObject(value(depth));
    return made;
  }

private:
  unsigned below(unsigned bound) { return std::uniform_int_distribution(0U, bound - 1)(random_); }

  // Bytes that have a meaning to the reader come up often.
  std::string text() {
    constexpr std::string_view kSpecial = "\"\\/*;=,(){}<> \n\r\t0178nU_a";
    std::string bytes;
    for (unsigned left = below(8); left > 0; --left)
      bytes += below(3) == 0 ? static_cast<char>(below(256))
                             : kSpecial[below(static_cast<unsigned>(kSpecial.size()))];
    return bytes;
  }

  Ref<NSObject> value(unsigned depth) {
    switch (below(depth > 0 ? 6 : 3)) {
    case 0:
      return NSData::create(text());
    case 3:
    case 4:
      return array(depth - 1);
    case 5:
      return dictionary(depth - 1);
    default:
      return NSString::create(text()).object().toRef();
    }
  }

  std::mt19937 random_;
};

void expectOneLine(const NSString &text) {
  for (const char byte : text.bytes())
    ASSERT_FALSE((byte >= 0 && byte < ' ') || byte == 0x7F) << text.bytes();
}

TEST(PropertyListRoundTripTest, RandomDictionariesReadBackEqualAndInOrder) {
  RandomValues values(20);
  for (int i = 0; i < 100; ++i) {
    const auto value = values.dictionary(3);
    const auto text = propertyListDescription(*value);
    expectOneLine(text);
    const auto read = propertyList(text.bytes());
    ASSERT_TRUE(value->isEqual(*read)) << text.bytes();
    ASSERT_EQ(value->hash(), read->hash());
    ASSERT_EQ(propertyListDescription(*read), text);
  }
}

TEST(PropertyListRoundTripTest, RandomArraysReadBackEqual) {
  RandomValues values(30);
  for (int i = 0; i < 100; ++i) {
    const auto value = values.array(4);
    const auto text = propertyListDescription(*value);
    expectOneLine(text);
    const auto read = propertyList(text.bytes());
    ASSERT_TRUE(value->isEqual(*read)) << text.bytes();
    ASSERT_EQ(value->hash(), read->hash());
  }
}

TEST(PropertyListRoundTripTest, RandomStringsFilesReadBackEqualAndInOrder) {
  RandomValues values(40);
  for (int i = 0; i < 100; ++i) {
    const auto value = values.dictionary(2);
    const auto text = descriptionInStringsFileFormat(*value);
    const auto read = propertyListFromStringsFileFormat(text.bytes());
    ASSERT_TRUE(value->isEqual(*read)) << text.bytes();
    ASSERT_EQ(descriptionInStringsFileFormat(*read), text);
  }
}

TEST(PropertyListRoundTripTest, EveryByteReadsBackInsideAString) {
  for (int byte = 0; byte < 256; ++byte)
    for (const char *after : {"", "7", "f", "\\"}) {
      const std::string bytes = static_cast<char>(byte) + std::string(after);
      const auto array = test::arrayOf({bytes});
      const auto text = propertyListDescription(*array);
      ASSERT_TRUE(array->isEqual(*propertyList(text.bytes()))) << text.bytes();
    }
}

} // namespace
} // namespace tesker
