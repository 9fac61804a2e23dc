#include "platform/foundation/PropertyListDescription.h"

#include "platform/foundation/PropertyList.h"
#include "tests/support/Texts.h"

#include <gtest/gtest.h>

#include <string>

namespace tesker {

class StrangeObject final : public NSObject {
public:
  static Ref<StrangeObject> create() { return allocate<StrangeObject>(NSDefaultMallocZone()); }

private:
  friend NSObject;
  StrangeObject() = default;
};

namespace {

using namespace std::string_view_literals;

// How the string appears inside a container.
std::string inside(std::string_view text) {
  const std::string described(propertyListDescription(*test::arrayOf({text})).bytes());
  EXPECT_TRUE(described.starts_with('(') && described.ends_with(')'));
  return described.substr(1, described.size() - 2);
}

TEST(PropertyListDescriptionTest, AStringAloneDescribesItself) {
  EXPECT_EQ(propertyListDescription(*"a \"b\"\n\0"_ns.object()), "a \"b\"\n\0"sv);
  EXPECT_EQ(propertyListDescription(*""_ns.object()), "");
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
  EXPECT_EQ(propertyList(R"("\0017")")->asString(), "\x01\x37");
}

TEST(PropertyListDescriptionTest, BytesAbove127AreWrittenAsTheyAre) {
  EXPECT_EQ(inside("caf\xC3\xA9"), "\"caf\xC3\xA9\"");
  EXPECT_EQ(inside("\xFF\x80"), "\"\xFF\x80\"");
}

TEST(PropertyListDescriptionTest, Containers) {
  const auto check = [](const char *text) {
    EXPECT_EQ(propertyListDescription(*propertyList(text)), text);
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
  const auto dictionary = NSDictionary::create();
  dictionary->setObjectForKey(StrangeObject::create(), "d"_ns);
  EXPECT_EQ(propertyListDescription(*dictionary), "{d = \"<tesker::StrangeObject>\"; }");
}

TEST(PropertyListDescriptionTest, TheDescriptionOfAContainerIsItsPropertyListText) {
  const auto value = propertyList("({a = <00>; })");
  EXPECT_EQ(value->description(), "({a = <00>; })");
}

TEST(PropertyListDescriptionTest, OfAContainerTheDescriptionAloneCanStay) {
  const auto value = propertyList("({b = <00>; a = (x, \"\"); })");
  const Ref<NSObject> only = descriptionOnly(*value);
  EXPECT_EQ(only->description(), "({b = <00>; a = (x, \"\"); })");
  EXPECT_EQ(only->asArray(), nullptr);
}

TEST(PropertyListDescriptionTest, WhatStaysOfContainersIsEqualWhereTheyWere) {
  const auto same = [](const char *one, const char *other) {
    const auto a = propertyList(one), b = propertyList(other);
    const Ref<NSObject> onlyA = descriptionOnly(*a), onlyB = descriptionOnly(*b);
    EXPECT_EQ(onlyA->isEqual(*onlyB), a->isEqual(*b)) << one << other;
    if (a->isEqual(*b)) {
      EXPECT_EQ(onlyA->hash(), onlyB->hash()) << one << other;
    }
    return onlyA->isEqual(*onlyB);
  };
  EXPECT_TRUE(same("(a, b)", "( \"a\", b )"));
  EXPECT_FALSE(same("(a, b)", "(b, a)"));
  EXPECT_TRUE(same("{a = 1; b = (x, {c = 2; d = 3;});}", "{b = (x, {d = 3; c = 2;}); a = 1;}"));
  EXPECT_FALSE(same("{a = 1; b = 2;}", "{a = 2; b = 1;}"));
  EXPECT_TRUE(same("<0a>", "<0A>"));
  EXPECT_FALSE(same("<0a>", "(<0a>)"));
  EXPECT_FALSE(same("(<0a>)", "(\"<0a>\")"));
  const auto text = "(a, b)"_ns.object().toRef();
  EXPECT_FALSE(descriptionOnly(*propertyList("(a, b)"))->isEqual(*text));
  EXPECT_FALSE(text->isEqual(*descriptionOnly(*propertyList("(a, b)"))));
}

} // namespace
} // namespace tesker
