#include "platform/foundation/NSData.h"
#include "platform/foundation/NSDate.h"
#include "platform/foundation/PropertyList.h"

#include <gtest/gtest.h>

#include <string>

namespace tesker {
namespace {

using namespace std::string_view_literals;

// How the string appears inside a container.
std::string inside(std::string_view text) {
  const auto array = NSMutableArray::create();
  array->addObject(NSString::create(text));
  std::string described(propertyListDescription(*array)->bytes());
  EXPECT_TRUE(described.starts_with('(') && described.ends_with(')'));
  return described.substr(1, described.size() - 2);
}

TEST(PropertyListDescriptionTest, AStringAloneDescribesItself) {
  EXPECT_EQ(propertyListDescription(*NSString::create("a \"b\"\n\0"sv))->bytes(), "a \"b\"\n\0"sv);
  EXPECT_EQ(propertyListDescription(*NSString::create(""))->bytes(), "");
}

TEST(PropertyListDescriptionTest, AStringOfUnquotedCharactersIsNotQuoted) {
  EXPECT_EQ(inside("azAZ09_$:.-/x//y"), "azAZ09_$:.-/x//y");
}

TEST(PropertyListDescriptionTest, AnEmptyStringIsQuoted) { EXPECT_EQ(inside(""), "\"\""); }

TEST(PropertyListDescriptionTest, AStringThatStartsWithASlashIsQuoted) {
  EXPECT_EQ(inside("/bin/rm"), "\"/bin/rm\"");
  EXPECT_EQ(inside("//x"), "\"//x\"");
}

TEST(PropertyListDescriptionTest, OtherCharactersAreQuoted) {
  EXPECT_EQ(inside("a b"), "\"a b\"");
  EXPECT_EQ(inside("a;"), "\"a;\"");
  EXPECT_EQ(inside("a\"b\\c"), R"("a\"b\\c")");
}

TEST(PropertyListDescriptionTest, ControlBytesAreEscapedSoThatItIsOneLine) {
  EXPECT_EQ(inside("a\nb"), R"("a\nb")");
  EXPECT_EQ(inside("\r\t\v\0\x7F"sv), R"("\015\011\013\000\177")");
}

TEST(PropertyListDescriptionTest, OctalEscapesKeepFollowingDigitsApart) {
  EXPECT_EQ(inside("\0017"sv), R"("\0017")");
  EXPECT_EQ(as<NSArray>(propertyList("(\"\\0017\")"))->objectAtIndex(0)->description()->bytes(),
            "\x01\x37");
}

TEST(PropertyListDescriptionTest, BytesAbove127AreWrittenAsTheyAre) {
  EXPECT_EQ(inside("caf\xC3\xA9"), "\"caf\xC3\xA9\"");
  EXPECT_EQ(inside("\xFF\x80"), "\"\xFF\x80\"");
}

TEST(PropertyListDescriptionTest, Containers) {
  const auto check = [](const char *text) {
    EXPECT_EQ(propertyListDescription(*propertyList(text))->bytes(), text);
  };
  check("(a, b)");
  check("()");
  check("{k = v; k2 = v2; }");
  check("{}");
  check("<0fbd77>");
  check("<>");
  check("({k = (<00>, {}); }, \"a b\")");
}

TEST(PropertyListDescriptionTest, ObjectsOfOtherKindsAppearAsTheirQuotedDescriptions) {
  const auto dictionary = NSMutableDictionary::create();
  dictionary->setObjectForKey(NSDate::dateWithTimeIntervalSince1970(0), *NSString::create("d"));
  EXPECT_EQ(propertyListDescription(*dictionary)->bytes(), "{d = \"<tesker::NSDate>\"; }");
}

TEST(PropertyListDescriptionTest, TheDescriptionOfAContainerIsItsPropertyListText) {
  const auto value = propertyList("({a = <00>; })");
  EXPECT_EQ(value->description()->bytes(), "({a = <00>; })");
}

} // namespace
} // namespace tesker
