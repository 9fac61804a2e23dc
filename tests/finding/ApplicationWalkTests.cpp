// The walk in the test's own process: which system calls it makes and in which order, when it asks
// whether anyone still waits, and what it costs.
#include "finding/ApplicationFinder.h"
#include "finding/ApplicationWalk.h"
#include "platform/foundation/NSException.h"
#include "tests/support/AllocationCount.h"
#include "tests/support/CountingOperatingSystem.h"
#include "tests/support/DescribingImage.h"
#include "tests/support/LogCapture.h"
#include "tests/support/OrderedListings.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/Texts.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <new>
#include <sys/resource.h>

namespace tesker::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

class ApplicationWalkTest : public ::testing::Test {
protected:
  std::size_t applicationsBelow(std::string_view name) {
    ApplicationWalk walk([] {});
    walk.doForPath(directory_.string(name));
    return walk.lines().size();
  }
  std::string at(std::string_view call, std::string_view name, std::string_view how = {}) const {
    std::string line = std::string(call) + " " + directory_.path(name);
    return how.empty() ? line : line.append(" ").append(how);
  }

  const TemporaryDirectory directory_;
  CountingOperatingSystem system_;
};

TEST_F(ApplicationWalkTest, AnExecutableIsOpenedRelativeToItsListingAndExaminedOnce) {
  directory_.writeFile("tree/one", "#!/bin/sh\n", 0755);
  const ScopedOperatingSystem scope(system_);
  EXPECT_EQ(applicationsBelow("tree"), 0u);
  EXPECT_THAT(system_.log, ElementsAre(at("statAt", "tree", "follow"), at("openDirectory", "tree"),
                                       at("statAt", "tree/one", "nofollow"), at("open", "tree/one"),
                                       at("statDescriptor", "tree/one"), at("readAt", "tree/one"),
                                       at("close", "tree/one"), at("closeDirectory", "tree")));
  EXPECT_EQ(system_.fullPathStats, 1u);
}

TEST_F(ApplicationWalkTest, ADirectoryIsClosedBeforeTheWalkGoesFurtherDown) {
  directory_.makeDirectory("tree/below/deeper");
  const ScopedOperatingSystem scope(system_);
  EXPECT_EQ(applicationsBelow("tree"), 0u);
  EXPECT_THAT(
      system_.log,
      ElementsAre(at("statAt", "tree", "follow"), at("openDirectory", "tree"),
                  at("statAt", "tree/below", "nofollow"), at("closeDirectory", "tree"),
                  at("openDirectory", "tree/below"), at("statAt", "tree/below/deeper", "nofollow"),
                  at("closeDirectory", "tree/below"), at("openDirectory", "tree/below/deeper"),
                  at("closeDirectory", "tree/below/deeper")));
}

TEST_F(ApplicationWalkTest, AFileThatIsNeitherLinkNorExecutableCostsOneStatus) {
  directory_.writeFile("tree/one", describingItself("One"), 0644);
  const ScopedOperatingSystem scope(system_);
  EXPECT_EQ(applicationsBelow("tree"), 0u);
  EXPECT_EQ(system_.countLine(at("statAt", "tree/one", "nofollow")), 1u);
  EXPECT_EQ(system_.count("open"), 0u);
}

TEST_F(ApplicationWalkTest, ALinkIsExaminedOnceMoreByItsFullPath) {
  directory_.makeLink("tree/link", "nowhere");
  const ScopedOperatingSystem scope(system_);
  EXPECT_EQ(applicationsBelow("tree"), 0u);
  EXPECT_EQ(system_.countLine(at("statAt", "tree/link", "nofollow")), 1u);
  EXPECT_EQ(system_.countLine(at("statAt", "tree/link", "follow")), 1u);
  EXPECT_EQ(system_.fullPathStats, 2u);
}

TEST_F(ApplicationWalkTest, ExecutablesBesideDirectoriesAreFoundWhicheverComesFirst) {
  directory_.writeFile("tree/b", describingItself("One"), 0755);
  directory_.writeFile("tree/a/one", describingItself("Two"), 0755);
  directory_.writeFile("tree/c/one", describingItself("Three"), 0755);
  for (const auto order : {OrderedListings::Order::ascending, OrderedListings::Order::descending}) {
    OrderedListings ordered(order);
    const ScopedOperatingSystem scope(ordered);
    EXPECT_EQ(applicationsBelow("tree"), 3u);
  }
}

TEST_F(ApplicationWalkTest, TheMastersLifeIsAskedForBeforeEveryStatusOfAPathAndEveryListing) {
  directory_.makeDirectory("tree/below");
  directory_.makeLink("tree/below/link", "nowhere");
  const ScopedOperatingSystem scope(system_);
  ApplicationWalk walk([&] { system_.log.emplace_back("alive?"); });
  walk.doForPath(directory_.string("tree"));
  EXPECT_THAT(system_.log,
              ElementsAre("alive?", at("statAt", "tree", "follow"), "alive?",
                          at("openDirectory", "tree"), at("statAt", "tree/below", "nofollow"),
                          at("closeDirectory", "tree"), "alive?", at("openDirectory", "tree/below"),
                          at("statAt", "tree/below/link", "nofollow"),
                          at("closeDirectory", "tree/below"), "alive?",
                          at("statAt", "tree/below/link", "follow")));
}

TEST_F(ApplicationWalkTest, TheMastersLifeIsAskedForAtEveryPathThatIsMalformedToo) {
  const LogCapture log;
  int asked = 0;
  ApplicationWalk walk([&] { ++asked; });
  walk.doForPaths({""_ns, "relative"_ns, "/a/../b"_ns, "/"_ns, "/nowhere"_ns});
  EXPECT_EQ(asked, 5);
}

TEST_F(ApplicationWalkTest, ADirectoryOneOfWhoseEntriesVanishedCountsAsOneThatCannotBeListed) {
  class Vanishing final : public OperatingSystem {
    int statAt(int directory, const char *name, bool followLinks, struct stat &status) override {
      if (std::string_view(name) != "gone")
        return OperatingSystem::statAt(directory, name, followLinks, status);
      errno = ENOENT;
      return -1;
    }
  } vanishing;
  directory_.writeFile("tree/one", describingItself("One"), 0755);
  directory_.writeFile("tree/gone", describingItself("Gone"), 0755);
  directory_.writeFile("beside/one", describingItself("One"), 0755);
  const ScopedOperatingSystem scope(vanishing);
  EXPECT_EQ(applicationsBelow("tree"), 0u);
  EXPECT_EQ(applicationsBelow("beside"), 1u);
  EXPECT_EQ(applicationsBelow(""), 1u) << "only the directory concerned is skipped";
}

// Raises whatever it is told when the entry is opened.
template <class Exception> class RaisingAtOpen final : public OperatingSystem {
public:
  explicit RaisingAtOpen(Exception exception) : exception_(std::move(exception)) {}
  int openAt(int directory, const char *path, int flags, mode_t mode) override {
    if (std::string_view(path).ends_with("bad"))
      throw exception_;
    return OperatingSystem::openAt(directory, path, flags, mode);
  }

private:
  Exception exception_;
};

TEST_F(ApplicationWalkTest, AnExceptionSkipsTheEntryThatRaisedIt) {
  directory_.writeFile("tree/bad", describingItself("Bad"), 0755);
  directory_.writeFile("tree/good", describingItself("Good"), 0755);
  RaisingAtOpen raising(NSException("Test", "raised"));
  const ScopedOperatingSystem scope(raising);
  EXPECT_EQ(applicationsBelow("tree"), 1u);
}

TEST_F(ApplicationWalkTest, AnExceptionFromASearchPathItselfPasses) {
  directory_.writeFile("bad", describingItself("Bad"), 0755);
  RaisingAtOpen raising(NSException("Test", "raised"));
  const ScopedOperatingSystem scope(raising);
  EXPECT_THROW(applicationsBelow("bad"), NSException);
}

TEST_F(ApplicationWalkTest, ALackOfMemoryIsNotAnEntrysOwnAndPasses) {
  directory_.writeFile("tree/bad", describingItself("Bad"), 0755);
  RaisingAtOpen raising{std::bad_alloc()};
  const ScopedOperatingSystem scope(raising);
  EXPECT_THROW(applicationsBelow("tree"), std::bad_alloc);
}

TEST_F(ApplicationWalkTest, APathWithANulInsideIsNotWalked) {
  directory_.writeFile("tree/one", describingItself("One"), 0755);
  ApplicationWalk walk([] {});
  walk.doForPath(NSString::create(directory_.path("tree/") + '\0'));
  EXPECT_THAT(walk.lines(), IsEmpty());
}

TEST_F(ApplicationWalkTest, SeveralPathsAreWalkedInTheirOrder) {
  directory_.writeFile("a", describingItself("One"), 0755);
  directory_.writeFile("b", describingItself("Two"), 0755);
  ApplicationWalk walk([] {});
  walk.doForPaths({directory_.string("b"), directory_.string("a")});
  ASSERT_THAT(walk.lines(), SizeIs(2));
  EXPECT_EQ(walk.lines()[0].objectForKey("name")->asString(), "Two");
  EXPECT_EQ(walk.lines()[1].objectForKey("name")->asString(), "One");
}

TEST_F(ApplicationWalkTest, ATreeDeeperThanThereAreDescriptorsIsWalked) {
  std::string path = "tree";
  for (int depth = 0; depth < 60; ++depth)
    path += "/d";
  directory_.writeFile(path + "/one", describingItself("One"), 0755);
  rlimit before{};
  ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &before), 0);
  const rlimit few{30, before.rlim_max};
  ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &few), 0);
  EXPECT_EQ(applicationsBelow("tree"), 1u);
  ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &before), 0);
}

TEST_F(ApplicationWalkTest, CostsLessThanOneAndAHalfAllocationsForEachEntry) {
  constexpr int kDirectories = 100, kFiles = 9;
  for (int d = 0; d < kDirectories; ++d) {
    const std::string dir = "tree/directory" + std::to_string(d);
    for (int f = 0; f < kFiles; ++f)
      directory_.writeFile(dir + "/document" + std::to_string(f) + ".txt", "");
    if (d % 2 == 0)
      directory_.writeFile(dir + "/script", "#!/bin/sh\n", 0755);
  }
  constexpr std::size_t kEntries = kDirectories * (kFiles + 1) + kDirectories / 2;
  const NSString path = directory_.string("tree");
  const ApplicationFinder finder([] {});
  EXPECT_EQ(finder.findAppsInSearchPath(path, nullptr), "(0)"); // makes what is made once
  const AllocationCount allocations;
  EXPECT_EQ(finder.findAppsInSearchPath(path, nullptr), "(0)");
  EXPECT_LT(allocations.count(), kEntries * 3 / 2);
}

TEST_F(ApplicationWalkTest, ASearchKeepsItsRecordsAsTheTextOnly) {
  constexpr std::size_t kPrograms = 200, kRecords = 4 * kPrograms;
  for (std::size_t i = 0; i < kPrograms; ++i) {
    const std::string name = "Editor" + std::to_string(i);
    std::string header;
    for (const std::string type : {"F\t", "S\t.txt\t", "S\t.log\t", "S\t.rtf\t"})
      header += type + (type == "F\t" ? name + '\t' : "") + name + '\t' + name + ".tiff\n";
    directory_.writeFile("tree/of programs that describe themselves/" + name,
                         imageWithHeader(header), 0755);
  }
  const NSString path = directory_.string("tree");
  const ApplicationFinder finder([] {});
  const auto records =
      decodeParsedApp(finder.findAppsInSearchPath(path, nullptr), NSDefaultMallocZone());
  ASSERT_TRUE(records);
  ASSERT_THAT(*records, SizeIs(kRecords));
  const std::size_t listing = kPrograms * (64 + std::string_view("Editor100").size());
  const AllocationCount allocations;
  const NSString text = finder.findAppsInSearchPath(path, nullptr);
  // Records that were kept to the end would make it some 500.
  EXPECT_LE(allocations.mostBytes() - listing, 250 * kRecords);
}

TEST_F(ApplicationWalkTest, AnEncoderIsGivenWhatTheLinesWouldKeepUpToTheBound) {
  for (const char *name : {"a", "b", "c", "d"})
    directory_.writeFile("tree/" + std::string(name), describingItself(name), 0755);
  for (const std::size_t bound : {0U, 3U, 4U}) {
    ApplicationWalk keeping([] {}, {.records = bound});
    keeping.doForPath(directory_.string("tree"));
    RecordEncoder encoder;
    ApplicationWalk walk([] {}, {.records = bound}, {.encoder = &encoder});
    walk.doForPath(directory_.string("tree"));
    EXPECT_EQ(std::move(encoder).text(), encodeParsedApp(keeping.lines()));
    EXPECT_THAT(walk.lines(), IsEmpty());
    EXPECT_EQ(walk.isFull(), keeping.isFull());
  }
}

TEST_F(ApplicationWalkTest, EndsWhereThereAreMoreRecordsThanTheBoundAdmits) {
  for (const char *name : {"a", "b", "c", "d"})
    directory_.writeFile(name, describingItself(name), 0755);
  for (const std::size_t bound : {0U, 1U, 3U, 4U, 5U}) {
    ApplicationWalk walk([] {}, {.records = bound});
    walk.doForPaths({directory_.string("a"), directory_.string("b"), directory_.string("c"),
                     directory_.string("d")});
    EXPECT_THAT(walk.lines(), SizeIs(std::min<std::size_t>(bound, 4)));
    EXPECT_EQ(walk.isFull(), bound < 4);
  }
}

TEST_F(ApplicationWalkTest, EndsWhereTheRecordsHaveMoreTextThanTheBoundAdmits) {
  directory_.writeFile("tree/a", describingItself("a"), 0755);
  ApplicationWalk all([] {});
  all.doForPath(directory_.string("tree"));
  ASSERT_THAT(all.lines(), SizeIs(1));
  const std::size_t length = TKLine(all.lines()[0]).keepDescriptions();
  EXPECT_EQ(length, std::string("path"
                                "type"
                                "app"
                                "name"
                                "a"
                                "appName"
                                "Application"
                                "icon"
                                "icon")
                            .size() +
                        directory_.path("tree/a").size());
  for (const std::size_t bound : {length - 1, length, 2 * length - 1, 2 * length}) {
    ApplicationWalk walk([] {}, {.text = bound});
    walk.doForPaths({directory_.string("tree"), directory_.string("tree")});
    EXPECT_THAT(walk.lines(), SizeIs(bound / length));
    EXPECT_EQ(walk.isFull(), bound < 2 * length);
  }
}

TEST_F(ApplicationWalkTest, DoesNotEvenLookAtWhatFollowsWhenItIsFull) {
  directory_.writeFile("a", describingItself("a"), 0755);
  directory_.makeDirectory("tree");
  const ScopedOperatingSystem scope(system_);
  ApplicationWalk walk([] {}, {.records = 0});
  walk.doForPaths({directory_.string("a"), directory_.string("tree")});
  EXPECT_EQ(system_.count("openDirectory"), 0u);
}

TEST_F(ApplicationWalkTest, KeepsOfContainersOnlyTheirDescriptions) {
  const std::string header = "{ type = app; a = (x, (\"y z\")); }\n";
  directory_.writeFile("one", imageWithHeader(header), 0755);
  ApplicationWalk walk([] {});
  walk.doForPath(directory_.string("one"));
  ASSERT_THAT(walk.lines(), SizeIs(1));
  const NSObject *value = walk.lines()[0].objectForKey("a");
  ASSERT_NE(value, nullptr);
  EXPECT_EQ(value->asArray(), nullptr);
  EXPECT_EQ(value->description(), "(x, (\"y z\"))");
}

TEST(ApplicationFinderTest, AnAnswerBeyondTheBoundIsLoggedAsIncomplete) {
  const TemporaryDirectory directory;
  directory.writeFile("a", describingItself("a"), 0755);
  const LogCapture log;
  const ApplicationFinder finder([] {}, {.records = 0, .text = 17});
  EXPECT_EQ(finder.findAppsInSearchPath(directory.string(), nullptr), "(0)");
  EXPECT_THAT(log.syslogged,
              ElementsAre("*** Applications Finder: incomplete: more than 0 records, "
                          "or 17 bytes in them"));
}

// What is missing from the answer is told all the same, and of the next search again all lines.
TEST(ApplicationFinderTest, OfOneSearchOnlyTheFirstLinesAreLogged) {
  std::string header;
  for (std::size_t i = 0; i < kMostLogLines + 5; ++i)
    header += "x\n";
  const TemporaryDirectory directory;
  directory.writeFile("a", describingItself("a"), 0755);
  directory.writeFile("tree/bad", imageWithHeader(header), 0755);
  const ApplicationFinder finder([] {}, {.records = 0});
  for (int search = 0; search < 2; ++search) {
    const LogCapture log;
    const auto paths = {directory.string("tree"), directory.string("a")};
    EXPECT_EQ(finder.findAppsForDockPaths(paths, nullptr), "(0)");
    ASSERT_EQ(log.syslogged.size(), kMostLogLines + 2);
    EXPECT_EQ(log.syslogged[kMostLogLines], "*** Log: 5 more lines left out");
    EXPECT_THAT(log.syslogged.back(), ::testing::StartsWith(kIncompleteLine));
  }
}

TEST(ApplicationFinderTest, AnAnswerThatEqualsThePreviousOneIsNil) {
  const TemporaryDirectory directory;
  const ApplicationFinder finder([] {});
  EXPECT_EQ(finder.findAppsInSearchPath(directory.string(), nullptr), "(0)");
  EXPECT_FALSE(finder.findAppsInSearchPath(directory.string(), "(0)"_ns));
}

TEST(ApplicationFinderTest, EveryPathOfAListIsLookedAtAnEmptyOneToo) {
  const LogCapture log;
  const ApplicationFinder finder([] {});
  EXPECT_EQ(finder.findAppsForDockPaths({"/nowhere"_ns, ""_ns, "/"_ns}, nullptr), "(0)");
  EXPECT_THAT(log.syslogged, ::testing::Contains("*** Incorrect path: ''"));
}

} // namespace
} // namespace tesker::test
