// The walk and its answers, through the real tool process and a real master.

#include "master/FinderMaster.h"
#include "parsing/RecordDecoding.h"
#include "parsing/RecordEncoding.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/DescribingImage.h"
#include "tests/support/RecordTexts.h"
#include "tests/support/SpecialFiles.h"
#include "tests/support/TemporaryDirectory.h"

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

namespace tesker {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::UnorderedElementsAre;
using namespace std::string_literals;

std::string executable(std::string_view name) {
  const std::string header = "F\t" + std::string(name) + "\t" + std::string(name) + "\ticon\n";
  return test::imageWithHeader(header);
}

class Walk : public testing::Test {
protected:
  static FinderMasterOptions options(std::string tool = TESKER_TOOL) {
    return {.tool = std::move(tool), .cpu = "i386", .timeout = std::chrono::seconds(120)};
  }

  SearchOutcome search(const std::string &path,
                       std::optional<std::string_view> previous = std::nullopt) {
    return FinderMaster(options()).findAppsInSearchPath(path, previous);
  }

  static const std::string &textOf(const SearchOutcome &outcome) {
    return std::get<SearchAnswer>(outcome.result).text;
  }

  // The records of a search, or "failed: ..." when there is no answer.
  std::vector<std::string> found(const SearchOutcome &outcome) {
    if (const auto *failure = std::get_if<SearchFailure>(&outcome.result))
      return {"failed: " + failure->reason};
    if (std::holds_alternative<SearchUnchanged>(outcome.result))
      return {"unchanged"};
    return test::recordTexts(
        decodeParsedApp(NSString::create(textOf(outcome)), NSDefaultMallocZone()),
        directory_.path());
  }

  std::vector<std::string> foundBelow(std::string_view name) {
    return found(search(directory_.path(name)));
  }

  static std::string record(const std::string &path, const std::string &name) {
    return "{type = app; path = \"@/" + path + "\"; name = " + name +
           "; icon = icon; appName = " + name + "; }";
  }

  void addExecutable(std::string_view path, std::string_view name, mode_t mode = 0755) {
    directory_.writeFile(path, executable(name), mode);
  }

  test::TemporaryDirectory directory_;
};

TEST_F(Walk, FindsExecutablesAndWrappersAtAnyDepth) {
  addExecutable("tree/one", "One");
  addExecutable("tree/a/b/c/two", "Two");
  directory_.writeFile("tree/a/Three.app/registry.table", "{}");
  EXPECT_THAT(foundBelow("tree"),
              UnorderedElementsAre(record("tree/one", "One"), record("tree/a/b/c/two", "Two"),
                                   "{type = app; path = \"@/tree/a/Three.app/Three\"; "
                                   "name = Three; icon = NSApplicationIcon; }"));
}

TEST_F(Walk, EmptyTreeIsAnEmptyAnswer) {
  directory_.makeDirectory("tree");
  const auto outcome = search(directory_.path("tree"));
  const auto *answer = std::get_if<SearchAnswer>(&outcome.result);
  ASSERT_NE(answer, nullptr);
  EXPECT_EQ(answer->text, "(0)");
}

TEST_F(Walk, SameTreeGivesIdenticalBytesAndThenNil) {
  addExecutable("tree/one", "One");
  addExecutable("tree/two", "Two");
  const auto first = search(directory_.path("tree"));
  const auto second = search(directory_.path("tree"));
  EXPECT_EQ(textOf(first), textOf(second));
  EXPECT_THAT(found(search(directory_.path("tree"), textOf(first))), ElementsAre("unchanged"));
}

TEST_F(Walk, ChangedTreeReportsTheNewText) {
  addExecutable("tree/one", "One");
  const auto first = search(directory_.path("tree"));
  addExecutable("tree/two", "Two");
  EXPECT_THAT(found(search(directory_.path("tree"), textOf(first))),
              UnorderedElementsAre(record("tree/one", "One"), record("tree/two", "Two")));
}

TEST_F(Walk, EmptyPreviousTextIsNoAnswerOfAnEmptyTree) {
  directory_.makeDirectory("tree");
  EXPECT_THAT(found(search(directory_.path("tree"), "")), IsEmpty());
}

TEST_F(Walk, SearchPathThatIsAWrapperIsParsedAndNotDescendedInto) {
  directory_.writeFile("Foo.app/registry.table", "{}");
  addExecutable("Foo.app/inside", "Inside");
  EXPECT_THAT(foundBelow("Foo.app"), ElementsAre("{type = app; path = \"@/Foo.app/Foo\"; "
                                                 "name = Foo; icon = NSApplicationIcon; }"));
}

TEST_F(Walk, DebugAndProfileDirectoriesAreWrappersLikeApp) {
  for (const char *suffix : {"debug", "profile"}) {
    const std::string wrapper = "tree/X."s + suffix;
    directory_.writeFile(wrapper + "/registry.table", "{}");
    addExecutable(wrapper + "/inside", "Inside");
    EXPECT_THAT(foundBelow(wrapper), ElementsAre("{type = app; path = \"@/" + wrapper +
                                                 "/X\"; name = X; icon = NSApplicationIcon; }"));
  }
}

TEST_F(Walk, OtherSuffixesAreOrdinaryDirectories) {
  addExecutable("tree/X.tool/inside", "Inside");
  addExecutable("tree/APP.APP/inside", "Upper");
  EXPECT_THAT(foundBelow("tree"), UnorderedElementsAre(record("tree/X.tool/inside", "Inside"),
                                                       record("tree/APP.APP/inside", "Upper")));
}

TEST_F(Walk, SearchPathThatIsAnExecutableIsParsed) {
  addExecutable("tree/one", "One");
  EXPECT_THAT(foundBelow("tree/one"), ElementsAre(record("tree/one", "One")));
}

TEST_F(Walk, DirectoryWithoutSearchPermissionAndFileWithoutExecutePermissionYieldNothing) {
  addExecutable("tree/plain", "Plain", 0644);
  addExecutable("tree/shut/one", "One");
  directory_.makeDirectory("tree/shut", 0644);
  EXPECT_THAT(foundBelow("tree"), IsEmpty());
  EXPECT_THAT(foundBelow("tree/shut"), IsEmpty());
  EXPECT_THAT(foundBelow("tree/plain"), IsEmpty());
}

TEST_F(Walk, DirectoryThatCannotBeListedIsSkippedForAnOrdinaryUser) {
  addExecutable("tree/open/one", "One");
  addExecutable("tree/unlisted/two", "Two");
  directory_.makeDirectory("tree/unlisted", 0111);
  std::filesystem::copy_file(TESKER_TOOL, directory_.path("tool"));
  ASSERT_EQ(::chmod(directory_.path().c_str(), 0755), 0);
  ASSERT_EQ(::chmod(directory_.path("tool").c_str(), 0755), 0);
  test::inOrdinaryUsersChild([&] {
    ::unsetenv("XDG_RUNTIME_DIR"); // which is the super-user's
    const auto outcome = FinderMaster(options(directory_.path("tool")))
                             .findAppsInSearchPath(directory_.path("tree"));
    if (::geteuid() != 0) {
      EXPECT_THAT(found(outcome), ElementsAre(record("tree/open/one", "One")));
      EXPECT_THAT(outcome.logLines, IsEmpty());
    }
  });
}

TEST_F(Walk, LinksAreJudgedByWhatTheyPointTo) {
  addExecutable("elsewhere/one", "One");
  addExecutable("elsewhere/more/two", "Two");
  directory_.makeLink("tree/file", "../elsewhere/one");
  directory_.makeLink("tree/dir", "../elsewhere/more");
  directory_.makeLink("tree/dangling", "nowhere");
  EXPECT_THAT(foundBelow("tree"),
              UnorderedElementsAre(record("tree/file", "One"), record("tree/dir/two", "Two")));
}

TEST_F(Walk, LinkToAnAncestorIsFollowedUntilTheSystemRefusesThePath) {
  addExecutable("tree/one", "One");
  directory_.makeLink("tree/loop", ".");
  FinderMasterOptions followingOptions = options();
  followingOptions.followLinkCycles = true;
  const auto outcome = FinderMaster(followingOptions).findAppsInSearchPath(directory_.path("tree"));
  EXPECT_EQ(found(outcome).size(), 41U) << "Linux follows 40 links in a path";
  EXPECT_EQ(outcome.skippedLinks, 0U);
  EXPECT_THAT(outcome.logLines, IsEmpty());
}

TEST_F(Walk, LinkToAnAncestorIsSkippedAndSaidWhenTheMasterAsksForIt) {
  addExecutable("tree/one", "One");
  directory_.makeLink("tree/loop", ".");
  const auto outcome = search(directory_.path("tree"));
  EXPECT_THAT(found(outcome), ElementsAre(record("tree/one", "One")));
  EXPECT_EQ(outcome.skippedLinks, 1U);
  EXPECT_THAT(outcome.logLines,
              ElementsAre("*** Applications Finder: skipped, for it leads back to " +
                          directory_.path("tree") + ": " + directory_.path("tree/loop")));
}

TEST_F(Walk, ConfinedToolTellsHowFarItHasCome) {
  addExecutable("tree/one", "One");
  FinderMasterOptions askingOptions = options();
  std::vector<std::string> told;
  askingOptions.onProgress = [&](const SearchProgress &progress) { told.push_back(progress.path); };
  const auto outcome = FinderMaster(askingOptions).findAppsInSearchPath(directory_.path("tree"));
  EXPECT_THAT(found(outcome), ElementsAre(record("tree/one", "One")));
  ASSERT_TRUE(outcome.progress);
  EXPECT_EQ(outcome.progress->path, directory_.path("tree"));
  EXPECT_EQ(outcome.progress->directory, directory_.path("tree"));
  EXPECT_THAT(told, testing::Each(directory_.path("tree")));
}

TEST_F(Walk, DotNamesAndBackupsAreNotWalked) {
  addExecutable("tree/.hidden", "Hidden");
  addExecutable("tree/.dir/one", "One");
  addExecutable("tree/old~", "Old");
  addExecutable("tree/~new", "New");
  EXPECT_THAT(foundBelow("tree"), ElementsAre(record("tree/~new", "New")));
}

TEST_F(Walk, SearchPathsOwnNameIsNotFiltered) {
  addExecutable(".tree~/one", "One");
  EXPECT_THAT(foundBelow(".tree~"), ElementsAre(record(".tree~/one", "One")));
}

TEST_F(Walk, MissingPathIsAnEmptyAnswerWithoutAMessage) {
  const auto outcome = search(directory_.path("missing"));
  EXPECT_THAT(found(outcome), IsEmpty());
  EXPECT_THAT(outcome.logLines, IsEmpty());
}

TEST_F(Walk, PathWithParentOrRelativePathIsLoggedAndEmpty) {
  const auto outcome = search(directory_.path("x/../tree"));
  EXPECT_THAT(found(outcome), IsEmpty());
  EXPECT_THAT(
      outcome.logLines,
      ElementsAre("*** Incorrect path: '" + directory_.path("x/../tree") + "'",
                  "*** normalizePath: incorrect argument: '" + directory_.path("x/../tree") + "'",
                  "*** Incorrect components: (null)", "*** Incorrect components: (null)"));
  EXPECT_EQ(search("relative/path").logLineCount, 4U);
  EXPECT_EQ(search("").logLineCount, 4U);
}

TEST_F(Walk, RootDirectoryIsNotSearched) {
  const auto outcome = search("/");
  EXPECT_THAT(found(outcome), IsEmpty());
  EXPECT_THAT(outcome.logLines, IsEmpty());
}

TEST_F(Walk, SearchPathWithDoubledSlashesAndDotsIsWalkedAndRecordsNameCleanPaths) {
  addExecutable("tree/one", "One");
  EXPECT_THAT(foundBelow("tree//./"), ElementsAre(record("tree/one", "One")));
}

TEST_F(Walk, DockListWalksEachPathInOrder) {
  addExecutable("A/one", "One");
  directory_.writeFile("B.app/registry.table", "{}");
  addExecutable("C", "C");
  const std::string list = directory_.path("C") + '\0' + directory_.path("A") + '\0' + '\0' +
                           directory_.path("missing") + '\0' + directory_.path("B.app");
  const auto outcome = FinderMaster(options()).findAppsForDockPaths(list);
  EXPECT_THAT(found(outcome), ElementsAre(record("C", "C"), record("A/one", "One"),
                                          "{type = app; path = \"@/B.app/B\"; name = B; "
                                          "icon = NSApplicationIcon; }"));
  EXPECT_THAT(outcome.logLines, testing::Contains("*** Incorrect path: ''"))
      << "an empty piece is a path too";
  EXPECT_THAT(found(FinderMaster(options()).findAppsForDockPaths(list, textOf(outcome))),
              ElementsAre("unchanged"));
}

TEST_F(Walk, NamesOfAnyBytesComeThrough) {
  addExecutable("tree/\xff\xfe\n\x01 x", "Odd");
  const auto outcome = search(directory_.path("tree"));
  EXPECT_THAT(textOf(outcome), HasSubstr(directory_.path("tree/\xff\xfe\n\x01 x")));
}

TEST_F(Walk, BrokenEntriesHideNoOthers) {
  addExecutable("tree/good", "Good");
  directory_.writeFile("tree/empty", "", 0755);
  directory_.writeFile("tree/seven", "\xfe\xed\xfa\xce...", 0755);
  directory_.writeFile("tree/fat", "\xca\xfe\xba\xbe\xff\xff\xff\xff", 0755);
  directory_.writeFile("tree/huge", executable("Huge"), 0755);
  ASSERT_EQ(::truncate(directory_.path("tree/huge").c_str(), off_t{10} << 30), 0);
  directory_.writeFile("tree/Bad.app/Resources/Info-quorvale.plist", "{{{");
  directory_.writeFile("tree/Worse.app/registry.table", std::string(100000, '('));
  ASSERT_EQ(::mkfifo(directory_.path("tree/fifo").c_str(), 0755), 0);
  ASSERT_EQ(::mkfifo(directory_.path("tree/Bad.app/registry.table").c_str(), 0755), 0);
  test::makeSocket(directory_.path("tree/socket"));
  ASSERT_EQ(::chmod(directory_.path("tree/socket").c_str(), 0755), 0);
  // A terminal, which waits for its reader; where making one is permitted.
  (void)!::mknod(directory_.path("tree/device").c_str(), S_IFCHR | 0755, makedev(5, 0));
  EXPECT_THAT(foundBelow("tree"),
              UnorderedElementsAre(record("tree/good", "Good"), record("tree/huge", "Huge")));
}

TEST_F(Walk, DeepTreesEndWhereTheSystemRefusesThePath) {
  // Made with relative steps, since the whole path is too long for one call.
  addExecutable("tree/one", "One");
  test::inChild([&] {
    ASSERT_EQ(::chdir(directory_.path("tree").c_str()), 0);
    for (int depth = 0; depth < 60; ++depth) {
      const std::string name(100, 'd');
      ASSERT_EQ(::mkdir(name.c_str(), 0755), 0);
      ASSERT_EQ(::chdir(name.c_str()), 0);
    }
  });
  EXPECT_THAT(foundBelow("tree"), ElementsAre(record("tree/one", "One")));
}

#ifdef __SANITIZE_ADDRESS__
constexpr std::size_t kLongAnswer = std::size_t{40} << 20; // several pieces; more takes minutes
#else
constexpr std::size_t kLongAnswer = std::size_t{200} << 20;
#endif

TEST_F(Walk, AnswerOf200MebibytesComesThroughAndGoesBackAsPrevious) {
  std::string header;
  std::string word(1000, 'w');
  for (unsigned line = 0; header.size() < kLongAnswer; ++line) {
    header += 'S';
    for (const char kind : {'a', 'b', 'c'}) {
      const std::string number = std::to_string(line) + kind;
      word.replace(0, number.size(), number);
      header += '\t' + word;
    }
    header += '\n';
  }
  directory_.writeFile("tree/one", test::imageWithHeader(header), 0755);
  const auto outcome = search(directory_.path("tree"));
  ASSERT_THAT(outcome.logLines, IsEmpty());
  const auto *answer = std::get_if<SearchAnswer>(&outcome.result);
  ASSERT_NE(answer, nullptr) << found(outcome).at(0);
  EXPECT_GT(answer->text.size(), kLongAnswer);
  EXPECT_THAT(found(search(directory_.path("tree"), answer->text)), ElementsAre("unchanged"));
}

TEST_F(Walk, CostsOneStatForEachEntryAndOneListingForEachDirectory) {
  constexpr int kDirectories = 20, kFiles = 500, kScripts = 3, kLinks = 4;
  for (int d = 0; d < kDirectories; ++d)
    for (int f = 0; f < kFiles; ++f)
      directory_.writeFile("tree/d" + std::to_string(d) + "/f" + std::to_string(f), "");
  for (int s = 0; s < kScripts; ++s)
    directory_.writeFile("tree/s" + std::to_string(s), "#!/bin/sh\n", 0755);
  for (int l = 0; l < kLinks; ++l)
    directory_.makeLink("tree/l" + std::to_string(l), "d0/f0");
  const auto outcome =
      FinderMaster(options(TESKER_COUNTING_TOOL)).findAppsInSearchPath(directory_.path("tree"));
  EXPECT_THAT(found(outcome), IsEmpty());
  // The search path itself; each entry once; each link once more, followed.
  const int stats = 1 + kDirectories * (kFiles + 1) + kScripts + 2 * kLinks;
  const int listings = 1 + kDirectories;
  ASSERT_EQ(outcome.logLineCount, 1U);
  EXPECT_THAT(outcome.logLines[0], HasSubstr("statAt " + std::to_string(stats) + " listings " +
                                             std::to_string(listings) + " "));
}

} // namespace
} // namespace tesker
