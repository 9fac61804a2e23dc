#include "platform/foundation/NSException.h"
#include "platform/foundation/PropertyList.h"
#include "platform/foundation/PropertyListDescription.h"
#include "tests/support/Texts.h"

#include <gtest/gtest.h>

#include <string>

namespace tesker {
namespace {

NSString describedStrings(std::string_view text) {
  return propertyListFromStringsFileFormat(text)->description();
}

std::string stringsProblem(std::string_view text) {
  try {
    return "read as " + std::string(describedStrings(text).bytes());
  } catch (const NSException &exception) {
    EXPECT_EQ(exception.name(), "NSParseErrorException");
    return exception.reason();
  }
}

TEST(StringsFileTest, PairsStandOneAfterTheOtherWithoutBraces) {
  EXPECT_EQ(describedStrings("\"a b\" = \"c d\";\ne = f;g=h;"),
            "{\"a b\" = \"c d\"; e = f; g = h; }");
}

TEST(StringsFileTest, AKeyAloneIsItsOwnValue) {
  EXPECT_EQ(describedStrings("a;\n\"b c\" ;"), "{a = a; \"b c\" = \"b c\"; }");
}

TEST(StringsFileTest, ValuesMayBeOfAnyKind) {
  EXPECT_EQ(describedStrings("a = (b, c); d = {e = f; }; g = <00>;"),
            "{a = (b, c); d = {e = f; }; g = <00>; }");
}

TEST(StringsFileTest, AnEmptyFileIsAnEmptyDictionary) {
  for (const char *text : {"", " \n", "/* only a comment */", "// only a comment"})
    EXPECT_EQ(describedStrings(text), "{}") << text;
}

TEST(StringsFileTest, CommentsMayStandWhereATokenCouldBegin) {
  EXPECT_EQ(
      describedStrings("/* header */\n// line\na /* key */ = /* value */ b /* end */; // done"),
      "{a = b; }");
}

TEST(StringsFileTest, TheLastOfTwoEqualKeysWinsInTheFirstOnesPlace) {
  EXPECT_EQ(describedStrings("a = 1; b = 2; a = 3; b;"), "{a = 3; b = b; }");
}

TEST(StringsFileTest, AMissingSemicolonIsMalformed) {
  EXPECT_EQ(stringsProblem("a = b"), "expected \";\" after a pair at line 1, column 6");
  EXPECT_EQ(stringsProblem("a"), "expected \";\" after a pair at line 1, column 2");
  EXPECT_EQ(stringsProblem("a = b\nc = d;"), "expected \";\" after a pair at line 2, column 1");
}

TEST(StringsFileTest, BracesAroundThePairsAreMalformed) {
  EXPECT_EQ(stringsProblem("{a = b;}"), "expected a key at line 1, column 1");
  EXPECT_EQ(stringsProblem("a = b;}"), "expected a key at line 1, column 7");
}

TEST(StringsFileTest, AKeyAloneInsideBracesIsMalformed) {
  EXPECT_EQ(stringsProblem("a = {b;};"), "expected \"=\" after a key at line 1, column 7");
}

TEST(StringsFileTest, AValueMayNest512DeepAndNoDeeper) {
  const std::string deepest = std::string(512, '(') + std::string(512, ')');
  EXPECT_EQ(describedStrings("a = " + deepest + ";"), "{a = " + deepest + "; }");
  EXPECT_EQ(stringsProblem("a = (" + deepest + ");"), "nesting too deep at line 1, column 518");
}

TEST(StringsFileTest, ADictionaryIsWrittenOnePairALine) {
  const auto dictionary = propertyListFromStringsFileFormat("a = b; \"c d\" = (e, {f = g; });");
  EXPECT_EQ(descriptionInStringsFileFormat(*dictionary), "a = b;\n\"c d\" = (e, {f = g; });\n");
  EXPECT_EQ(descriptionInStringsFileFormat(*NSDictionary::create()), "");
}

} // namespace
} // namespace tesker
