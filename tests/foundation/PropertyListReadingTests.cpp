#include "platform/foundation/PropertyList.h"

#include "platform/foundation/NSData.h"
#include "platform/foundation/NSException.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/Texts.h"

#include <gtest/gtest.h>

#include <string>

namespace tesker {
namespace {

using namespace std::string_view_literals;

// The string that the text holds; nil when it holds another kind of value.
NSString stringIn(std::string_view text) { return propertyList(text)->asString(); }

// The description of what the text holds.
NSString described(std::string_view text) { return propertyList(text)->description(); }

TEST(PropertyListReadingTest, AnUnquotedStringIsMadeOfLettersDigitsAndSixOtherCharacters) {
  EXPECT_EQ(stringIn("abcxyzABCXYZ0189_$/:.-"), "abcxyzABCXYZ0189_$/:.-");
  EXPECT_EQ(stringIn("5"), "5");
  EXPECT_EQ(stringIn("-1.5"), "-1.5");
}

TEST(PropertyListReadingTest, AnUnquotedStringCanBeAPath) {
  EXPECT_EQ(stringIn("/bin/rm"), "/bin/rm");
  EXPECT_EQ(stringIn("/"), "/");
}

TEST(PropertyListReadingTest, SlashesInsideAnUnquotedStringBeginNoComment) {
  EXPECT_EQ(stringIn("a//b"), "a//b");
}

TEST(PropertyListReadingTest, AQuotedStringHoldsAnyBytes) {
  EXPECT_EQ(stringIn("\"a b\n{}()<>=;,/* */ // '\""), "a b\n{}()<>=;,/* */ // '");
  EXPECT_EQ(stringIn("\"\""), "");
  EXPECT_EQ(stringIn("\"\xFF\x80\0\x01\""sv), "\xFF\x80\0\x01"sv);
}

TEST(PropertyListReadingTest, NamedEscapes) {
  EXPECT_EQ(stringIn(R"("\a\b\f\n\r\t\v\\\"")"), "\a\b\f\n\r\t\v\\\"");
}

TEST(PropertyListReadingTest, OtherEscapedCharactersStandForThemselves) {
  EXPECT_EQ(stringIn("\"\\q\\8\\'\\\n\\u0041\\\xFF\""), "q8'\nu0041\xFF");
}

TEST(PropertyListReadingTest, OctalEscapesTakeOneToThreeDigits) {
  EXPECT_EQ(stringIn(R"("\0\1\12\101\1012\018")"), "\0\x01\x0A\x41\x41\x32\x01\x38"sv);
}

TEST(PropertyListReadingTest, AnOctalEscapeAbove127IsThatCharacterInUTF8) {
  EXPECT_EQ(stringIn(R"("\351\377\200")"), "\xC3\xA9\xC3\xBF\xC2\x80");
}

TEST(PropertyListReadingTest, AnOctalEscapeAbove255IsTakenModulo256) {
  EXPECT_EQ(stringIn(R"("\501\777\400")"), "A\xC3\xBF\0"sv);
}

TEST(PropertyListReadingTest, UnicodeEscapesTakeUpToFourHexadecimalDigits) {
  EXPECT_EQ(stringIn(R"("\U41\U00e9\U20aC\U00411\U7g")"), "A\xC3\xA9\xE2\x82\xAC\x41\x31\x07g");
  EXPECT_EQ(stringIn(R"("\U7ff\U800\Uffff\U0")"), "\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF\0"sv);
}

TEST(PropertyListReadingTest, AUnicodeEscapeWithoutDigitsIsItsLetter) {
  EXPECT_EQ(stringIn(R"("\Ux\U")"), "UxU");
}

TEST(PropertyListReadingTest, SurrogatePairsJoin) {
  EXPECT_EQ(stringIn(R"("\Ud83d\Ude00\UD800\UDC00\UDBFF\UDFFF")"),
            "\xF0\x9F\x98\x80\xF0\x90\x80\x80\xF4\x8F\xBF\xBF");
}

TEST(PropertyListReadingTest, ALoneSurrogateIsTheReplacementCharacter) {
  constexpr std::string_view replacement = "\xEF\xBF\xBD";
  const std::string lone(replacement);
  EXPECT_EQ(stringIn(R"("\Ud83d")"), lone);
  EXPECT_EQ(stringIn(R"("\Ude00")"), lone);
  EXPECT_EQ(stringIn(R"("\Ud83dx")"), lone + "x");
  EXPECT_EQ(stringIn(R"("\Ud83d\n")"), lone + "\n");
  EXPECT_EQ(stringIn(R"("\Ud83d\U41")"), lone + "A");
  EXPECT_EQ(stringIn(R"("\Ud83d\Ux")"), lone + "Ux");
  EXPECT_EQ(stringIn(R"("\Ud83d\Ud83d\Ude00")"), lone + "\xF0\x9F\x98\x80");
  EXPECT_EQ(stringIn(R"("\Ude00\Ud83d")"), lone + lone);
}

TEST(PropertyListReadingTest, Arrays) {
  EXPECT_EQ(described("(a,b , c)"), "(a, b, c)");
  EXPECT_EQ(described("()"), "()");
  EXPECT_EQ(described("( )"), "()");
  EXPECT_EQ(described("((a),(),{})"), "((a), (), {})");
}

TEST(PropertyListReadingTest, ACommaBeforeTheEndOfAnArrayIsAllowed) {
  EXPECT_EQ(described("(a, b,)"), "(a, b)");
  EXPECT_EQ(described("(a , )"), "(a)");
}

TEST(PropertyListReadingTest, Dictionaries) {
  EXPECT_EQ(described("{a=b;c = d ; }"), "{a = b; c = d; }");
  EXPECT_EQ(described("{}"), "{}");
  EXPECT_EQ(described("{ }"), "{}");
  EXPECT_EQ(described("{a={b=(c);};}"), "{a = {b = (c); }; }");
  EXPECT_EQ(described("{\"a b\"=\"\";\"\"=x;}"), "{\"a b\" = \"\"; \"\" = x; }");
}

TEST(PropertyListReadingTest, DictionariesKeepTheOrderOfTheText) {
  EXPECT_EQ(described("{z=1;a=2;m=3;}"), "{z = 1; a = 2; m = 3; }");
}

TEST(PropertyListReadingTest, TheLastOfTwoEqualKeysWinsInTheFirstOnesPlace) {
  EXPECT_EQ(described("{a=1;b=2;a=3;}"), "{a = 3; b = 2; }");
  EXPECT_EQ(described("{a=1;b=2;\"a\"=(3);}"), "{a = (3); b = 2; }");
}

TEST(PropertyListReadingTest, TheRegisteredDefaultsText) {
  EXPECT_EQ(described("{rm = /bin/rm; tar = /usr/bin/gnutar; AlwaysTarForCompress = Yes; }"),
            "{rm = \"/bin/rm\"; tar = \"/usr/bin/gnutar\"; AlwaysTarForCompress = Yes; }");
}

TEST(PropertyListReadingTest, Data) {
  const auto data = propertyList("<0fbD77>");
  ASSERT_NE(data->asData(), nullptr);
  EXPECT_EQ(data->asData()->bytes(), "\x0F\xBD\x77");
  EXPECT_EQ(propertyList("<>")->asData()->bytes(), "");
}

TEST(PropertyListReadingTest, BlanksMayStandAnywhereInData) {
  EXPECT_EQ(propertyList("< 0f\nb d\t7 7 >")->asData()->bytes(), "\x0F\xBD\x77");
}

TEST(PropertyListReadingTest, BlanksAreBytes9To13And32) {
  EXPECT_EQ(described("\t\n\v\f\r (\t\n\v\f\r a\t\n\v\f\r ,\t\n\v\f\r b\t\n\v\f\r )\t\n\v\f\r "),
            "(a, b)");
  EXPECT_EQ(described(" { a = b ; } "), "{a = b; }");
}

TEST(PropertyListReadingTest, CommentsMayStandWhereATokenCouldBegin) {
  EXPECT_EQ(described("// one\n/* two */ ( // three\n a /* four */, /**/ b // five\n ) // six"),
            "(a, b)");
  EXPECT_EQ(described("/**/{/**/\"a\"/**/=/**/b /**/;/**/}/**/"), "{a = b; }");
}

TEST(PropertyListReadingTest, ALongCommentMayHoldLinesAndStars) {
  EXPECT_EQ(stringIn("/* a\n * b // c\n **/ x"), "x");
  EXPECT_EQ(stringIn("/*/ x */ y"), "y");
}

TEST(PropertyListReadingTest, AShortCommentEndsWithTheLineOrTheText) {
  EXPECT_EQ(stringIn("x //"), "x");
  EXPECT_EQ(stringIn("// a /* b\nx"), "x");
}

TEST(PropertyListReadingTest, ANestingOf512IsTheDeepest) {
  const std::string text = std::string(512, '(') + std::string(512, ')');
  EXPECT_EQ(described(text), text);
  std::string dictionaries;
  for (int i = 0; i < 512; ++i)
    dictionaries += "{k = ";
  dictionaries += "x";
  for (int i = 0; i < 512; ++i)
    dictionaries += "; }";
  EXPECT_EQ(described(dictionaries), dictionaries);
}

TEST(PropertyListReadingTest, NestingCountsDepthNotNumber) {
  std::string text = "(";
  for (int i = 0; i < 2000; ++i)
    text += "({}),";
  text += ")";
  EXPECT_EQ(propertyList(text)->asArray()->count(), 2000U);
}

TEST(PropertyListReadingTest, LargeTextsAreRead) {
  // Work that grew with the square of the size would not end.
  constexpr std::size_t kCount = 50000;
  std::string array = "(";
  std::string dictionary = "{";
  for (std::size_t i = 0; i < kCount; ++i) {
    array += "\"\\Ud800\", // comment\n";
    dictionary += "k" + std::to_string(i) + " = /* c */ v;";
  }
  EXPECT_EQ(propertyList(array + ")")->asArray()->count(), kCount);
  const auto read = propertyList(dictionary + "}");
  EXPECT_EQ(read->asDictionary()->count(), kCount);
  EXPECT_EQ(read->asDictionary()->stringForKey("k49999"), "v");
  std::string escapes;
  for (std::size_t i = 0; i < kCount; ++i)
    escapes += "\\Ud800";
  EXPECT_EQ(stringIn("\"" + escapes + "\"").length(), 3 * kCount);
}

TEST(DictionaryWithContentsOfFileTest, ADictionaryIsRead) {
  const test::TemporaryDirectory directory;
  const NSString file = NSString::create(directory.writeFile("f", "/* c */ {a = (b); }\n"));
  EXPECT_EQ(dictionaryWithContentsOfFile(file)->description(), "{a = (b); }");
}

TEST(DictionaryWithContentsOfFileTest, AnUnreadableFileIsNil) {
  const test::TemporaryDirectory directory;
  EXPECT_FALSE(dictionaryWithContentsOfFile(directory.string("none")));
  EXPECT_FALSE(dictionaryWithContentsOfFile(directory.string()));
  EXPECT_FALSE(dictionaryWithContentsOfFile(""_ns));
  EXPECT_FALSE(dictionaryWithContentsOfFile(nullptr));
}

TEST(DictionaryWithContentsOfFileTest, AFileOfMoreThan16MebibytesIsNil) {
  const test::TemporaryDirectory directory;
  const std::string limit = "{}" + std::string((std::size_t{16} << 20) - 2, ' ');
  const auto read = [&](const std::string &text) {
    return dictionaryWithContentsOfFile(NSString::create(directory.writeFile("f", text)));
  };
  EXPECT_TRUE(read(limit));
  EXPECT_FALSE(read(limit + " "));
}

TEST(DictionaryWithContentsOfFileTest, AnotherKindOfValueIsNil) {
  const test::TemporaryDirectory directory;
  for (const char *text : {"(a)", "a", "\"{}\"", "<00>"})
    EXPECT_FALSE(dictionaryWithContentsOfFile(NSString::create(directory.writeFile("f", text))))
        << text;
}

TEST(DictionaryWithContentsOfFileTest, MalformedTextRaises) {
  const test::TemporaryDirectory directory;
  for (const char *text : {"", "{a = b }", "{a = b; } x"})
    EXPECT_THROW(
        (void)dictionaryWithContentsOfFile(NSString::create(directory.writeFile("f", text))),
        NSException)
        << text;
}

} // namespace
} // namespace tesker
