#include "filesystem/FileManagerUtils.h"
#include "platform/foundation/NSException.h"
#include "tests/support/LogCapture.h"
#include "tests/support/Texts.h"

#include <climits>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unordered_set>

namespace tesker::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

std::string suffix(const Ref<NSString> &name) { return textOf(getSuffix(&*name)); }
std::string stripped(const Ref<NSString> &name) { return textOf(strip(&*name)); }

TEST(GetSuffix, IsTheTextAfterTheLastDot) {
  EXPECT_EQ(suffix("a.tar.gz"_ns), "gz");
  EXPECT_EQ(suffix("Edit.app"_ns), "app");
}

TEST(GetSuffix, IsNilWithoutOneAndForNil) {
  EXPECT_FALSE(getSuffix(nullptr));
  EXPECT_EQ(suffix("name"_ns), "(nil)");
  EXPECT_EQ(suffix(""_ns), "(nil)");
  EXPECT_EQ(suffix("name."_ns), "(nil)");
  EXPECT_EQ(suffix("."_ns), "(nil)");
}

TEST(GetSuffix, CountsALeadingDot) { EXPECT_EQ(suffix(".profile"_ns), "profile"); }

TEST(GetSuffix, TakesAnyBytes) { EXPECT_EQ(suffix("a.\xff\n\0b"_ns), std::string("\xff\n\0b", 4)); }

TEST(Strip, IsTheTextBeforeTheLastDot) {
  EXPECT_EQ(stripped("a.tar.gz"_ns), "a.tar");
  EXPECT_EQ(stripped("name."_ns), "name");
  EXPECT_EQ(stripped(".profile"_ns), "");
}

TEST(Strip, IsNilAndNotTheNameItselfWithoutADot) {
  EXPECT_EQ(stripped("name"_ns), "(nil)");
  EXPECT_EQ(stripped(""_ns), "(nil)");
  EXPECT_FALSE(strip(nullptr));
}

// What scanning answers, and what it stores where -7 was before.
struct Scan {
  int answer;
  int result;
  bool operator==(const Scan &) const = default;
};
Scan scan(const Ref<NSString> &text, std::size_t start, std::size_t length) {
  Scan scan{0, -7};
  scan.answer = scanIntFromIString(*text, start, length, scan.result);
  return scan;
}
Scan scan(const Ref<NSString> &text) { return scan(text, 0, text->length()); }

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

TEST(TeskerBug, LogsTheMessageAsTheFormat) {
  LogCapture log;
  TeskerBug("globalCachedDirStat: nil dir");
  TeskerBug("statDir: Inconsistency 1 %@/%@", {"/dir", "file"});
  EXPECT_THAT(log.logged,
              ElementsAre("globalCachedDirStat: nil dir", "statDir: Inconsistency 1 /dir/file"));
  EXPECT_THAT(log.syslogged, IsEmpty());
}

TEST(Error, RaisesTheGenericFilerExceptionWithTheReason) {
  try {
    _ERROR(*"100% impossible: %@"_ns);
    FAIL() << "nothing was raised";
  } catch (const NSException &exception) {
    EXPECT_EQ(exception.name(), "TeskerGenericFilerException");
    EXPECT_EQ(exception.reason(), "100% impossible: %@");
  }
}

TEST(StringKeyCallbacks, CompareRecordsByTheirString) {
  struct Record {
    Ref<NSString> key;
    int value;
  };
  Record first{"key"_ns, 1};
  Record equal{"key"_ns, 2};
  Record other{"other"_ns, 1};
  EXPECT_EQ(hashStringKey()(&first), first.key->hash());
  EXPECT_TRUE(isEqualStringKey()(&first, &equal));
  EXPECT_FALSE(isEqualStringKey()(&first, &other));
  const std::unordered_set<Record *, hashStringKey, isEqualStringKey> set{&first, &equal, &other};
  EXPECT_EQ(set.size(), 2u);
}

} // namespace
} // namespace tesker::test
