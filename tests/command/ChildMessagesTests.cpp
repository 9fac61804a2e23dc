// What a confined child finds out comes through as it was, and nothing else is taken for it.
#include "command/ChildMessages.h"

#include <cerrno>
#include <gtest/gtest.h>
#include <optional>

namespace tesker::test {
namespace {

const Remark kRemark{.code = JudgementCode::damagedImage,
                     .detail = "x\n\xff",
                     .file = "/a b",
                     .line = 3,
                     .column = 4,
                     .offset = 0};

void expectEqual(const Remark &a, const Remark &b) {
  EXPECT_EQ(a.code, b.code);
  EXPECT_EQ(a.detail, b.detail);
  EXPECT_EQ(a.file, b.file);
  EXPECT_EQ(a.line, b.line);
  EXPECT_EQ(a.column, b.column);
  EXPECT_EQ(a.offset, b.offset);
}

TEST(ChildMessages, CarryAJudgement) {
  const Judgement sent{"/a", {.code = JudgementCode::found}, 7, {kRemark, kRemark}};
  const auto come = judgementIn(messageOf(sent));
  ASSERT_TRUE(come);
  EXPECT_EQ(come->path, "/a");
  EXPECT_EQ(come->records, 7U);
  expectEqual(come->verdict, sent.verdict);
  ASSERT_EQ(come->remarks.size(), 2U);
  expectEqual(come->remarks[1], kRemark);
}

TEST(ChildMessages, CarryAFindingALateRemarkAndAnError) {
  const auto finding = findingIn(messageOf({.file = "/f",
                                            .line = 1,
                                            .column = 2,
                                            .offset = 5,
                                            .isError = true,
                                            .word = "malformed-list",
                                            .text = ""}));
  ASSERT_TRUE(finding);
  EXPECT_EQ(lineOf(*finding), "/f:1:2: error: , at byte 5 [malformed-list]\n");
  const auto late = lateRemarkIn(messageOf(LateRemark{"/p", kRemark}));
  ASSERT_TRUE(late);
  EXPECT_EQ(late->path, "/p");
  expectEqual(late->remark, kRemark);
  EXPECT_EQ(errorIn(messageOfError(ENOENT)), ENOENT);
}

TEST(ChildMessages, HaveBlanksForTheNulsOfATextAndStayWhole) {
  const auto come = findingIn(messageOf({.file = std::string("a\0b", 3)}));
  ASSERT_TRUE(come);
  EXPECT_EQ(come->file, "a b");
}

TEST(ChildMessages, AreOfOneKindOnly) {
  const std::string finding = messageOf(Finding{.file = "/f"});
  EXPECT_FALSE(judgementIn(finding));
  EXPECT_FALSE(lateRemarkIn(finding));
  EXPECT_FALSE(errorIn(finding));
  for (const std::string_view bytes : {"", "judgement", "findings", "error", "late"}) {
    EXPECT_FALSE(judgementIn(bytes));
    EXPECT_FALSE(findingIn(bytes));
    EXPECT_FALSE(lateRemarkIn(bytes));
    EXPECT_FALSE(errorIn(bytes));
  }
  EXPECT_FALSE(findingIn(finding.substr(0, finding.size() - 1)));
}

} // namespace
} // namespace tesker::test
