// check of executables and wrappers, of texts of which nobody says what they are, and of the
// sample.
#include "examples/SampleTree.h"
#include "platform/foundation/OperatingSystem.h"
#include "tests/command/CheckTest.h"
#include "tests/support/DescribingImage.h"
#include "tests/support/ElfBuilder.h"
#include "tests/support/OrderedListings.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <unistd.h>

namespace tesker::test {
namespace {

constexpr std::chrono::seconds kLong{100};

std::string linesOf(const CheckAnswer &answer) {
  std::string lines;
  for (const Finding &finding : answer.findings)
    lines += lineOf(finding);
  return lines;
}

constexpr const char *kList = "{ NSExecutable = Foo; }";

// ---- executables and wrappers ----

TEST_F(CheckTest, LinesOfAnExecutablesHeaderAreToldByTheirPlaceInIt) {
  directory_.writeFile("one", imageWithHeader("F\tOne\tA\ti\nS\ttxt\n"), 0755);
  EXPECT_EQ(said("one"), "one:2:6 error malformed-header-line\n");
}

TEST_F(CheckTest, ABadLineIsTheOnlyErrorOfWhatSaysNothingElse) {
  directory_.writeFile("one", imageWithHeader("X\n"), 0755);
  EXPECT_EQ(said("one"), "one:1:1 error malformed-header-line\n");
  directory_.writeFile("Foo.app/Foo", imageWithHeader("X\n"), 0755);
  EXPECT_EQ(said("Foo.app"), "Foo.app/Foo:1:1 error malformed-header-line\n");
}

TEST_F(CheckTest, AnExecutableThatSaysNothingIsAnError) {
  directory_.writeFile("script", "#!/bin/sh\n", 0755);
  EXPECT_EQ(said("script"), "script error no-self-description\n");
  directory_.writeFile("plain", imageWithHeader("F\tOne\tA\ti\n"), 0644);
  EXPECT_EQ(said("plain"), "plain error not-executable\n");
}

TEST_F(CheckTest, ADamagedImageIsToldWithItsOffset) {
  directory_.writeFile("fat", std::string("\xca\xfe\xba\xbe\0\0\x1\0", 8), 0755);
  const auto found = findings("fat");
  ASSERT_EQ(found.size(), 1U);
  EXPECT_EQ(found[0].word, "damaged-image");
  EXPECT_EQ(found[0].offset, 4U);
}

TEST_F(CheckTest, AWrapperIsCheckedWithAllThatIsInIt) {
  directory_.writeFile("Foo.app/Resources/Info-quorvale.plist",
                       "{ NSExecutable = Foo; NSIcon = Foo; NSTypes = (\n"
                       "  { NSExtensions = (a); NSIcon = \"a.tiff\"; } ); }");
  directory_.writeFile("Foo.app/Resources/a.tiff", "");
  EXPECT_EQ(said("Foo.app"), "Foo.app/Foo warning missing-executable\n"
                             "Foo.app/Resources/Info-quorvale.plist:1:32 warning missing-icon\n");
  directory_.writeFile("Foo.app/Foo", "#!/bin/sh\n");
  directory_.writeFile("Foo.app/Foo.tiff", "");
  EXPECT_EQ(said("Foo.app"), "Foo.app/Foo warning not-executable\n");
  directory_.writeFile("Foo.app/Foo", "#!/bin/sh\n", 0755);
  EXPECT_EQ(said("Foo.app"), "");
  directory_.writeFile("Foo.app/Foo", imageWithHeader("F\tFoo\tFoo\ti\n"), 0755);
  EXPECT_EQ(said("Foo.app/"), "Foo.app/Foo warning passed-over\n");
}

TEST_F(CheckTest, WhicheverWayTheDirectoryIsListedAProgramBesideADescriptionIsTold) {
  directory_.writeFile("Foo.app/Resources/Info-quorvale.plist", kList);
  directory_.writeFile("Foo.app/Foo", imageWithHeader("F\tFoo\tFoo\ti\n"), 0755);
  directory_.writeFile("Foo.app/services", "");
  test::OrderedListings ascending(test::OrderedListings::Order::ascending);
  test::OrderedListings descending(test::OrderedListings::Order::descending);
  {
    const ScopedOperatingSystem scope(descending);
    EXPECT_EQ(said("Foo.app"), "Foo.app/Foo warning described-twice\n"
                               "Foo.app/services warning passed-over\n");
  }
  const ScopedOperatingSystem scope(ascending);
  EXPECT_EQ(said("Foo.app"), "Foo.app/Foo warning passed-over\n"
                             "Foo.app/services warning described-twice\n");
}

TEST_F(CheckTest, AProgramThatSaysNothingIsNotASecondDescription) {
  directory_.writeFile("Foo.app/Resources/Info-quorvale.plist", kList);
  directory_.writeFile("Foo.app/Foo", "#!/bin/sh\n", 0755);
  test::OrderedListings descending(test::OrderedListings::Order::descending);
  const ScopedOperatingSystem scope(descending);
  EXPECT_EQ(said("Foo.app"), "");
}

TEST_F(CheckTest, ANameThatTheRulesReadOtherwiseIsTold) {
  for (const std::string name : {"MyTesker", "Foo.tool"}) {
    const std::string wrapper = name + ".app";
    directory_.writeFile(wrapper + "/Resources/Info-quorvale.plist", kList);
    directory_.writeFile(wrapper + "/" + name, "#!/bin/sh\n", 0755);
    EXPECT_NE(said(wrapper).find(wrapper + " warning ambiguous-name\n"), std::string::npos);
  }
  directory_.writeFile("Tesker.app", imageWithHeader("F\tFoo\tFoo\ti\n"), 0755);
  EXPECT_EQ(said("Tesker.app"), "") << "it is not a wrapper";
}

TEST_F(CheckTest, ANameWithASlashIsToldWhereItStands) {
  directory_.writeFile("Foo.app/Resources/Info-quorvale.plist", "{\n  NSExecutable = \"a/b\"; }");
  directory_.writeFile("Foo.app/Foo", "#!/bin/sh\n", 0755);
  EXPECT_EQ(said("Foo.app"), "Foo.app/Resources/Info-quorvale.plist:2:18 warning ambiguous-name\n");
  directory_.writeFile("draw", imageWithHeader("S\ttxt\tDraw\nF\ta/b\tDraw\ti\n"), 0755);
  EXPECT_EQ(said("draw"), "draw:2:3 warning ambiguous-name\n");
}

TEST_F(CheckTest, ANestedWrappersNameIsToldToo) {
  directory_.writeFile("Foo.app/Resources/Info-quorvale.plist", kList);
  directory_.writeFile("Foo.app/Foo", "#!/bin/sh\n", 0755);
  directory_.writeFile("Foo.app/Bar.bundle.tool/Resources/Info-quorvale.plist", kList);
  directory_.writeFile("Foo.app/Bar.bundle.tool/Bar.bundle", imageWithHeader("F\tBar\tBar\ti\n"),
                       0755);
  EXPECT_EQ(said("Foo.app"), "Foo.app/Bar.bundle.tool warning ambiguous-name\n");
}

TEST_F(CheckTest, ADescriptionInAWrapperKnowsTheWrapper) {
  directory_.writeFile("Foo.app/Resources/Info-quorvale.plist", kList);
  EXPECT_EQ(said("Foo.app/Resources/Info-quorvale.plist"),
            "Foo.app/Foo warning missing-executable\n");
}

TEST_F(CheckTest, TheSameExtensionInBothDescriptionsIsShadowed) {
  directory_.writeFile("Foo.app/Foo", "#!/bin/sh\n", 0755);
  directory_.writeFile("Foo.app/Resources/Info-quorvale.plist",
                       "{ NSExecutable = Foo; NSTypes = ( { NSExtensions = (a, b); } ); }");
  directory_.writeFile("Foo.app/registry.table", "{ NSDocumentTypes = {\n  b = { }; }; }");
  const auto found = findings("Foo.app");
  ASSERT_EQ(found.size(), 1U);
  EXPECT_EQ(found[0].word, "shadowed");
}

TEST_F(CheckTest, AWrapperWithoutADescriptionIsOneError) {
  directory_.writeFile("Foo.app/Foo",
                       "\x7f"
                       "ELF",
                       0755);
  EXPECT_EQ(said("Foo.app"), "Foo.app error no-description\n");
  directory_.writeFile("Bar.app/Resources/Info-quorvale.plist", "{ a b }");
  EXPECT_EQ(said("Bar.app"), "Bar.app/Resources/Info-quorvale.plist:1:5 error malformed-list\n");
}

TEST_F(CheckTest, AnELFProgramIsCheckedLikeAnyOther) {
  directory_.writeFile("mute", ElfBuilder(kElfI386).bytes(), 0755);
  EXPECT_EQ(said("mute"), "mute error no-self-description\n");
  directory_.writeFile("good", elfProgram("F\tOne\tA\ti\n", kElfI386), 0755);
  EXPECT_EQ(said("good"), "");
  directory_.writeFile("other", elfProgram("F\tOne\tA\ti\n", kElfX86_64), 0755);
  EXPECT_EQ(said("other"), "other warning other-processor\n");
  directory_.writeFile("bad", elfProgram("F\tOne\tA\ti\nQ\n", kElfI386), 0755);
  EXPECT_EQ(said("bad"), "bad:2:1 error malformed-header-line\n");
}

TEST_F(CheckTest, OfADirectoryOnlyItsApplicationsAreWorthAWord) {
  directory_.writeFile("apps/.hidden", "");
  directory_.writeFile("apps/script", "#!/bin/sh\n", 0755);
  directory_.writeFile("apps/text", "");
  EXPECT_EQ(said("apps"), "apps warning searched\n");
  directory_.writeFile("apps/one", imageWithHeader("F\tOne\tA\ti\n"), 0755);
  EXPECT_EQ(said("apps"), "");
}

TEST_F(CheckTest, AFileThatIsNotThereIsNotRead) {
  const Result<> read = checkFile(directory_.path("none"), std::nullopt, [](const Finding &) {});
  EXPECT_EQ(read.error(), ENOENT);
}

// ---- in a confined child ----

TEST_F(CheckTest, AConfinedChildFindsTheSame) {
  directory_.writeFile("Foo.app/Foo", imageWithHeader("X\n"), 0755);
  directory_.writeFile("Foo.app/Bar.tool/Resources/Info-quorvale.plist", "( a\tb");
  const CheckAnswer answer = check(directory_.path("Foo.app"), std::nullopt, kLong);
  EXPECT_EQ(answer.failure, std::nullopt);
  EXPECT_EQ(answer.error, 0);
  std::string told;
  for (const Finding &finding : findings("Foo.app"))
    told += lineOf(finding);
  EXPECT_EQ(linesOf(answer), told);
  EXPECT_GT(answer.findings.size(), 1U);
}

TEST_F(CheckTest, AConfinedChildSaysWhatCannotBeRead) {
  const CheckAnswer answer = check(directory_.path("none"), std::nullopt, kLong);
  EXPECT_EQ(answer.error, ENOENT);
  EXPECT_EQ(answer.failure, std::nullopt);
  EXPECT_EQ(linesOf(answer), "");
}

TEST_F(CheckTest, WhatWasFoundBeforeTheChildDiedIsTold) {
  struct : OperatingSystem {
    int access(const char *, int) override { return ::raise(SIGKILL); }
  } dying; // when it looks for an icon
  const ScopedOperatingSystem scope(dying);
  directory_.writeFile(
      "Foo.app/Resources/Info-quorvale.plist",
      "{ NSTypes = ({ NSExtensions = (A); }, { NSExtensions = (b); NSIcon = i; }); }");
  const CheckAnswer answer = check(directory_.path("Foo.app"), std::nullopt, kLong);
  EXPECT_EQ(answer.failure, "signal 9 (Killed)");
  ASSERT_EQ(answer.findings.size(), 1U);
  EXPECT_EQ(answer.findings[0].word, "odd-extension");
}

TEST_F(CheckTest, ACheckEndsAtItsDeadline) {
  struct : OperatingSystem {
    int access(const char *, int) override {
      for (;;)
        ::sleep(1);
    }
  } waiting;
  const ScopedOperatingSystem scope(waiting);
  directory_.writeFile("Foo.app/Resources/Info-quorvale.plist", "{ NSIcon = i; }");
  const CheckAnswer answer =
      check(directory_.path("Foo.app"), std::nullopt, std::chrono::milliseconds(300));
  EXPECT_EQ(answer.failure, "timed out");
}

// ---- texts ----

TEST_F(CheckTest, WhatATextIsItsNameSaysOrElseItsContents) {
  directory_.writeFile("Info-quorvale.plist", "X\n");
  directory_.writeFile("registry.table", "X\n");
  directory_.writeFile("a", "{ NSExecutable E; }");
  directory_.writeFile("b", "/* */ { NSDocumentTypes = ( ); }");
  directory_.writeFile("c", "F\ta\tb\n");
  directory_.writeFile("d", "{ type = app; }\nF\ta\tb\n");
  directory_.writeFile("e", "X\n");
  EXPECT_EQ(said("Info-quorvale.plist"), "Info-quorvale.plist:1:1 error wrong-kind\n");
  EXPECT_EQ(said("registry.table"), "registry.table:1:1 error wrong-kind\n");
  EXPECT_EQ(said("a"), "a:1:16 error malformed-list\n");
  EXPECT_EQ(said("b"), "b:1:27 error wrong-kind\n");
  EXPECT_EQ(said("c"), "c:1:6 error malformed-header-line\n");
  EXPECT_EQ(said("d"), "d:2:6 error malformed-header-line\n");
  EXPECT_EQ(said("e"), "e:1:1 error malformed-header-line\n");
  EXPECT_EQ(said("e", DescriptionKind::list), "e:1:1 error wrong-kind\n");
}

TEST_F(CheckTest, WhatANulCutsOffIsTold) {
  directory_.writeFile("a", std::string_view("F\ta\tb\tc\n\0\0\0", 11));
  EXPECT_EQ(said("a"), "");
  directory_.writeFile("a", std::string_view("F\ta\tb\tc\n\0F\ta\tb\n", 15));
  EXPECT_EQ(said("a"), "a:2:1 warning ignored\n");
}

TEST_F(CheckTest, MoreFindingsThanAreToldAreOne) {
  std::string text;
  for (std::size_t i = 0; i <= Findings::kMost; ++i)
    text += "X\n";
  directory_.writeFile("a", text);
  const auto found = findings("a");
  EXPECT_EQ(found.size(), Findings::kMost + 1);
  EXPECT_EQ(std::ranges::count(found, "limits-reached", &Finding::word), 1);
}

TEST_F(CheckTest, ADescriptionOfTooManyBytesIsOneError) {
  directory_.writeFile("Info-quorvale.plist", std::string((std::size_t{16} << 20) + 1, ' '));
  EXPECT_EQ(said("Info-quorvale.plist"), "Info-quorvale.plist error description-too-large\n");
}

TEST_F(CheckTest, ALineSaysAllThatIsKnown) {
  EXPECT_EQ(
      lineOf({.file = "a\tb", .line = 2, .column = 3, .isError = true, .word = "w", .text = "bad"}),
      "a\\tb:2:3: error: bad [w]\n");
  EXPECT_EQ(lineOf({.file = "a", .offset = 4, .word = "w", .text = "bad"}),
            "a: warning: bad, at byte 4 [w]\n");
}

// What is wrong in the sample is known; the rest of it is as it should be.
TEST_F(CheckTest, OfTheSampleOnlyWhatIsBrokenIsAnError) {
  for (const examples::SampleEntry &entry : examples::sampleTree()) {
    const std::string name = "sample/" + entry.path;
    if (entry.kind == examples::SampleEntry::Kind::kFile)
      directory_.writeFile(name, entry.bytes, entry.mode);
    else if (entry.kind == examples::SampleEntry::Kind::kDirectory)
      directory_.makeDirectory(name);
  }
  for (const Finding &finding : findings("sample"))
    EXPECT_TRUE(!finding.isError || finding.file.find("/sample/Broken/") != std::string::npos)
        << lineOf(finding);
  for (const char *name :
       {"BadLines.app", "BadList.app", "Empty.app", "TornImage.app", "TornRecords.app"})
    EXPECT_TRUE(hasErrors(findings("sample/Broken/" + std::string(name)))) << name;
}

} // namespace
} // namespace tesker::test
