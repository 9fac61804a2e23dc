#include "platform/foundation/NSString.h"

#include "platform/foundation/NSArray.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

namespace tesker {
namespace {

using namespace std::string_view_literals;
using testing::ElementsAre;

std::vector<std::string> pieces(std::string_view text, std::string_view separator) {
  std::vector<std::string> result;
  const auto array = NSString::create(text)->componentsSeparatedByString(separator);
  for (const auto &piece : *array)
    result.emplace_back(as<NSString>(&*piece)->bytes());
  return result;
}

std::string appended(std::string_view path, std::string_view name) {
  return std::string(NSString::create(path)->stringByAppendingPathComponent(name)->bytes());
}

TEST(StringTest, BytesComeThroughUnchangedWhateverTheyAre) {
  std::string all;
  for (int byte = 0; byte < 256; ++byte)
    all += static_cast<char>(byte);
  const auto string = NSString::create(all);
  EXPECT_EQ(string->bytes(), all);
  EXPECT_EQ(string->length(), 256U);
}

TEST(StringTest, AStringWithANulInsideIsKeptWholeAndACReaderStopsThere) {
  const auto string = NSString::create("ab\0cd"sv);
  EXPECT_EQ(string->length(), 5U);
  EXPECT_STREQ(string->cString(), "ab");
}

TEST(StringTest, AStringWithANulInsideNamesNoFile) {
  EXPECT_STREQ(NSString::create("/tmp\0/x"sv)->fileSystemRepresentation(), "");
  EXPECT_STREQ(NSString::create("/tmp/x")->fileSystemRepresentation(), "/tmp/x");
}

TEST(StringTest, StringsAreEqualWhenTheirBytesAre) {
  const auto a = NSString::create("a\0b"sv);
  EXPECT_TRUE(a->isEqual(&*NSString::create("a\0b"sv)));
  EXPECT_TRUE(a->isEqual(&*NSMutableString::create("a\0b"sv)));
  EXPECT_FALSE(a->isEqual(&*NSString::create("a\0c"sv)));
  EXPECT_FALSE(a->isEqual(&*NSString::create("a")));
  EXPECT_FALSE(a->isEqual(nullptr));
  EXPECT_FALSE(NSString::create("()")->isEqual(&*NSMutableArray::create()));
  EXPECT_EQ(a->hash(), NSMutableString::create("a\0b"sv)->hash());
}

TEST(StringTest, NilIsNotTheEmptyString) {
  const auto empty = NSString::create("");
  EXPECT_TRUE(isEqual(&*empty, ""sv));
  EXPECT_FALSE(isEqual(static_cast<const NSString *>(nullptr), ""sv));
}

TEST(StringTest, StringsAreOrderedByTheirBytesUnsigned) {
  const auto compare = [](std::string_view a, std::string_view b) {
    return NSString::create(a)->compare(*NSString::create(b));
  };
  EXPECT_EQ(compare("a", "a"), std::strong_ordering::equal);
  EXPECT_EQ(compare("B", "a"), std::strong_ordering::less);
  EXPECT_EQ(compare("\xC3\xA9", "z"), std::strong_ordering::greater);
  EXPECT_EQ(compare("a", "ab"), std::strong_ordering::less);
  EXPECT_EQ(compare("a\0b"sv, "a\0a"sv), std::strong_ordering::greater);
}

TEST(StringTest, AStringDescribesItself) {
  EXPECT_EQ(NSString::create("a b\"")->description()->bytes(), "a b\"");
  EXPECT_EQ(NSMutableString::create("a b\"")->description()->bytes(), "a b\"");
}

TEST(StringTest, CopyingAnImmutableStringInItsZoneSharesIt) {
  const auto string = NSString::create("a");
  EXPECT_EQ(&*string->copy(), &*string);
  EXPECT_EQ(string->retainCount(), 1U); // the copy has gone again
}

TEST(StringTest, CopyingIntoAnotherZoneMakesANewString) {
  NSZone &zone = NSCreateZone(64, 64);
  const auto string = NSString::create("a");
  const auto copied = string->copy(zone);
  EXPECT_NE(&*copied, &*string);
  EXPECT_EQ(&copied->zone(), &zone);
  EXPECT_TRUE(copied->isEqual(&*string));
}

TEST(StringTest, ACopyOfAMutableStringDoesNotChangeWithIt) {
  const auto string = NSMutableString::create("a");
  const auto copied = string->copy();
  const auto described = string->description();
  string->appendString("b");
  EXPECT_EQ(string->bytes(), "ab");
  EXPECT_EQ(copied->bytes(), "a");
  EXPECT_EQ(described->bytes(), "a");
  string->setString("c\0d"sv);
  EXPECT_EQ(string->bytes(), "c\0d"sv);
}

TEST(StringTest, HashAndEqualityFollowTheBytesOfAMutableString) {
  const auto fixed = NSString::create("abc");
  const auto changing = NSMutableString::create("xyz");
  const auto equal = [&] {
    return fixed->isEqualToString(*changing) && changing->isEqualToString(*fixed);
  };
  EXPECT_NE(fixed->hash(), changing->hash());
  EXPECT_FALSE(equal());
  changing->setString("ab");
  changing->appendString("c");
  EXPECT_EQ(fixed->hash(), changing->hash());
  EXPECT_TRUE(equal());
  changing->appendString("d");
  EXPECT_NE(fixed->hash(), changing->hash());
  EXPECT_FALSE(equal());
}

TEST(StringTest, StringsAreEqualWhetherOrNotTheirHashesWereAskedFor) {
  const auto one = NSString::create("abc");
  const auto same = NSString::create("abc");
  const auto other = NSString::create("abd");
  for (int round = 0; round < 2; ++round) {
    EXPECT_TRUE(one->isEqualToString(*one));
    EXPECT_TRUE(one->isEqualToString(*same));
    EXPECT_FALSE(one->isEqualToString(*other));
    (round == 0 ? one : same)->hash();
    EXPECT_TRUE(same->isEqualToString(*one));
    EXPECT_FALSE(other->isEqualToString(*one));
    other->hash();
  }
}

TEST(StringTest, AMutableStringCanBeAppendedToItself) {
  const auto string = NSMutableString::create("0123456789");
  for (int i = 0; i < 5; ++i)
    string->appendString(string->bytes());
  EXPECT_EQ(string->length(), 320U);
  EXPECT_EQ(string->bytes().substr(310), "0123456789");
}

TEST(StringTest, SeparatingGivesThePiecesBetweenTheSeparators) {
  EXPECT_THAT(pieces("a:b:c", ":"), ElementsAre("a", "b", "c"));
  EXPECT_THAT(pieces("a, b,c", ", "), ElementsAre("a", "b,c"));
}

TEST(StringTest, SeparatingAStringWithoutSeparatorGivesTheWhole) {
  EXPECT_THAT(pieces("abc", ":"), ElementsAre("abc"));
  EXPECT_THAT(pieces("", ":"), ElementsAre(""));
}

TEST(StringTest, SeparatingKeepsEmptyPiecesAtTheEndsAndBetweenNeighbours) {
  EXPECT_THAT(pieces(":a::b:", ":"), ElementsAre("", "a", "", "b", ""));
}

TEST(StringTest, SeparatingAtNulCharacters) {
  EXPECT_THAT(pieces("a\0\0b"sv, "\0"sv), ElementsAre("a", "", "b"));
}

TEST(StringTest, AppendingAPathComponentAddsOneSlash) {
  EXPECT_EQ(appended("/a", "b"), "/a/b");
  EXPECT_EQ(appended("a", "b c"), "a/b c");
}

TEST(StringTest, AppendingAPathComponentDropsTrailingSlashes) {
  EXPECT_EQ(appended("/a///", "b"), "/a/b");
  EXPECT_EQ(appended("/a//b/", "c"), "/a//b/c"); // only those at the end
}

TEST(StringTest, AppendingAPathComponentToTheRootKeepsTheRoot) {
  EXPECT_EQ(appended("/", "b"), "/b");
  EXPECT_EQ(appended("///", "b"), "/b");
}

TEST(StringTest, AppendingAnEmptyPathComponentOnlyDropsTrailingSlashes) {
  EXPECT_EQ(appended("/a//", ""), "/a");
  EXPECT_EQ(appended("/", ""), "/");
  EXPECT_EQ(appended("", ""), "");
}

TEST(StringTest, AppendingAPathComponentKeepsTheBytesOfBoth) {
  EXPECT_EQ(appended("/\xFF\0"sv, "\xFE\0b"sv), "/\xFF\0/\xFE\0b"sv);
}

} // namespace
} // namespace tesker
