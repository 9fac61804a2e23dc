#include "platform/foundation/NSDictionary.h"

#include "platform/foundation/NSException.h"
#include "platform/foundation/PropertyList.h"

#include <gmock/gmock.h>

#include <string>

namespace tesker {
namespace {

using namespace std::string_view_literals;

void set(NSMutableDictionary &dictionary, std::string_view key, std::string_view value) {
  dictionary.setObjectForKey(NSString::create(value), *NSString::create(key));
}

// The text under the key; "nil" when there is none.
std::string get(const NSDictionary &dictionary, std::string_view key) {
  const auto value = dictionary.objectForKey(key);
  return value ? std::string(value->description()->bytes()) : "nil";
}

std::string keys(const NSDictionary &dictionary) {
  return std::string(dictionary.allKeys()->componentsJoinedByString(" ")->bytes());
}

Ref<NSMutableDictionary> numbered(int count) {
  auto dictionary = NSMutableDictionary::create();
  for (int i = 0; i < count; ++i)
    set(*dictionary, "k" + std::to_string(i), std::to_string(i));
  return dictionary;
}

void expectNumbered(const NSDictionary &dictionary, int first, int end) {
  EXPECT_EQ(dictionary.count(), static_cast<std::size_t>(end - first));
  for (int i = first; i < end; ++i)
    EXPECT_EQ(get(dictionary, "k" + std::to_string(i)), std::to_string(i));
}

TEST(DictionaryTest, AnEmptyDictionaryHasNothing) {
  const auto dictionary = NSMutableDictionary::create(10);
  EXPECT_EQ(dictionary->count(), 0U);
  EXPECT_FALSE(dictionary->objectForKey("a"));
  EXPECT_EQ(keys(*dictionary), "");
}

TEST(DictionaryTest, KeysKeepTheOrderInWhichTheyCame) {
  const auto dictionary = NSMutableDictionary::create();
  for (const char *key : {"z", "a", "m", "b"})
    set(*dictionary, key, "");
  EXPECT_EQ(keys(*dictionary), "z a m b");
}

TEST(DictionaryTest, ReplacingAValueKeepsTheKeysPlace) {
  const auto dictionary = NSMutableDictionary::create();
  set(*dictionary, "a", "1");
  set(*dictionary, "b", "2");
  set(*dictionary, "a", "3");
  EXPECT_EQ(keys(*dictionary), "a b");
  EXPECT_EQ(get(*dictionary, "a"), "3");
}

TEST(DictionaryTest, AKeyThatWasRemovedComesBackAtTheEnd) {
  const auto dictionary = NSMutableDictionary::create();
  set(*dictionary, "a", "1");
  set(*dictionary, "b", "2");
  dictionary->removeObjectForKey("a");
  EXPECT_FALSE(dictionary->objectForKey("a"));
  set(*dictionary, "a", "3");
  EXPECT_EQ(keys(*dictionary), "b a");
  dictionary->removeObjectForKey("none");
  EXPECT_EQ(dictionary->count(), 2U);
}

TEST(DictionaryTest, SettingNilRaisesAndSetsNothing) {
  const auto dictionary = NSMutableDictionary::create();
  try {
    dictionary->setObjectForKey(nullptr, *NSString::create("a"));
    FAIL();
  } catch (const NSException &exception) {
    EXPECT_EQ(exception.name(), "NSInvalidArgumentException");
  }
  EXPECT_EQ(dictionary->count(), 0U);
}

TEST(DictionaryTest, KeysAreComparedByTheirBytesNulIncluded) {
  const auto dictionary = NSMutableDictionary::create();
  set(*dictionary, "a\0b"sv, "1");
  set(*dictionary, "a\0c"sv, "2");
  set(*dictionary, "", "3");
  EXPECT_EQ(get(*dictionary, "a\0b"sv), "1");
  EXPECT_EQ(get(*dictionary, "a\0c"sv), "2");
  EXPECT_EQ(get(*dictionary, "a"), "nil");
  EXPECT_EQ(get(*dictionary, ""), "3");
}

TEST(DictionaryTest, AKeyThatChangesAfterwardsIsKeptAsItWas) {
  const auto dictionary = NSMutableDictionary::create();
  const auto key = NSMutableString::create("before");
  dictionary->setObjectForKey(NSString::create("v"), *key);
  key->setString("after");
  EXPECT_EQ(get(*dictionary, "before"), "v");
  EXPECT_EQ(get(*dictionary, "after"), "nil");
}

// Sixteen pairs are the most without an index; the two sides of that are the same to the caller.
class DictionarySizeTest : public testing::TestWithParam<int> {};

TEST_P(DictionarySizeTest, EveryKeyIsFoundAndOthersAreNot) {
  const auto dictionary = numbered(GetParam());
  expectNumbered(*dictionary, 0, GetParam());
  EXPECT_EQ(get(*dictionary, "k" + std::to_string(GetParam())), "nil");
}

TEST_P(DictionarySizeTest, ReplacingKeepsCountAndOrder) {
  const auto dictionary = numbered(GetParam());
  const std::string before = keys(*dictionary);
  set(*dictionary, "k3", "new");
  EXPECT_EQ(keys(*dictionary), before);
  EXPECT_EQ(get(*dictionary, "k3"), "new");
}

TEST_P(DictionarySizeTest, EveryOtherKeyIsFoundAfterARemoval) {
  const auto dictionary = numbered(GetParam());
  dictionary->removeObjectForKey("k0");
  EXPECT_EQ(get(*dictionary, "k0"), "nil");
  expectNumbered(*dictionary, 1, GetParam());
  set(*dictionary, "new", "n");
  EXPECT_EQ(get(*dictionary, "new"), "n");
}

TEST_P(DictionarySizeTest, ADictionaryThatShrankToNothingCanBeFilledAgain) {
  const auto dictionary = numbered(GetParam());
  for (int i = 0; i < GetParam(); ++i)
    dictionary->removeObjectForKey("k" + std::to_string(i));
  EXPECT_EQ(dictionary->count(), 0U);
  for (int i = 0; i < GetParam(); ++i)
    set(*dictionary, "k" + std::to_string(i), std::to_string(i));
  expectNumbered(*dictionary, 0, GetParam());
}

INSTANTIATE_TEST_SUITE_P(AroundTheIndexThreshold, DictionarySizeTest,
                         testing::Values(15, 16, 17, 18, 200));

TEST(DictionaryTest, AnEnumeratorWalksOverTheKeysAsTheyWere) {
  const auto dictionary = numbered(3);
  auto enumerator = dictionary->keyEnumerator();
  dictionary->removeObjectForKey("k1");
  set(*dictionary, "k9", "9");
  std::string walked;
  while (const auto key = enumerator.nextObject())
    walked.append(key->bytes()).append(" ");
  EXPECT_EQ(walked, "k0 k1 k2 ");
  EXPECT_FALSE(enumerator.nextObject());
}

TEST(DictionaryTest, DictionariesAreEqualInWhateverOrder) {
  const auto a = as<NSDictionary>(propertyList("{x = 1; y = (2, 3); }"));
  const auto b = as<NSDictionary>(propertyList("{y = (2, 3); x = 1; }"));
  EXPECT_TRUE(a->isEqual(b.get()));
  EXPECT_EQ(a->hash(), b->hash());
  for (const char *other : {"{x = 1; }", "{x = 1; y = (3, 2); }", "{x = 1; z = (2, 3); }",
                            "{x = 1; y = (2, 3); z = 4; }", "\"{x = 1; y = (2, 3); }\""}) {
    EXPECT_FALSE(a->isEqual(&*propertyList(other))) << other;
  }
  EXPECT_FALSE(a->isEqual(nullptr));
}

TEST(DictionaryTest, DictionariesOfTheSameSizeHaveDifferentHashes) {
  // A table keyed by values out of a hostile file must not put all of them in one place.
  const auto hash = [](const char *text) { return propertyList(text)->hash(); };
  EXPECT_NE(hash("{a = 1; }"), hash("{a = 2; }"));
  EXPECT_NE(hash("{a = 1; }"), hash("{b = 1; }"));
  EXPECT_NE(hash("{a = 1; b = 2; }"), hash("{a = 2; b = 1; }"));
}

TEST(DictionaryTest, AddingEntriesReplacesAndAppendsInTheOthersOrder) {
  const auto a = as<NSMutableDictionary>(propertyList("{x = 1; y = 2; }"));
  a->addEntriesFromDictionary(*as<NSDictionary>(propertyList("{z = 3; x = 4; w = 5; }")));
  EXPECT_EQ(a->description()->bytes(), "{x = 4; y = 2; z = 3; w = 5; }");
}

TEST(DictionaryTest, ACopyIsIndependentAndLiesInTheGivenZone) {
  NSZone &zone = NSCreateZone(256, 256);
  const auto original = numbered(20);
  const auto copied = NSMutableDictionary::copyOf(*original, zone);
  EXPECT_TRUE(copied->isEqual(&*original));
  EXPECT_EQ(&copied->zone(), &zone);
  EXPECT_EQ(&copied->allKeys()->objectAtIndex(0)->zone(), &zone);
  copied->removeObjectForKey("k0");
  EXPECT_EQ(original->count(), 20U);
}

} // namespace
} // namespace tesker
