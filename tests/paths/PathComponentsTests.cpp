#include "paths/PathFunctions.h"
#include "tests/support/LogCapture.h"
#include "tests/support/Texts.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace tesker::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Optional;

// Short names for what is asked most.
std::optional<Components> split(const NSString &path) {
  return TeskerSplitPathIntoCleanComponents(path);
}

std::optional<Components> split(const NSString &dir, const NSString &file) {
  return TeskerSplitDirFileIntoCleanComponents(dir, file);
}

NSString dirOf(const Components &components) { return TeskerDirForCleanComponents(&components); }
NSString fileOf(const Components &components) { return TeskerFileForCleanComponents(&components); }

void expectPair(const NSString &path, const NSString &dir, const NSString &file) {
  const DirFile pair = TeskerNormalizePathIntoDirFile(path);
  EXPECT_EQ(pair.dir, dir) << path.bytes();
  EXPECT_EQ(pair.file, file) << path.bytes();
}

TEST(TeskerSplitPathIntoCleanComponents, KeepsTheRootAndTheNames) {
  EXPECT_THAT(split("/"_ns), Optional(ElementsAre("")));
  EXPECT_THAT(split("/a/b"_ns), Optional(ElementsAre("", "a", "b")));
}

TEST(TeskerSplitPathIntoCleanComponents, DropsEmptyPiecesAndDots) {
  LogCapture log;
  EXPECT_THAT(split("/a/./b"_ns), Optional(ElementsAre("", "a", "b")));
  EXPECT_THAT(split("//a///b//"_ns), Optional(ElementsAre("", "a", "b")));
  EXPECT_THAT(split("/./"_ns), Optional(ElementsAre("")));
  EXPECT_THAT(log.syslogged, IsEmpty());
}

TEST(TeskerSplitPathIntoCleanComponents, RefusesDotDotWithALogLine) {
  LogCapture log;
  EXPECT_FALSE(split("/a/../b"_ns));
  EXPECT_FALSE(split("/.."_ns));
  EXPECT_THAT(log.syslogged,
              ElementsAre("*** Incorrect path: '/a/../b'", "*** Incorrect path: '/..'"));
}

TEST(TeskerSplitPathIntoCleanComponents, LogsOnceForSeveralDotDots) {
  LogCapture log;
  EXPECT_FALSE(split("/../.."_ns));
  EXPECT_THAT(log.syslogged, ElementsAre("*** Incorrect path: '/../..'"));
}

TEST(TeskerSplitPathIntoCleanComponents, RefusesARelativeAndAnEmptyPath) {
  LogCapture log;
  EXPECT_FALSE(split("a/b"_ns));
  EXPECT_FALSE(split(""_ns));
  EXPECT_THAT(log.syslogged, ElementsAre("*** Incorrect path: 'a/b'", "*** Incorrect path: ''"));
}

TEST(TeskerSplitPathIntoCleanComponents, KeepsNamesThatOnlyLookLikeDots) {
  EXPECT_THAT(split("/.../..a/a../.a"_ns), Optional(ElementsAre("", "...", "..a", "a..", ".a")));
}

TEST(TeskerSplitPathIntoCleanComponents, RemovesAPieceThatIsOneNul) {
  EXPECT_THAT(split("/a/\0/b"_ns), Optional(ElementsAre("", "a", "b")));
  EXPECT_THAT(split("/\0"_ns), Optional(ElementsAre("")));
}

TEST(TeskerSplitPathIntoCleanComponents, KeepsOtherPiecesThatEndInANul) {
  const std::string nul("\0", 1);
  EXPECT_THAT(split("/a\0/\0\0/.\0/..\0"_ns),
              Optional(ElementsAre("", "a" + nul, nul + nul, "." + nul, ".." + nul)));
}

TEST(TeskerSplitPathIntoCleanComponents, TakesAVeryLongPath) {
  std::string path;
  for (int i = 0; i < 200000; ++i)
    path += "//a";
  EXPECT_EQ(split(NSString::create(path))->size(), 200001u);
}

TEST(TeskerSplitDirFileIntoCleanComponents, AppendsTheFile) {
  LogCapture log;
  EXPECT_THAT(split("/a//b/"_ns, nullptr), Optional(ElementsAre("", "a", "b")));
  EXPECT_THAT(split("/a"_ns, "b"_ns), Optional(ElementsAre("", "a", "b")));
  EXPECT_THAT(split("/"_ns, "b"_ns), Optional(ElementsAre("", "b")));
  EXPECT_THAT(split("/"_ns, nullptr), Optional(ElementsAre("")));
  EXPECT_THAT(log.syslogged, IsEmpty());
}

TEST(TeskerSplitDirFileIntoCleanComponents, RefusesDotsInTheDirectory) {
  LogCapture log;
  EXPECT_FALSE(split("/a/."_ns, nullptr));
  EXPECT_FALSE(split("/a/.."_ns, "b"_ns));
  EXPECT_THAT(log.syslogged,
              ElementsAre("*** Incorrect dir: '/a/.'", "*** Incorrect dir: '/a/..'"));
}

TEST(TeskerSplitDirFileIntoCleanComponents, RefusesARelativeAndAnEmptyDirectory) {
  LogCapture log;
  EXPECT_FALSE(split("a"_ns, nullptr));
  EXPECT_FALSE(split(""_ns, "b"_ns));
  EXPECT_THAT(log.syslogged, ElementsAre("*** Incorrect dir: 'a'", "*** Incorrect dir: ''"));
}

TEST(TeskerSplitDirFileIntoCleanComponents, RefusesAFileThatIsNoPlainName) {
  LogCapture log;
  EXPECT_FALSE(split("/a"_ns, ".."_ns));
  EXPECT_FALSE(split("/a"_ns, "."_ns));
  EXPECT_FALSE(split("/a"_ns, "b/c"_ns));
  EXPECT_THAT(log.syslogged, ElementsAre("*** Incorrect file: '..'", "*** Incorrect file: '.'",
                                         "*** Incorrect file: 'b/c'"));
}

TEST(TeskerSplitDirFileIntoCleanComponents, AppendsAnEmptyFileUnchecked) {
  LogCapture log;
  EXPECT_THAT(split("/a"_ns, ""_ns), Optional(ElementsAre("", "a", "")));
  EXPECT_THAT(log.syslogged, IsEmpty());
}

TEST(TeskerSplitDirFileIntoCleanComponents, KeepsADirectoryPieceThatIsOneNul) {
  EXPECT_THAT(split("/\0"_ns, nullptr), Optional(ElementsAre("", std::string("\0", 1))));
}

TEST(TeskerJoinComponents, IsTheWayBack) {
  EXPECT_EQ(TeskerJoinComponents({""_ns}), "/");
  EXPECT_EQ(TeskerJoinComponents({""_ns, "a"_ns}), "/a");
  EXPECT_EQ(TeskerJoinComponents({""_ns, "a"_ns, "b"_ns}), "/a/b");
}

TEST(TeskerJoinComponents, OfNoComponentsIsTheEmptyString) {
  EXPECT_EQ(TeskerJoinComponents({}), "");
}

TEST(TeskerDirForCleanComponents, IsAllButTheLast) {
  EXPECT_EQ(dirOf({""_ns}), "/");
  EXPECT_EQ(dirOf({""_ns, "a"_ns}), "/");
  EXPECT_EQ(dirOf({""_ns, "a"_ns, "b"_ns, "c"_ns}), "/a/b");
}

TEST(TeskerDirForCleanComponents, LeavesTheComponentsAsTheyAre) {
  const Components components{""_ns, "a"_ns, "b"_ns};
  EXPECT_EQ(dirOf(components), "/a");
  EXPECT_THAT(components, ElementsAre("", "a", "b"));
}

TEST(TeskerDirForCleanComponents, LogsNilAndNoComponents) {
  LogCapture log;
  EXPECT_FALSE(TeskerDirForCleanComponents(nullptr));
  EXPECT_FALSE(dirOf({}));
  EXPECT_THAT(log.syslogged,
              ElementsAre("*** Incorrect components: (null)", "*** Incorrect components: ()"));
}

TEST(TeskerFileForCleanComponents, IsTheLastAndNilForTheRoot) {
  EXPECT_FALSE(fileOf({""_ns}));
  EXPECT_EQ(fileOf({""_ns, "a"_ns}), "a");
  EXPECT_EQ(fileOf({""_ns, "a"_ns, "b"_ns}), "b");
}

TEST(TeskerFileForCleanComponents, LogsNilAndNoComponents) {
  LogCapture log;
  EXPECT_FALSE(TeskerFileForCleanComponents(nullptr));
  EXPECT_FALSE(fileOf({}));
  EXPECT_THAT(log.syslogged,
              ElementsAre("*** Incorrect components: (null)", "*** Incorrect components: ()"));
}

TEST(TeskerNormalizePathIntoDirFile, GivesThePairOfAnyAbsolutePath) {
  LogCapture log;
  expectPair("/"_ns, "/"_ns, nullptr);
  expectPair("//"_ns, "/"_ns, nullptr);
  expectPair("/./"_ns, "/"_ns, nullptr);
  expectPair("/a"_ns, "/"_ns, "a"_ns);
  expectPair("/a//b/./c/"_ns, "/a/b"_ns, "c"_ns);
  EXPECT_THAT(log.syslogged, IsEmpty());
}

TEST(TeskerNormalizePathIntoDirFile, LogsARefusedPathAndTheMissingComponentsTwice) {
  LogCapture log;
  expectPair("/a/../b"_ns, nullptr, nullptr);
  EXPECT_THAT(log.syslogged,
              ElementsAre("*** Incorrect path: '/a/../b'",
                          "*** normalizePath: incorrect argument: '/a/../b'",
                          "*** Incorrect components: (null)", "*** Incorrect components: (null)"));
}

TEST(TeskerNormalizePathIntoDirFile, LogsTheWholeStringWhereTheByteStringEndsAtANul) {
  LogCapture log;
  expectPair("a\0b"_ns, nullptr, nullptr);
  ASSERT_EQ(log.syslogged.size(), 4u);
  EXPECT_EQ(log.syslogged[0], "*** Incorrect path: 'a'");
  EXPECT_EQ(log.syslogged[1], "*** normalizePath: incorrect argument: 'a\\x00b'");
}

TEST(TeskerIsRootOf, IsAStrictPrefix) {
  EXPECT_TRUE(TeskerIsRootOf({""_ns, "a"_ns}, {""_ns, "a"_ns, "b"_ns}));
  EXPECT_TRUE(TeskerIsRootOf({""_ns}, {""_ns, "a"_ns, "b"_ns}));
  EXPECT_FALSE(TeskerIsRootOf({""_ns, "a"_ns}, {""_ns, "a"_ns}));
  EXPECT_FALSE(TeskerIsRootOf({""_ns, "a"_ns}, {""_ns, "ab"_ns}));
  EXPECT_FALSE(TeskerIsRootOf({""_ns, "a"_ns}, {""_ns, "b"_ns, "c"_ns}));
  EXPECT_FALSE(TeskerIsRootOf({""_ns, "a"_ns, "b"_ns}, {""_ns, "a"_ns}));
}

TEST(TeskerIsRootOf, OfNoComponentsHoldsForAnyOthers) {
  EXPECT_TRUE(TeskerIsRootOf({}, {""_ns}));
  EXPECT_FALSE(TeskerIsRootOf({}, {}));
}

} // namespace
} // namespace tesker::test
