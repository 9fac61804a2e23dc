#include "platform/foundation/Text.h"

#include <gtest/gtest.h>

namespace tesker {
namespace {

std::string encoded(char32_t code) {
  std::string text;
  appendUtf8(text, code);
  return text;
}

TEST(AppendUtf8, WritesOneToFourBytes) {
  EXPECT_EQ(encoded(0), std::string(1, '\0'));
  EXPECT_EQ(encoded(0x7F), "\x7F");
  EXPECT_EQ(encoded(0x80), "\xC2\x80");
  EXPECT_EQ(encoded(0x7FF), "\xDF\xBF");
  EXPECT_EQ(encoded(0x800), "\xE0\xA0\x80");
  EXPECT_EQ(encoded(0xFFFF), "\xEF\xBF\xBF");
  EXPECT_EQ(encoded(0x10000), "\xF0\x90\x80\x80");
  EXPECT_EQ(encoded(0x10FFFF), "\xF4\x8F\xBF\xBF");
}

TEST(AppendUtf8, AppendsToWhatWasThere) {
  std::string text = "caf";
  appendUtf8(text, 0xE9);
  EXPECT_EQ(text, "caf\xC3\xA9");
}

TEST(FirstUtf8Character, ReadsBackEveryCodeThatIsWritten) {
  for (char32_t code = 0; code <= 0x10FFFF; ++code) {
    if (code == 0xD800)
      code = 0xE000; // surrogates are not characters
    const std::string text = encoded(code);
    const Utf8Character read = firstUtf8Character(text + "a");
    ASSERT_EQ(read.length, text.size()) << std::size_t{code};
    ASSERT_EQ(read.code, code);
  }
}

TEST(FirstUtf8Character, HasNoLengthForWhatIsNotUtf8) {
  for (const char *bytes : {"",
                            "\x80",
                            "\xBF",
                            "\xC0\x80",
                            "\xC1\xBF",
                            "\xE0\x80\x80",
                            "\xE0\x9F\xBF",
                            "\xED\xA0\x80",
                            "\xED\xBF\xBF",
                            "\xF0\x80\x80\x80",
                            "\xF0\x8F\xBF\xBF",
                            "\xF4\x90\x80\x80",
                            "\xF5\x80\x80\x80",
                            "\xFF",
                            "\xC3",
                            "\xC3(",
                            "\xE2\x82",
                            "\xE2(\xAC",
                            "\xF0\x9F\x8D",
                            "\xF0\x9F\x8D("})
    EXPECT_EQ(firstUtf8Character(bytes).length, 0U) << testing::PrintToString(bytes);
}

TEST(Utf8, AcceptsCharactersOfEveryLength) {
  EXPECT_TRUE(isUtf8(""));
  EXPECT_TRUE(isUtf8("a\xC3\xA4\xE2\x82\xAC\xF0\x9F\x8D\x8E"));
  EXPECT_TRUE(isUtf8(std::string_view("\0", 1)));
  EXPECT_TRUE(isUtf8("\xF4\x8F\xBF\xBF"));
}

TEST(Utf8, RefusesOverlongFormsSurrogatesAndWhatIsTooHigh) {
  for (const char *bytes : {"\xC0\x80", "\xC1\xBF", "\xE0\x9F\xBF", "\xF0\x8F\xBF\xBF",
                            "\xED\xA0\x80", "\xED\xBF\xBF", "\xF4\x90\x80\x80", "\xF5\x80\x80\x80"})
    EXPECT_FALSE(isUtf8(bytes));
}

TEST(Utf8, RefusesBrokenCharacters) {
  for (const char *bytes : {"\x80", "\xC3", "\xE2\x82", "\xE2\x82z", "\xF0\x9F\x8D", "\xFF"})
    EXPECT_FALSE(isUtf8(bytes));
}

} // namespace
} // namespace tesker
