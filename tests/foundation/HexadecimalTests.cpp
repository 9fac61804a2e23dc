#include "platform/foundation/Text.h"

#include <gtest/gtest.h>

#include <cstdint>

namespace tesker {
namespace {

using namespace std::string_view_literals;

TEST(DigitValueTest, ADigitHasItsValueInEitherCase) {
  for (unsigned value = 0; value < 16; ++value) {
    EXPECT_EQ(digitValue("0123456789abcdef"[value], 16), value);
    EXPECT_EQ(digitValue("0123456789ABCDEF"[value], 16), value);
  }
}

TEST(DigitValueTest, AByteThatIsNotADigitOfTheBaseHasNone) {
  EXPECT_EQ(digitValue('7', 8), 7U);
  EXPECT_EQ(digitValue('8', 8), std::nullopt);
  EXPECT_EQ(digitValue('9', 10), 9U);
  EXPECT_EQ(digitValue('a', 10), std::nullopt);
  for (const char byte : "gG/:@`\x80\xFF \0"sv)
    EXPECT_EQ(digitValue(byte, 16), std::nullopt) << static_cast<int>(byte);
}

TEST(AppendHexadecimalTest, EachByteIsTwoDigitsBehindWhatWasThere) {
  std::string text = "<";
  appendHexadecimal(text, "\x00\x0F\x7A\xFF"sv);
  EXPECT_EQ(text, "<000f7aff");
  appendHexadecimal(text, ""sv);
  EXPECT_EQ(text, "<000f7aff");
}

TEST(AppendHexadecimalTest, ANumberHasNeitherPrefixNorLeadingZeros) {
  std::string text;
  for (const std::uint64_t number :
       {std::uint64_t{0}, std::uint64_t{10}, std::uint64_t{0x1000}, UINT64_MAX}) {
    appendHexadecimal(text, number);
    text += ' ';
  }
  EXPECT_EQ(text, "0 a 1000 ffffffffffffffff ");
}

} // namespace
} // namespace tesker
