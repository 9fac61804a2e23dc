// What is said of each entry that a search meets: each trap that people step into has its word.
#include "tests/finding/JudgementTest.h"
#include "tests/support/ChildProcess.h"

#include <cerrno>
#include <gmock/gmock.h>
#include <map>
#include <set>
#include <sys/stat.h>

namespace tesker::test {
namespace {

using examples::MachOWriter;
using ::testing::StartsWith;

TEST_F(JudgementTest, AnApplicationIsFoundWithItsRecords) {
  directory_.writeFile("tree/one", kDescribing, 0755);
  directory_.writeFile("tree/Foo.app/Resources/Info-quorvale.plist",
                       "{ NSExecutable = Foo; NSTypes = ({ NSExtensions = (a, b); }); }");
  search();
  EXPECT_EQ(said("tree"), "searched");
  EXPECT_EQ(said("tree/one"), "found");
  EXPECT_EQ(said("tree/Foo.app"), "found");
  EXPECT_EQ(judgements_.at(directory_.path("tree/Foo.app"))->records, 3U);
  EXPECT_EQ(said("tree/Foo.app/Resources"), "wrapper-part");
  EXPECT_EQ(records_, 4U);
}

TEST_F(JudgementTest, FilesThatAreNotApplicationsAreToldApart) {
  directory_.writeFile("tree/elf",
                       "\x7f"
                       "ELF\1\1\1",
                       0755);
  directory_.writeFile("tree/script", "#!/bin/sh\n", 0755);
  directory_.writeFile("tree/empty", "", 0755);
  directory_.writeFile("tree/wide", "\xcf\xfa\xed\xfe and more", 0755);
  directory_.writeFile("tree/other", "something else", 0755);
  directory_.writeFile("tree/mute", MachOWriter(examples::kI386).bytes(), 0755);
  search();
  const std::map<std::string, std::string> kinds = {
      {"elf", "an ELF program"},
      {"script", "a script"},
      {"empty", "empty"},
      {"wide", "a 64-bit Mach-O image"},
      {"other", "no kind of program that is known"},
      {"mute", "a Mach-O image without an icon header"}};
  for (const auto &[name, kind] : kinds) {
    EXPECT_EQ(said("tree/" + name), "no-self-description") << name;
    EXPECT_EQ(remarkOn("tree/" + name, JudgementCode::noSelfDescription).detail, kind);
  }
}

TEST_F(JudgementTest, EntriesThatAreNotLookedIntoAreToldApart) {
  directory_.writeFile("tree/plain", "", 0644);
  directory_.writeFile("tree/.hidden", kDescribing, 0755);
  directory_.writeFile("tree/old~", kDescribing, 0755);
  directory_.makeDirectory("tree/closed", 0600);
  directory_.makeLink("tree/dangling", "nowhere");
  directory_.makeLink("tree/round", "round");
  ASSERT_EQ(::mkfifo(directory_.path("tree/fifo").c_str(), 0755), 0);
  search();
  EXPECT_EQ(said("tree/plain"), "not-executable");
  EXPECT_EQ(said("tree/.hidden"), "dot-name");
  EXPECT_EQ(said("tree/old~"), "backup-name");
  EXPECT_EQ(said("tree/closed"), "not-searchable");
  EXPECT_EQ(said("tree/dangling"), "dangling-link");
  EXPECT_EQ(said("tree/round"), "link-cycle");
  EXPECT_EQ(said("tree/fifo"), "special-file");
}

TEST_F(JudgementTest, ADirectoryFromWhichANameVanishesSaysWhich) {
  struct : OperatingSystem {
    int statAt(int directory, const char *name, bool followLinks, struct stat &status) override {
      errno = ENOENT;
      return std::string_view(name) == "gone"
                 ? -1
                 : OperatingSystem::statAt(directory, name, followLinks, status);
    }
  } system;
  const ScopedOperatingSystem scope(system);
  directory_.writeFile("tree/gone", "");
  search();
  EXPECT_EQ(said("tree"), "vanished");
  EXPECT_EQ(remarkOn("tree", JudgementCode::vanished).detail, "gone");
}

TEST_F(JudgementTest, WhatRaisesHasFailedAndNothingElseHas) {
  struct : OperatingSystem {
    int openAt(int directory, const char *path, int flags, mode_t mode) override {
      if (std::string_view(path).ends_with("bad"))
        throw NSException("Trouble", "of its own");
      return OperatingSystem::openAt(directory, path, flags, mode);
    }
  } system;
  const ScopedOperatingSystem scope(system);
  directory_.writeFile("tree/bad", kDescribing, 0755);
  directory_.writeFile("tree/one", kDescribing, 0755);
  search();
  EXPECT_EQ(said("tree/bad"), "failed");
  EXPECT_EQ(remarkOn("tree/bad", JudgementCode::failed).detail, "of its own");
  EXPECT_EQ(said("tree/one"), "found");
}

TEST_F(JudgementTest, SearchPathsThatNameNothingAreToldApart) {
  directory_.writeFile("file", "");
  search("nowhere");
  EXPECT_EQ(said("nowhere"), "not-there");
  search("file/below");
  EXPECT_EQ(said("file/below"), "not-there");
  search(std::string(5000, 'x'));
  EXPECT_EQ(said(std::string(5000, 'x')), "path-too-long");
}

TEST_F(JudgementTest, WhatMayNotBeReadIsToldToWhoMayNot) {
  TESKER_SKIP_UNLESS_ROOT();
  directory_.writeFile("tree/sealed", kDescribing, 0711);
  directory_.makeDirectory("tree/unlisted", 0711);
  directory_.writeFile("tree/Foo.app/Resources/Info-quorvale.plist", "{}", 0600);
  directory_.makeDirectory("tree/Bar.app", 0711);
  ::chmod(directory_.path().c_str(), 0755);
  inOrdinaryUsersChild([&] {
    search();
    EXPECT_EQ(said("tree/sealed"), "not-readable");
    EXPECT_EQ(said("tree/unlisted"), "not-searchable");
    EXPECT_EQ(said("tree/Foo.app"), "not-readable");
    EXPECT_EQ(said("tree/Foo.app/Resources"), "wrapper-part not-readable");
    EXPECT_EQ(said("tree/Bar.app"), "not-searchable");
  });
}

TEST_F(JudgementTest, AWrapperWithoutADescriptionSaysWhatItsPartsLack) {
  directory_.writeFile("tree/Elf.app/Elf",
                       "\x7f"
                       "ELF",
                       0755);
  directory_.writeFile("tree/NoBit.app/NoBit", kDescribing, 0644);
  directory_.writeFile("tree/Deep.app/Info-quorvale.plist", "{ NSExecutable = Deep; }");
  directory_.writeFile("tree/Deep.app/Deep", kDescribing, 0755);
  directory_.writeFile("tree/Other.app/Resources/Info.plist", "{ NSExecutable = Other; }");
  search();
  EXPECT_EQ(said("tree/Elf.app"), "no-description");
  EXPECT_EQ(said("tree/Elf.app/Elf"), "no-self-description");
  EXPECT_EQ(said("tree/NoBit.app"), "not-executable");
  EXPECT_EQ(remarkOn("tree/NoBit.app", JudgementCode::notExecutable).file,
            directory_.path("tree/NoBit.app/NoBit"));
  EXPECT_EQ(said("tree/NoBit.app/NoBit"), "not-executable");
  EXPECT_THAT(said("tree/Deep.app/Info-quorvale.plist"), StartsWith("description-too-deep"));
  EXPECT_EQ(said("tree/Other.app"), "no-description");
  EXPECT_EQ(said("tree/Other.app/Resources"), "wrapper-part no-description");
}

TEST_F(JudgementTest, WhatADescriptionHidesIsPassedOver) {
  directory_.writeFile("tree/Foo.app/Foo", kDescribing, 0755);
  directory_.writeFile("tree/Foo.app/services", "");
  directory_.writeFile("tree/Foo.app/registry.table", "{}");
  search();
  const std::set<std::string> words = {said("tree/Foo.app/Foo"), said("tree/Foo.app/services")};
  for (const std::string &word : words) // whichever the directory yields behind the registry
    EXPECT_THAT(word, ::testing::AnyOf("passed-over", "wrapper-part"));
  EXPECT_EQ(said("tree/Foo.app"), "found");
}

TEST_F(JudgementTest, NestedToolsCountForThemselves) {
  directory_.writeFile("tree/Foo.app/Foo", kDescribing, 0755);
  directory_.writeFile("tree/Foo.app/x.tool/x", kDescribing, 0755);
  directory_.writeFile("tree/Foo.app/y.bundle/y", kDescribing, 0755);
  search();
  EXPECT_EQ(said("tree/Foo.app"), "found");
  EXPECT_EQ(judgements_.at(directory_.path("tree/Foo.app"))->records, 1U);
  EXPECT_EQ(judgements_.at(directory_.path("tree/Foo.app/x.tool"))->records, 1U);
  EXPECT_EQ(judgements_.at(directory_.path("tree/Foo.app/y.bundle"))->records, 2U);
  EXPECT_EQ(said("tree/Foo.app/x.tool/x"), "wrapper-part");
}

TEST_F(JudgementTest, ResourcesThatAreReadOnceMoreCountOnce) {
  directory_.writeFile("tree/Tesker.app/Resources/registry.table", "{}");
  directory_.writeFile("tree/Tesker.app/Resources/a.tool/a", kDescribing, 0755);
  search();
  EXPECT_EQ(said("tree/Tesker.app"), "found");
  EXPECT_EQ(judgements_.at(directory_.path("tree/Tesker.app/Resources/a.tool"))->records, 1U);
}

TEST_F(JudgementTest, SuffixesThatAreNearlyAWrappersAreNamed) {
  for (const char *name : {"Hello.apps", "Upper.APP", "Foo.profil", "Bar.debgu", "Far.txt"})
    directory_.makeDirectory("tree/" + std::string(name));
  search();
  EXPECT_EQ(said("tree/Hello.apps"), "searched near-suffix");
  EXPECT_EQ(said("tree/Upper.APP"), "searched near-suffix");
  EXPECT_EQ(said("tree/Foo.profil"), "searched near-suffix");
  EXPECT_EQ(remarkOn("tree/Bar.debgu", JudgementCode::nearSuffix).detail, "debug");
  EXPECT_EQ(said("tree/Far.txt"), "searched");
}

TEST(JudgementCodes, HaveWordsThatLeadBack) {
  std::set<std::string_view> words;
  for (std::size_t i = 0; i < kJudgementCodes; ++i) {
    const auto code = static_cast<JudgementCode>(i);
    EXPECT_EQ(judgementCodeOf(wordOf(code)), code);
    words.insert(wordOf(code));
  }
  EXPECT_EQ(words.size(), kJudgementCodes);
  EXPECT_EQ(judgementCodeOf("nonsense"), std::nullopt);
}

} // namespace
} // namespace tesker::test
