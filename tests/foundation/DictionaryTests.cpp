#include "platform/foundation/NSDictionary.h"

#include "platform/foundation/NSData.h"
#include "platform/foundation/NSException.h"
#include "platform/foundation/PropertyList.h"
#include "tests/support/Texts.h"

#include <gmock/gmock.h>

#include <string>

namespace tesker {
namespace {

using namespace std::string_view_literals;

// The text under the key; nil when there is none.
NSString get(const NSDictionary &dictionary, std::string_view key) {
  const NSObject *value = dictionary.objectForKey(key);
  return value != nullptr ? value->description() : nullptr;
}

std::string keys(const NSDictionary &dictionary) {
  std::vector<NSString> keys;
  for (const auto &[key, value] : dictionary)
    keys.push_back(key);
  return std::string(componentsJoinedByString(keys, " ").bytes());
}

NSString numberedKey(int number) { return NSString::create("k" + std::to_string(number)); }

Ref<NSDictionary> numberedDictionary(int count) {
  auto dictionary = NSDictionary::create();
  for (int i = 0; i < count; ++i)
    dictionary->setObjectForKey(NSString::create(std::to_string(i)), numberedKey(i));
  return dictionary;
}

void expectNumbered(const NSDictionary &dictionary, int first, int end) {
  EXPECT_EQ(dictionary.count(), static_cast<std::size_t>(end - first));
  for (int i = first; i < end; ++i)
    EXPECT_EQ(get(dictionary, numberedKey(i).bytes()), std::to_string(i));
}

TEST(DictionaryTest, AnEmptyDictionaryHasNothing) {
  const auto dictionary = NSDictionary::create();
  EXPECT_EQ(dictionary->count(), 0U);
  EXPECT_EQ(dictionary->objectForKey("a"), nullptr);
  EXPECT_EQ(keys(*dictionary), "");
}

TEST(DictionaryTest, KeysKeepTheOrderInWhichTheyCame) {
  const auto dictionary = NSDictionary::create();
  for (const char *key : {"z", "a", "m", "b"})
    dictionary->setObjectForKey(""_ns, NSString::create(key));
  EXPECT_EQ(keys(*dictionary), "z a m b");
}

TEST(DictionaryTest, ReplacingAValueKeepsTheKeysPlace) {
  const auto dictionary = NSDictionary::create();
  dictionary->setObjectForKey("1"_ns, "a"_ns);
  dictionary->setObjectForKey("2"_ns, "b"_ns);
  dictionary->setObjectForKey("3"_ns, "a"_ns);
  EXPECT_EQ(keys(*dictionary), "a b");
  EXPECT_EQ(get(*dictionary, "a"), "3");
}

TEST(DictionaryTest, AKeyThatWasRemovedComesBackAtTheEnd) {
  const auto dictionary = NSDictionary::create();
  dictionary->setObjectForKey("1"_ns, "a"_ns);
  dictionary->setObjectForKey("2"_ns, "b"_ns);
  dictionary->removeObjectForKey("a");
  EXPECT_EQ(dictionary->objectForKey("a"), nullptr);
  dictionary->setObjectForKey("3"_ns, "a"_ns);
  EXPECT_EQ(keys(*dictionary), "b a");
  dictionary->removeObjectForKey("none");
  EXPECT_EQ(dictionary->count(), 2U);
}

TEST(DictionaryTest, SettingNilRaisesAndSetsNothing) {
  const auto dictionary = NSDictionary::create();
  try {
    dictionary->setObjectForKey(RefPtr<NSObject>(), "a"_ns);
    FAIL();
  } catch (const NSException &exception) {
    EXPECT_EQ(exception.name(), "NSInvalidArgumentException");
  }
  EXPECT_THROW(dictionary->setObjectForKey(NSString(), "a"_ns), NSException);
  EXPECT_EQ(dictionary->count(), 0U);
}

TEST(DictionaryTest, KeysAreComparedByTheirBytesNulIncluded) {
  const auto dictionary = NSDictionary::create();
  dictionary->setObjectForKey("1"_ns, "a\0b"_ns);
  dictionary->setObjectForKey("2"_ns, "a\0c"_ns);
  dictionary->setObjectForKey("3"_ns, ""_ns);
  EXPECT_EQ(get(*dictionary, "a\0b"sv), "1");
  EXPECT_EQ(get(*dictionary, "a\0c"sv), "2");
  EXPECT_FALSE(get(*dictionary, "a"));
  EXPECT_EQ(get(*dictionary, ""), "3");
}

TEST(DictionaryTest, AValueIsAskedForByTheKindThatIsWanted) {
  const auto value = propertyList("{s = text; a = (1); d = {k = v; }; b = <00>; }");
  const NSDictionary &dictionary = *value->asDictionary();
  EXPECT_EQ(dictionary.stringForKey("s"), "text");
  EXPECT_EQ(dictionary.arrayForKey("a")->description(), "(1)");
  EXPECT_EQ(dictionary.dictionaryForKey("d")->description(), "{k = v; }");
  EXPECT_EQ(dictionary.objectForKey("b")->asData()->bytes(), "\0"sv);
}

TEST(DictionaryTest, AValueOfAnotherKindThanWantedIsNil) {
  const auto value = propertyList("{s = text; a = (1); d = {k = v; }; b = <00>; }");
  const NSDictionary &dictionary = *value->asDictionary();
  for (const char *key : {"a", "d", "b", "none"})
    EXPECT_FALSE(dictionary.stringForKey(key)) << key;
  for (const char *key : {"s", "d", "b", "none"})
    EXPECT_EQ(dictionary.arrayForKey(key), nullptr) << key;
  for (const char *key : {"s", "a", "b", "none"})
    EXPECT_EQ(dictionary.dictionaryForKey(key), nullptr) << key;
}

// Sixteen pairs are the most without an index; the two sides of that are the same to the caller.
class DictionarySizeTest : public testing::TestWithParam<int> {};

TEST_P(DictionarySizeTest, EveryKeyIsFoundAndOthersAreNot) {
  const auto dictionary = numberedDictionary(GetParam());
  expectNumbered(*dictionary, 0, GetParam());
  EXPECT_FALSE(get(*dictionary, numberedKey(GetParam()).bytes()));
}

TEST_P(DictionarySizeTest, ReplacingKeepsCountAndOrder) {
  const auto dictionary = numberedDictionary(GetParam());
  const std::string before = keys(*dictionary);
  dictionary->setObjectForKey("new"_ns, "k3"_ns);
  EXPECT_EQ(keys(*dictionary), before);
  EXPECT_EQ(get(*dictionary, "k3"), "new");
}

TEST_P(DictionarySizeTest, EveryOtherKeyIsFoundAfterARemoval) {
  const auto dictionary = numberedDictionary(GetParam());
  dictionary->removeObjectForKey("k0");
  EXPECT_FALSE(get(*dictionary, "k0"));
  expectNumbered(*dictionary, 1, GetParam());
  dictionary->setObjectForKey("n"_ns, "new"_ns);
  EXPECT_EQ(get(*dictionary, "new"), "n");
}

TEST_P(DictionarySizeTest, ADictionaryThatShrankToNothingCanBeFilledAgain) {
  const auto dictionary = numberedDictionary(GetParam());
  for (int i = 0; i < GetParam(); ++i)
    dictionary->removeObjectForKey(numberedKey(i).bytes());
  EXPECT_EQ(dictionary->count(), 0U);
  dictionary->addEntriesFromDictionary(*numberedDictionary(GetParam()));
  expectNumbered(*dictionary, 0, GetParam());
}

INSTANTIATE_TEST_SUITE_P(AroundTheIndexThreshold, DictionarySizeTest,
                         testing::Values(15, 16, 17, 18, 200));

TEST(DictionaryTest, DictionariesAreEqualInWhateverOrder) {
  const auto a = propertyList("{x = 1; y = (2, 3); }");
  const auto b = propertyList("{y = (2, 3); x = 1; }");
  EXPECT_TRUE(a->isEqual(*b));
  EXPECT_EQ(a->hash(), b->hash());
  for (const char *other : {"{x = 1; }", "{x = 1; y = (3, 2); }", "{x = 1; z = (2, 3); }",
                            "{x = 1; y = (2, 3); z = 4; }", "\"{x = 1; y = (2, 3); }\""}) {
    EXPECT_FALSE(a->isEqual(*propertyList(other))) << other;
  }
}

TEST(DictionaryTest, DictionariesOfTheSameSizeHaveDifferentHashes) {
  // A table keyed by values out of a hostile file must not put all of them in one place.
  const auto hash = [](const char *text) { return propertyList(text)->hash(); };
  EXPECT_NE(hash("{a = 1; }"), hash("{a = 2; }"));
  EXPECT_NE(hash("{a = 1; }"), hash("{b = 1; }"));
  EXPECT_NE(hash("{a = 1; b = 2; }"), hash("{a = 2; b = 1; }"));
}

TEST(DictionaryTest, AddingEntriesReplacesAndAppendsInTheOthersOrder) {
  const auto a = propertyListFromStringsFileFormat("x = 1; y = 2;");
  a->addEntriesFromDictionary(*propertyListFromStringsFileFormat("z = 3; x = 4; w = 5;"));
  EXPECT_EQ(a->description(), "{x = 4; y = 2; z = 3; w = 5; }");
}

TEST(DictionaryTest, ADictionaryThatIsAddedToItselfStaysAsItIs) {
  const auto dictionary = numberedDictionary(20);
  dictionary->addEntriesFromDictionary(*dictionary);
  expectNumbered(*dictionary, 0, 20);
}

TEST(DictionaryTest, ACopyIsIndependentAndLiesInTheGivenZone) {
  NSZone &zone = NSCreateZone(256, 256);
  const auto original = numberedDictionary(20);
  const auto copied = NSDictionary::create(zone);
  copied->addEntriesFromDictionary(*original);
  EXPECT_TRUE(copied->isEqual(*original));
  EXPECT_EQ(&copied->zone(), &zone);
  for (const auto &[key, value] : *copied)
    EXPECT_EQ(&key.zone(), &zone);
  copied->removeObjectForKey("k0");
  EXPECT_EQ(original->count(), 20U);
}

} // namespace
} // namespace tesker
