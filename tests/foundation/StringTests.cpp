#include "platform/foundation/NSString.h"

#include "platform/foundation/NSArray.h"
#include "platform/foundation/NSData.h"
#include "tests/support/Texts.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace tesker {
namespace {

using namespace std::string_view_literals;

NSString appended(const NSString &path, std::string_view name) {
  return path.stringByAppendingPathComponent(name);
}

TEST(StringTest, BytesComeThroughUnchangedWhateverTheyAre) {
  std::string all;
  for (int byte = 0; byte < 256; ++byte)
    all += static_cast<char>(byte);
  const NSString string = NSString::create(all);
  EXPECT_EQ(string.bytes(), all);
  EXPECT_EQ(string.length(), 256U);
}

TEST(StringTest, AStringWithANulInsideIsKeptWholeAndACReaderStopsThere) {
  const NSString string = "ab\0cd"_ns;
  EXPECT_EQ(string.length(), 5U);
  EXPECT_STREQ(string.cString(), "ab");
}

TEST(StringTest, AStringWithANulInsideNamesNoFile) {
  EXPECT_STREQ("/tmp\0/x"_ns.fileSystemRepresentation(), "");
  EXPECT_STREQ("/tmp/x\0"_ns.fileSystemRepresentation(), "");
  EXPECT_STREQ("/tmp/x"_ns.fileSystemRepresentation(), "/tmp/x");
}

TEST(StringTest, StringsAreEqualWhenTheirBytesAre) {
  const NSString a = "a\0b"_ns;
  EXPECT_EQ(a, "a\0b"_ns);
  EXPECT_EQ(a, "a\0b"sv);
  EXPECT_NE(a, "a\0c"_ns);
  EXPECT_NE(a, "a\0c"sv);
  EXPECT_NE(a, "a"_ns);
  EXPECT_NE(a, "a");
  EXPECT_EQ(a.hash(), "a\0b"_ns.hash());
}

TEST(StringTest, AsAnObjectAStringEqualsOnlyStrings) {
  const Ref<NSObject> object = "()"_ns.object().toRef();
  EXPECT_TRUE(object->isEqual(*object));
  EXPECT_TRUE(object->isEqual(*"()"_ns.object()));
  EXPECT_FALSE(object->isEqual(*"(a)"_ns.object()));
  EXPECT_FALSE(object->isEqual(*NSArray::create()));
  EXPECT_FALSE(object->isEqual(*NSData::create("()")));
  EXPECT_EQ(object->hash(), "()"_ns.hash());
}

TEST(StringTest, NilIsNotTheEmptyString) {
  const NSString nil;
  EXPECT_FALSE(nil);
  EXPECT_FALSE(NSString(nullptr));
  EXPECT_TRUE(""_ns);
  EXPECT_EQ(""_ns, "");
  EXPECT_NE(nil, "");
  EXPECT_NE(nil, ""_ns);
  EXPECT_NE(""_ns, nil);
}

TEST(StringTest, NilEqualsOnlyNil) {
  const NSString nil;
  EXPECT_EQ(nil, NSString());
  EXPECT_TRUE(nil.isSameObjectAs(NSString()));
  EXPECT_FALSE(nil.isSameObjectAs(""_ns));
  EXPECT_NE("a"_ns, nil);
  EXPECT_NE(nil, "a"_ns);
}

TEST(StringTest, NilAnswersWhatItIsAsked) {
  const NSString nil;
  EXPECT_EQ(nil.bytes(), "");
  EXPECT_EQ(nil.length(), 0U);
  EXPECT_STREQ(nil.cString(), "");
  EXPECT_STREQ(nil.fileSystemRepresentation(), "");
  EXPECT_EQ(nil.hash(), 0U);
  EXPECT_EQ(nil.compare("a"_ns), std::strong_ordering::less);
  EXPECT_FALSE(nil.copy());
  EXPECT_FALSE(nil.copy(NSCreateZone(64, 64)));
  EXPECT_FALSE(nil.object());
  EXPECT_EQ(appended(nil, "b"), "/b");
}

TEST(StringTest, StringsAreOrderedByTheirBytesUnsigned) {
  EXPECT_EQ("a"_ns.compare("a"_ns), std::strong_ordering::equal);
  EXPECT_EQ("B"_ns.compare("a"_ns), std::strong_ordering::less);
  EXPECT_EQ("\xC3\xA9"_ns.compare("z"_ns), std::strong_ordering::greater);
  EXPECT_EQ("a"_ns.compare("ab"_ns), std::strong_ordering::less);
  EXPECT_EQ("a\0b"_ns.compare("a\0a"_ns), std::strong_ordering::greater);
}

TEST(StringTest, AStringDescribesItself) {
  const NSString string = "a b\""_ns;
  EXPECT_TRUE(string.object()->description().isSameObjectAs(string));
}

TEST(StringTest, AStringComesBackFromTheObjectThatItIs) {
  const NSString string = "a"_ns;
  const RefPtr<NSObject> object = string.object();
  EXPECT_TRUE(object->asString().isSameObjectAs(string));
  EXPECT_EQ(object->asArray(), nullptr);
  EXPECT_EQ(object->retainCount(), 2U);
}

TEST(StringTest, AStringOutlivesTheOneItWasCopiedFrom) {
  NSString copied;
  {
    const NSString string = NSString::create("the bytes of both");
    copied = string;
    EXPECT_TRUE(copied.isSameObjectAs(string));
  }
  EXPECT_EQ(copied, "the bytes of both");
}

TEST(StringTest, MovingLeavesNilBehind) {
  NSString string = "a"_ns;
  const NSString moved = std::move(string);
  EXPECT_FALSE(string); // NOLINT(bugprone-use-after-move): what is left is what is asked.
  EXPECT_EQ(moved, "a");
}

TEST(StringTest, AssigningTakesTheOthersBytesAndGivesUpItsOwn) {
  NSZone &zone = NSCreateZone(64, 64);
  NSString string = NSString::create("former", zone);
  const NSString &same = string;
  string = same;
  EXPECT_EQ(string, "former");
  string = "b"_ns;
  EXPECT_EQ(string, "b");
  EXPECT_EQ(zone.bytesInUse(), 0U);
  string = nullptr;
  EXPECT_FALSE(string);
}

TEST(StringTest, CopyingAnImmutableStringInItsZoneSharesIt) {
  const NSString string = "a"_ns;
  EXPECT_TRUE(string.copy().isSameObjectAs(string));
  EXPECT_EQ(string.object()->retainCount(), 2U); // the copy has gone again
}

TEST(StringTest, CopyingIntoAnotherZoneMakesANewString) {
  NSZone &zone = NSCreateZone(64, 64);
  const NSString string = "a\0b"_ns;
  const NSString copied = string.copy(zone);
  EXPECT_FALSE(copied.isSameObjectAs(string));
  EXPECT_EQ(&copied.zone(), &zone);
  EXPECT_EQ(copied, string);
}

TEST(StringTest, EachStringIsMadeInTheZoneThatItIsAskedFor) {
  NSZone &zone = NSCreateZone(64, 64);
  EXPECT_EQ(&NSString::create("a", zone).zone(), &zone);
  EXPECT_EQ(&NSString::joining({"a", "b"}, zone).zone(), &zone);
  EXPECT_EQ(&"a"_ns.stringByAppendingPathComponent("b", zone).zone(), &zone);
  EXPECT_EQ(&"a"_ns.zone(), &NSDefaultMallocZone());
  EXPECT_EQ(zone.bytesInUse(), 0U);
}

TEST(StringTest, StringsAreEqualWhetherOrNotTheirHashesWereAskedFor) {
  const NSString one = "abc"_ns;
  const NSString same = "abc"_ns;
  const NSString other = "abd"_ns;
  for (int round = 0; round < 2; ++round) {
    EXPECT_EQ(one, one);
    EXPECT_EQ(one, same);
    EXPECT_NE(one, other);
    (round == 0 ? one : same).hash();
    EXPECT_EQ(same, one);
    EXPECT_NE(other, one);
    other.hash();
  }
}

TEST(StringTest, TheHashIsThatOfTheBytesHoweverTheyAreAskedFor) {
  const NSString string = "a name"_ns;
  EXPECT_EQ(string.hash(), string.hash());
  EXPECT_EQ(string.hash(), NSString::joining({"a ", "name"}).hash());
  EXPECT_EQ(StringKeyHash()(string), StringKeyHash()("a name"sv));
  EXPECT_EQ(string.object()->hash(), string.hash());
  EXPECT_NE(string.hash(), "another name"_ns.hash());
  EXPECT_NE(""_ns.hash(), NSString().hash());
}

TEST(StringTest, JoiningPutsThePiecesOneBehindTheOther) {
  EXPECT_EQ(NSString::joining({"a\0"sv, "", "b", "cd"}), "a\0bcd"sv);
  EXPECT_EQ(NSString::joining({"", ""}), "");
  EXPECT_TRUE(NSString::joining({}));
  EXPECT_STREQ(NSString::joining({"a", "b"}).cString(), "ab");
}

TEST(StringTest, TakingOverKeepsTheVeryBytes) {
  std::string text = "longer than what a string object holds inside";
  const char *place = text.data();
  const NSString string = NSString::takingOver(std::move(text));
  EXPECT_EQ(string.bytes().data(), place);
  EXPECT_EQ(string, "longer than what a string object holds inside");
  EXPECT_STREQ(string.cString(), place);
}

TEST(StringTest, ATextThatFitsIntoTheObjectCanBeTakenOverToo) {
  NSString string = NSString::takingOver(std::string("a\0b"sv));
  const NSString copied = string;
  string = NSString::takingOver(std::string());
  EXPECT_EQ(copied, "a\0b"sv);
  EXPECT_EQ(string, "");
}

TEST(StringTest, JoiningPutsTheSeparatorBetweenNeighbours) {
  EXPECT_EQ(componentsJoinedByString({"a"_ns, "b"_ns, "c"_ns}, "--"), "a--b--c");
  EXPECT_EQ(componentsJoinedByString({"a"_ns}, "--"), "a");
  EXPECT_EQ(componentsJoinedByString({}, "--"), "");
}

TEST(StringTest, AnElementThatOccursTwiceIsSeparatedFromItself) {
  const NSString a = "a"_ns;
  EXPECT_EQ(componentsJoinedByString({a, a}, ","), "a,a");
}

TEST(StringTest, AppendingAPathComponentAddsOneSlash) {
  EXPECT_EQ(appended("/a"_ns, "b"), "/a/b");
  EXPECT_EQ(appended("a"_ns, "b c"), "a/b c");
}

TEST(StringTest, AppendingAPathComponentDropsTrailingSlashes) {
  EXPECT_EQ(appended("/a///"_ns, "b"), "/a/b");
  EXPECT_EQ(appended("/a//b/"_ns, "c"), "/a//b/c"); // only those at the end
}

TEST(StringTest, AppendingAPathComponentToTheRootKeepsTheRoot) {
  EXPECT_EQ(appended("/"_ns, "b"), "/b");
  EXPECT_EQ(appended("///"_ns, "b"), "/b");
}

TEST(StringTest, AppendingAnEmptyPathComponentOnlyDropsTrailingSlashes) {
  EXPECT_EQ(appended("/a//"_ns, ""), "/a");
  EXPECT_EQ(appended("/"_ns, ""), "/");
  EXPECT_EQ(appended(""_ns, ""), "");
}

TEST(StringTest, AppendingAPathComponentKeepsTheBytesOfBoth) {
  EXPECT_EQ(appended("/\xFF\0"_ns, "\xFE\0b"sv), "/\xFF\0/\xFE\0b"sv);
}

} // namespace
} // namespace tesker
