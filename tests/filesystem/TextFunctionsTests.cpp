#include "filesystem/TextFunctions.h"
#include "platform/foundation/NSException.h"
#include "tests/support/Texts.h"

#include <climits>
#include <gtest/gtest.h>

namespace tesker::test {
namespace {

TEST(GetSuffix, IsTheTextAfterTheLastDot) {
  EXPECT_EQ(getSuffix("a.tar.gz"_ns), "gz"_ns);
  EXPECT_EQ(getSuffix("Edit.app"_ns), "app"_ns);
}

TEST(GetSuffix, IsNilWithoutOneAndForNil) {
  EXPECT_FALSE(getSuffix(nullptr));
  EXPECT_FALSE(getSuffix("name"_ns));
  EXPECT_FALSE(getSuffix(""_ns));
  EXPECT_FALSE(getSuffix("name."_ns));
  EXPECT_FALSE(getSuffix("."_ns));
}

TEST(GetSuffix, CountsALeadingDot) { EXPECT_EQ(getSuffix(".profile"_ns), "profile"_ns); }

TEST(GetSuffix, TakesAnyBytes) { EXPECT_EQ(getSuffix("a.\xff\n\0b"_ns), "\xff\n\0b"_ns); }

TEST(Strip, IsTheTextBeforeTheLastDot) {
  EXPECT_EQ(strip("a.tar.gz"_ns), "a.tar"_ns);
  EXPECT_EQ(strip("name."_ns), "name"_ns);
  EXPECT_EQ(strip(".profile"_ns), ""_ns);
}

TEST(Strip, IsNilAndNotTheNameItselfWithoutADot) {
  EXPECT_FALSE(strip("name"_ns));
  EXPECT_FALSE(strip(""_ns));
  EXPECT_FALSE(strip(nullptr));
}

// What scanning answers, and what it stores where -7 was before.
struct Scan {
  int answer;
  int result;
  bool operator==(const Scan &) const = default;
};
Scan scan(const NSString &text, std::size_t start, std::size_t length) {
  Scan scan{0, -7};
  scan.answer = scanIntFromIString(text, start, length, scan.result);
  return scan;
}
Scan scan(const NSString &text) { return scan(text, 0, text.length()); }

TEST(ScanIntFromIString, AnswersTheLengthOfTheWholeTextNotOfTheDigits) {
  EXPECT_EQ(scan("12ab"_ns), (Scan{4, 12}));
  EXPECT_EQ(scan("12"_ns), (Scan{2, 12}));
}

TEST(ScanIntFromIString, AnswersZeroAndStoresNothingWithoutANumber) {
  EXPECT_EQ(scan("ab"_ns), (Scan{0, -7}));
  EXPECT_EQ(scan(""_ns), (Scan{0, -7}));
  EXPECT_EQ(scan("-"_ns), (Scan{0, -7}));
}

TEST(ScanIntFromIString, LooksAtTheSubstringOnly) {
  EXPECT_EQ(scan("ab345cd"_ns, 2, 2), (Scan{2, 34}));
  EXPECT_EQ(scan("ab345cd"_ns, 2, 5), (Scan{5, 345}));
  EXPECT_EQ(scan("ab3"_ns, 3, 0), (Scan{0, -7}));
}

TEST(ScanIntFromIString, TakesBlanksAndASignBefore) {
  EXPECT_EQ(scan(" \t-5"_ns), (Scan{4, -5}));
  EXPECT_EQ(scan("+5 "_ns), (Scan{3, 5}));
}

TEST(ScanIntFromIString, EndsAtANul) { EXPECT_EQ(scan("12\0ab"_ns), (Scan{2, 12})); }

TEST(ScanIntFromIString, StoresTheLargestNumberForOneThatIsTooLarge) {
  EXPECT_EQ(scan("2147483647"_ns), (Scan{10, INT_MAX}));
  EXPECT_EQ(scan("2147483648"_ns), (Scan{10, INT_MAX}));
  EXPECT_EQ(scan("99999999999999999999"_ns), (Scan{20, INT_MAX}));
  EXPECT_EQ(scan("-99999999999999999999"_ns), (Scan{21, INT_MIN}));
}

TEST(ScanIntFromIString, RaisesForARangeThatLeavesTheString) {
  const auto raised = [](std::size_t start, std::size_t length) -> std::string {
    try {
      scan("12ab"_ns, start, length);
      return "nothing";
    } catch (const NSException &exception) {
      return exception.name();
    }
  };
  EXPECT_EQ(raised(0, 5), NSRangeException);
  EXPECT_EQ(raised(5, 0), NSRangeException);
  EXPECT_EQ(raised(4, 1), NSRangeException);
  EXPECT_EQ(raised(2, SIZE_MAX), NSRangeException);
  EXPECT_EQ(raised(SIZE_MAX, 2), NSRangeException);
  EXPECT_EQ(raised(4, 0), "nothing");
}

} // namespace
} // namespace tesker::test
