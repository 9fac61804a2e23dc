#include "paths/PathFunctions.h"
#include "tests/support/LogCapture.h"
#include "tests/support/Texts.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace tesker::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

std::vector<std::string> split(const Ref<NSString> &path) {
  return textsOf(TeskerSplitPathIntoCleanComponents(*path));
}

std::vector<std::string> split(const Ref<NSString> &dir, const NSString *file) {
  return textsOf(TeskerSplitDirFileIntoCleanComponents(*dir, file));
}

std::vector<std::string> normalized(const Ref<NSString> &path) {
  RefPtr<NSString> dir = "dir before"_ns;
  RefPtr<NSString> file = "file before"_ns;
  TeskerNormalizePathIntoDirFile(*path, dir, file);
  return {textOf(dir), textOf(file)};
}

TEST(TeskerSplitPathIntoCleanComponents, KeepsTheRootAndTheNames) {
  EXPECT_THAT(split("/"_ns), ElementsAre(""));
  EXPECT_THAT(split("/a/b"_ns), ElementsAre("", "a", "b"));
}

TEST(TeskerSplitPathIntoCleanComponents, DropsEmptyPiecesAndDots) {
  LogCapture log;
  EXPECT_THAT(split("/a/./b"_ns), ElementsAre("", "a", "b"));
  EXPECT_THAT(split("//a///b//"_ns), ElementsAre("", "a", "b"));
  EXPECT_THAT(split("/./"_ns), ElementsAre(""));
  EXPECT_THAT(log.syslogged, IsEmpty());
}

TEST(TeskerSplitPathIntoCleanComponents, RefusesDotDotWithALogLine) {
  LogCapture log;
  EXPECT_THAT(split("/a/../b"_ns), ElementsAre("(nil)"));
  EXPECT_THAT(split("/.."_ns), ElementsAre("(nil)"));
  EXPECT_THAT(log.syslogged,
              ElementsAre("*** Incorrect path: '/a/../b'", "*** Incorrect path: '/..'"));
}

TEST(TeskerSplitPathIntoCleanComponents, LogsOnceForSeveralDotDots) {
  LogCapture log;
  EXPECT_THAT(split("/../.."_ns), ElementsAre("(nil)"));
  EXPECT_THAT(log.syslogged, ElementsAre("*** Incorrect path: '/../..'"));
}

TEST(TeskerSplitPathIntoCleanComponents, RefusesARelativeAndAnEmptyPath) {
  LogCapture log;
  EXPECT_THAT(split("a/b"_ns), ElementsAre("(nil)"));
  EXPECT_THAT(split(""_ns), ElementsAre("(nil)"));
  EXPECT_THAT(log.syslogged, ElementsAre("*** Incorrect path: 'a/b'", "*** Incorrect path: ''"));
}

TEST(TeskerSplitPathIntoCleanComponents, KeepsNamesThatOnlyLookLikeDots) {
  EXPECT_THAT(split("/.../..a/a../.a"_ns), ElementsAre("", "...", "..a", "a..", ".a"));
}

TEST(TeskerSplitPathIntoCleanComponents, RemovesAPieceThatIsOneNul) {
  EXPECT_THAT(split("/a/\0/b"_ns), ElementsAre("", "a", "b"));
  EXPECT_THAT(split("/\0"_ns), ElementsAre(""));
}

TEST(TeskerSplitPathIntoCleanComponents, KeepsOtherPiecesThatEndInANul) {
  const std::string nul("\0", 1);
  EXPECT_THAT(split("/a\0/\0\0/.\0/..\0"_ns),
              ElementsAre("", "a" + nul, nul + nul, "." + nul, ".." + nul));
}

TEST(TeskerSplitPathIntoCleanComponents, TakesAVeryLongPath) {
  std::string path;
  for (int i = 0; i < 200000; ++i)
    path += "//a";
  EXPECT_EQ(TeskerSplitPathIntoCleanComponents(*NSString::create(path))->count(), 200001u);
}

TEST(TeskerSplitDirFileIntoCleanComponents, AppendsTheFile) {
  LogCapture log;
  EXPECT_THAT(split("/a//b/"_ns, nullptr), ElementsAre("", "a", "b"));
  EXPECT_THAT(split("/a"_ns, &*"b"_ns), ElementsAre("", "a", "b"));
  EXPECT_THAT(split("/"_ns, &*"b"_ns), ElementsAre("", "b"));
  EXPECT_THAT(split("/"_ns, nullptr), ElementsAre(""));
  EXPECT_THAT(log.syslogged, IsEmpty());
}

TEST(TeskerSplitDirFileIntoCleanComponents, RefusesDotsInTheDirectory) {
  LogCapture log;
  EXPECT_THAT(split("/a/."_ns, nullptr), ElementsAre("(nil)"));
  EXPECT_THAT(split("/a/.."_ns, &*"b"_ns), ElementsAre("(nil)"));
  EXPECT_THAT(log.syslogged,
              ElementsAre("*** Incorrect dir: '/a/.'", "*** Incorrect dir: '/a/..'"));
}

TEST(TeskerSplitDirFileIntoCleanComponents, RefusesARelativeAndAnEmptyDirectory) {
  LogCapture log;
  EXPECT_THAT(split("a"_ns, nullptr), ElementsAre("(nil)"));
  EXPECT_THAT(split(""_ns, &*"b"_ns), ElementsAre("(nil)"));
  EXPECT_THAT(log.syslogged, ElementsAre("*** Incorrect dir: 'a'", "*** Incorrect dir: ''"));
}

TEST(TeskerSplitDirFileIntoCleanComponents, RefusesAFileThatIsNoPlainName) {
  LogCapture log;
  EXPECT_THAT(split("/a"_ns, &*".."_ns), ElementsAre("(nil)"));
  EXPECT_THAT(split("/a"_ns, &*"."_ns), ElementsAre("(nil)"));
  EXPECT_THAT(split("/a"_ns, &*"b/c"_ns), ElementsAre("(nil)"));
  EXPECT_THAT(log.syslogged, ElementsAre("*** Incorrect file: '..'", "*** Incorrect file: '.'",
                                         "*** Incorrect file: 'b/c'"));
}

TEST(TeskerSplitDirFileIntoCleanComponents, AppendsAnEmptyFileUnchecked) {
  LogCapture log;
  EXPECT_THAT(split("/a"_ns, &*""_ns), ElementsAre("", "a", ""));
  EXPECT_THAT(log.syslogged, IsEmpty());
}

TEST(TeskerSplitDirFileIntoCleanComponents, KeepsADirectoryPieceThatIsOneNul) {
  EXPECT_THAT(split("/\0"_ns, nullptr), ElementsAre("", std::string("\0", 1)));
}

TEST(TeskerJoinComponents, IsTheWayBack) {
  EXPECT_EQ(TeskerJoinComponents(*arrayOf({""}))->bytes(), "/");
  EXPECT_EQ(TeskerJoinComponents(*arrayOf({"", "a"}))->bytes(), "/a");
  EXPECT_EQ(TeskerJoinComponents(*arrayOf({"", "a", "b"}))->bytes(), "/a/b");
}

TEST(TeskerJoinComponents, OfNoComponentsIsTheEmptyString) {
  EXPECT_EQ(TeskerJoinComponents(*arrayOf({}))->bytes(), "");
}

TEST(TeskerDirForCleanComponents, IsAllButTheLast) {
  EXPECT_EQ(textOf(TeskerDirForCleanComponents(&*arrayOf({""}))), "/");
  EXPECT_EQ(textOf(TeskerDirForCleanComponents(&*arrayOf({"", "a"}))), "/");
  EXPECT_EQ(textOf(TeskerDirForCleanComponents(&*arrayOf({"", "a", "b", "c"}))), "/a/b");
}

TEST(TeskerDirForCleanComponents, LeavesTheComponentsAsTheyAre) {
  const auto components = arrayOf({"", "a", "b"});
  EXPECT_EQ(textOf(TeskerDirForCleanComponents(&*components)), "/a");
  EXPECT_THAT(textsOf(components), ElementsAre("", "a", "b"));
}

TEST(TeskerDirForCleanComponents, LogsNilAndNoComponents) {
  LogCapture log;
  EXPECT_FALSE(TeskerDirForCleanComponents(nullptr));
  EXPECT_FALSE(TeskerDirForCleanComponents(&*arrayOf({})));
  EXPECT_THAT(log.syslogged,
              ElementsAre("*** Incorrect components: (null)", "*** Incorrect components: ()"));
}

TEST(TeskerFileForCleanComponents, IsTheLastAndNilForTheRoot) {
  EXPECT_FALSE(TeskerFileForCleanComponents(&*arrayOf({""})));
  EXPECT_EQ(textOf(TeskerFileForCleanComponents(&*arrayOf({"", "a"}))), "a");
  EXPECT_EQ(textOf(TeskerFileForCleanComponents(&*arrayOf({"", "a", "b"}))), "b");
}

TEST(TeskerFileForCleanComponents, IsACopyThatDoesNotChange) {
  const auto name = NSMutableString::create("a");
  const auto components = arrayOf({""});
  components->addObject(name);
  const auto file = TeskerFileForCleanComponents(&*components);
  name->setString("changed");
  EXPECT_EQ(textOf(file), "a");
}

TEST(TeskerFileForCleanComponents, LogsNilAndNoComponents) {
  LogCapture log;
  EXPECT_FALSE(TeskerFileForCleanComponents(nullptr));
  EXPECT_FALSE(TeskerFileForCleanComponents(&*arrayOf({})));
  EXPECT_THAT(log.syslogged,
              ElementsAre("*** Incorrect components: (null)", "*** Incorrect components: ()"));
}

TEST(TeskerNormalizePathIntoDirFile, GivesThePairOfAnyAbsolutePath) {
  LogCapture log;
  EXPECT_THAT(normalized("/"_ns), ElementsAre("/", "(nil)"));
  EXPECT_THAT(normalized("//"_ns), ElementsAre("/", "(nil)"));
  EXPECT_THAT(normalized("/./"_ns), ElementsAre("/", "(nil)"));
  EXPECT_THAT(normalized("/a"_ns), ElementsAre("/", "a"));
  EXPECT_THAT(normalized("/a//b/./c/"_ns), ElementsAre("/a/b", "c"));
  EXPECT_THAT(log.syslogged, IsEmpty());
}

TEST(TeskerNormalizePathIntoDirFile, LogsARefusedPathAndTheMissingComponentsTwice) {
  LogCapture log;
  EXPECT_THAT(normalized("/a/../b"_ns), ElementsAre("(nil)", "(nil)"));
  EXPECT_THAT(log.syslogged,
              ElementsAre("*** Incorrect path: '/a/../b'",
                          "*** normalizePath: incorrect argument: '/a/../b'",
                          "*** Incorrect components: (null)", "*** Incorrect components: (null)"));
}

TEST(TeskerNormalizePathIntoDirFile, LogsTheWholeStringWhereTheByteStringEndsAtANul) {
  LogCapture log;
  EXPECT_THAT(normalized("a\0b"_ns), ElementsAre("(nil)", "(nil)"));
  ASSERT_EQ(log.syslogged.size(), 4u);
  EXPECT_EQ(log.syslogged[0], "*** Incorrect path: 'a'");
  EXPECT_EQ(log.syslogged[1],
            "*** normalizePath: incorrect argument: 'a" + std::string("\0", 1) + "b'");
}

TEST(TeskerIsRootOf, IsAStrictPrefix) {
  EXPECT_TRUE(TeskerIsRootOf(*arrayOf({"", "a"}), *arrayOf({"", "a", "b"})));
  EXPECT_TRUE(TeskerIsRootOf(*arrayOf({""}), *arrayOf({"", "a", "b"})));
  EXPECT_FALSE(TeskerIsRootOf(*arrayOf({"", "a"}), *arrayOf({"", "a"})));
  EXPECT_FALSE(TeskerIsRootOf(*arrayOf({"", "a"}), *arrayOf({"", "ab"})));
  EXPECT_FALSE(TeskerIsRootOf(*arrayOf({"", "a"}), *arrayOf({"", "b", "c"})));
  EXPECT_FALSE(TeskerIsRootOf(*arrayOf({"", "a", "b"}), *arrayOf({"", "a"})));
}

TEST(TeskerIsRootOf, OfNoComponentsHoldsForAnyOthers) {
  EXPECT_TRUE(TeskerIsRootOf(*arrayOf({}), *arrayOf({""})));
  EXPECT_FALSE(TeskerIsRootOf(*arrayOf({}), *arrayOf({})));
}

} // namespace
} // namespace tesker::test
