// What is said of descriptions and executables, with the place in them.
#include "tests/finding/JudgementTest.h"
#include "tests/support/ElfBuilder.h"

#include <gmock/gmock.h>

namespace tesker::test {
namespace {

using ::testing::HasSubstr;
using ::testing::StartsWith;

// ---- descriptions ----

TEST_F(JudgementTest, AMalformedListIsToldWithItsPlace) {
  searchWrapper("{\n  NSExecutable = Foo;\n  NSIcon foo;\n}\n");
  EXPECT_EQ(said("tree/Foo.app"), "malformed-list");
  const Remark remark = remarkOn("tree/Foo.app", JudgementCode::malformedList);
  EXPECT_EQ(remark.file, directory_.path("tree/Foo.app/Resources/Info-quorvale.plist"));
  EXPECT_EQ(remark.line, 3U);
  EXPECT_EQ(remark.column, 10U);
  EXPECT_EQ(remark.detail, "expected \"=\" after a key");
}

TEST_F(JudgementTest, AListWhereADictionaryShouldBeIsOfTheWrongKind) {
  searchWrapper("( a, b )");
  EXPECT_EQ(said("tree/Foo.app"), "wrong-kind");
}

TEST_F(JudgementTest, AMisspeltKeyIsNamedWithTheOneThatWasMeant) {
  searchWrapper("{\n  NSExecutble = Foo;\n}\n");
  EXPECT_EQ(said("tree/Foo.app"), "found");
  EXPECT_EQ(said("tree/Foo.app/Resources"), "wrapper-part unknown-key missing-key");
  const Remark remark = remarkOn("tree/Foo.app/Resources", JudgementCode::unknownKey);
  EXPECT_EQ(remark.detail, "NSExecutble: did you mean NSExecutable?");
  EXPECT_EQ(remark.line, 2U);
  EXPECT_EQ(remark.column, 3U);
}

TEST_F(JudgementTest, AValueOfTheWrongKindIsToldWithItsPlace) {
  searchWrapper("{ NSExecutable = Foo;\n  NSExtensions = txt;\n NSTypes = { a = b; }; }");
  EXPECT_EQ(said("tree/Foo.app/Resources"), "wrapper-part wrong-kind wrong-kind");
  const Remark first = remarkOn("tree/Foo.app/Resources", JudgementCode::wrongKind);
  EXPECT_EQ(first.detail, "NSTypes is not an array");
  EXPECT_EQ(first.line, 3U);
  EXPECT_EQ(first.column, 12U);
}

TEST_F(JudgementTest, TheElementThatEndsTheTypesIsToldWithItsPlace) {
  searchWrapper("{ NSExecutable = Foo; NSTypes = (\n  { NSExtensions = (a); },\n  bad,\n"
                "  { NSExtensions = (b); } ); }");
  EXPECT_EQ(records_, 2U);
  const Remark remark = remarkOn("tree/Foo.app/Resources", JudgementCode::typesCutShort);
  EXPECT_EQ(remark.line, 3U);
  EXPECT_EQ(remark.column, 3U);
  EXPECT_EQ(remark.detail, "the element is not a dictionary");
}

TEST_F(JudgementTest, ADescriptionOfTooManyBytesIsToldApart) {
  searchWrapper(std::string((std::size_t{16} << 20) + 1, ' '));
  EXPECT_EQ(said("tree/Foo.app"), "description-too-large");
}

// ---- executables ----

TEST_F(JudgementTest, AnExecutableOfAnotherProcessorNamesBoth) {
  directory_.writeFile("tree/one", imageOf(examples::kM68k, "F\tOne\tApplication\ticon\n"), 0755);
  search();
  EXPECT_EQ(said("tree/one"), "found other-processor");
  EXPECT_THAT(remarkOn("tree/one", JudgementCode::otherProcessor).detail, HasSubstr(" and not "));
}

TEST_F(JudgementTest, AnELFProgramIsJudgedByItsHeader) {
  const std::string header = "F\tOne\tApplication\ticon\nQ\tx\n";
  directory_.writeFile("tree/ours", elfProgram(header, kElfI386), 0755);
  directory_.writeFile("tree/other", elfProgram(header, kElfPPC), 0755);
  directory_.writeFile("tree/mute", ElfBuilder(kElfI386).bytes(), 0755);
  search();
  EXPECT_EQ(said("tree/ours"), "found malformed-header-line");
  EXPECT_EQ(remarkOn("tree/ours", JudgementCode::malformedHeaderLine).line, 2U);
  EXPECT_EQ(said("tree/other"), "found other-processor malformed-header-line");
  EXPECT_EQ(remarkOn("tree/other", JudgementCode::otherProcessor).detail, "PowerPC and not 80x86");
  EXPECT_EQ(remarkOn("tree/mute", JudgementCode::noSelfDescription).detail, "an ELF program");
}

TEST_F(JudgementTest, AnELFProgramWhoseHeaderLeavesItIsDamaged) {
  ElfBuilder elf(kElfI386);
  elf.noteSegment(elf.ourNote(DescriptionNote::header, "F\tOne\tA\ti\n").substr(0, 24));
  directory_.writeFile("tree/one", elf.bytes(), 0755);
  search();
  EXPECT_EQ(said("tree/one"), "damaged-image");
  EXPECT_EQ(remarkOn("tree/one", JudgementCode::damagedImage).offset, elf.segments[0].p_offset);
}

TEST_F(JudgementTest, LinesOfAHeaderThatAreNotCommandsAreNumbered) {
  directory_.writeFile(
      "tree/one", imageOf(examples::kI386, "F\tOne\tA\ti\n\nQ\tx\n{ a = b;\n c }\nS\ttxt\tA\n"),
      0755);
  search();
  EXPECT_THAT(said("tree/one"), StartsWith("found malformed-header-line malformed-header-line"));
  EXPECT_EQ(judgements_.at(directory_.path("tree/one"))->remarks[0].line, 3U);
  EXPECT_EQ(judgements_.at(directory_.path("tree/one"))->remarks[0].detail, "Q");
  EXPECT_EQ(judgements_.at(directory_.path("tree/one"))->remarks[1].line, 5U);
  EXPECT_EQ(judgements_.at(directory_.path("tree/one"))->remarks[1].column, 4U);
}

TEST_F(JudgementTest, BracesThatCannotBeReadAreToldOnceAndByTheirCause) {
  directory_.writeFile("tree/one", imageOf(examples::kI386, "{ a = b }  x\nF\tOne\tA\ti\n"), 0755);
  search();
  EXPECT_EQ(said("tree/one"), "found malformed-header-line");
  const Remark remark = remarkOn("tree/one", JudgementCode::malformedHeaderLine);
  EXPECT_EQ(remark.detail, "expected \";\" after a pair");
  EXPECT_EQ(remark.column, 9U);
}

TEST_F(JudgementTest, NoEntryHasRemarksWithoutAnEnd) {
  std::string header;
  for (std::size_t i = 0; i < kMostRemarks + 5; ++i)
    header += "X\n";
  directory_.writeFile("tree/one", imageOf(examples::kI386, header), 0755);
  search();
  const auto &remarks = judgements_.at(directory_.path("tree/one"))->remarks;
  ASSERT_EQ(remarks.size(), kMostRemarks + 1);
  EXPECT_EQ(remarks.back().code, JudgementCode::limitsReached);
}

TEST_F(JudgementTest, DetailsAreToldOnlyToAJudgeThatWantsThem) {
  class Detailed final : public Judge {
  public:
    void note(const Judgement &) override {}
    bool wantsDetails() const override { return true; }
    void noteDetail(const std::string &, const Remark &detail) override {
      said += std::string(wordOf(detail.code)) + " " + detail.detail + "\n";
    }
    std::string said;
  };
  constexpr const char *kText = "{ NSExecutable = Foo; NSVersion = 1; NSVersion = 2;\n"
                                "  NSTypes = ( { NSExtensions = (a); NSIcon = i; } ); }";
  searchWrapper(kText);
  EXPECT_EQ(said("tree/Foo.app/Resources"), "wrapper-part");
  Detailed judge;
  ApplicationWalk([] {}).doForPath(directory_.string("tree"));
  EXPECT_EQ(judge.said, "repeated-key \nignored nobody looks for NSVersion\nname-taken Foo\n"
                        "icon-taken i\nextension-taken a\n");
}

TEST_F(JudgementTest, DamagedImagesAreToldWithTheOffset) {
  std::string cut = kDescribing;
  cut[28 + 4] = 3; // the size of the first load command
  directory_.writeFile("tree/commands", cut, 0755);
  directory_.writeFile("tree/fat", std::string("\xca\xfe\xba\xbe\0\0\x1\0", 8), 0755);
  search();
  EXPECT_EQ(said("tree/commands"), "damaged-image");
  EXPECT_EQ(remarkOn("tree/commands", JudgementCode::damagedImage).offset, 28U);
  EXPECT_EQ(said("tree/fat"), "damaged-image");
  EXPECT_EQ(remarkOn("tree/fat", JudgementCode::damagedImage).detail,
            "its header announces 256 architectures, more than it holds");
}

TEST_F(JudgementTest, WhatASearchHasNoRoomForIsNotFound) {
  for (const char *name : {"a", "b", "c"})
    directory_.writeFile("tree/" + std::string(name), kDescribing, 0755);
  directory_.writeFile("tree/Foo.app/Foo", kDescribing, 0755);
  directory_.writeFile("tree/Foo.app/x.tool/x", kDescribing, 0755);
  for (std::size_t most = 0; most <= 5; ++most) {
    KeptJudgements judgements;
    ApplicationWalk walk([] {}, {.records = most});
    walk.doForPath(directory_.string("tree"));
    EXPECT_EQ(walk.lines().size(), most);
    EXPECT_EQ(judgements.records(), most);
    for (const Judgement &judgement : judgements.all)
      EXPECT_EQ(judgement.verdict.code == JudgementCode::found, judgement.records > 0)
          << most << " " << judgement.path;
    for (const char *name : {"a", "b", "c", "Foo.app"})
      EXPECT_NE(judgements.of(directory_.path("tree/" + std::string(name))), "") << most;
  }
}

} // namespace
} // namespace tesker::test
