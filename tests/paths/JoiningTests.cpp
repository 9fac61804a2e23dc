#include "paths/PathFunctions.h"
#include "tests/support/LogCapture.h"
#include "tests/support/Texts.h"

#include <cstring>
#include <gmock/gmock.h>

namespace tesker::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

std::string broken(const std::string &dir, const std::string &file) {
  return "*** checkDirFile invariant broken for '" + dir + "','" + file + "'";
}

std::string cPath(const NSString &dir, const NSString &file) {
  PathBuffer buffer;
  std::memset(buffer, 'x', sizeof buffer);
  TeskerSetCPath(buffer, dir, file);
  EXPECT_NE(std::memchr(buffer, '\0', sizeof buffer), nullptr) << "not terminated";
  return buffer;
}

std::string catPath(const NSString &dir, const NSString &file) {
  std::string out = "what was there before";
  TeskerSetCatDirFile(out, dir, file);
  return out;
}

NSString repeated(std::string_view start, std::size_t count, char byte) {
  return NSString::joining({start, std::string(count, byte)});
}

TEST(NamesDirectoryItself, HoldsForNilAndADotOnly) {
  EXPECT_TRUE(namesDirectoryItself(nullptr));
  EXPECT_TRUE(namesDirectoryItself("."_ns));
  EXPECT_FALSE(namesDirectoryItself(""_ns));
  EXPECT_FALSE(namesDirectoryItself(".."_ns));
  EXPECT_FALSE(namesDirectoryItself("a"_ns));
}

TEST(TeskerCheckDirFile, LogsNothingForAGoodPair) {
  LogCapture log;
  TeskerCheckDirFile("/"_ns, nullptr);
  TeskerCheckDirFile("/usr"_ns, "bin"_ns);
  TeskerCheckDirFile("/usr"_ns, "."_ns);
  EXPECT_THAT(log.syslogged, IsEmpty());
}

TEST(TeskerCheckDirFile, LogsEachWayInWhichThePairIsBroken) {
  LogCapture log;
  TeskerCheckDirFile(nullptr, nullptr);
  TeskerCheckDirFile(""_ns, "a"_ns);
  TeskerCheckDirFile("usr"_ns, "a"_ns);
  TeskerCheckDirFile("/usr"_ns, ""_ns);
  TeskerCheckDirFile("/usr"_ns, "a/b"_ns);
  EXPECT_THAT(log.syslogged, ElementsAre(broken("", ""), broken("", "a"), broken("usr", "a"),
                                         broken("/usr", ""), broken("/usr", "a/b")));
  EXPECT_THAT(log.logged, IsEmpty());
}

TEST(TeskerSetCPath, JoinsTheTwoHalves) {
  LogCapture log;
  EXPECT_EQ(cPath("/"_ns, "a"_ns), "/a");
  EXPECT_EQ(cPath("/usr"_ns, "a"_ns), "/usr/a");
  EXPECT_EQ(cPath("/usr"_ns, nullptr), "/usr");
  EXPECT_EQ(cPath("/"_ns, nullptr), "/");
  EXPECT_THAT(log.syslogged, IsEmpty());
}

TEST(TeskerSetCPath, KeepsTheSlashBeforeADotFile) {
  EXPECT_EQ(cPath("/usr"_ns, "."_ns), "/usr/");
  EXPECT_EQ(cPath("/"_ns, "."_ns), "/");
}

TEST(TeskerSetCPath, OfNilAndNilLogsAndYieldsTheRoot) {
  LogCapture log;
  EXPECT_EQ(cPath(nullptr, nullptr), "/");
  EXPECT_THAT(log.syslogged, ElementsAre(broken("", "")));
}

TEST(TeskerSetCPath, CarriesOnWithABrokenPair) {
  LogCapture log;
  EXPECT_EQ(cPath(nullptr, "x"_ns), "/x");
  EXPECT_EQ(cPath("usr"_ns, "a/b"_ns), "usr/a/b");
  EXPECT_EQ(cPath("/usr"_ns, ""_ns), "/usr/");
  EXPECT_EQ(log.syslogged.size(), 3u);
}

TEST(TeskerSetCPath, AcceptsThePathThatJustFits) {
  const NSString whole = repeated("/", 1022, 'd');
  ASSERT_EQ(whole.length(), 1023u);
  EXPECT_EQ(cPath(whole, nullptr), whole.bytes());
  EXPECT_EQ(cPath(repeated("/", 1018, 'd'), "abc"_ns), "/" + std::string(1018, 'd') + "/abc");
}

TEST(TeskerSetCPath, LeavesTheEmptyStringForAPathThatDoesNotFit) {
  const NSString dir = repeated("/", 1019, 'd');
  EXPECT_EQ(cPath(dir, "abc"_ns), "");
  EXPECT_EQ(cPath(dir, repeated("", 100000, 'f')), "");
  EXPECT_EQ(cPath(repeated("/", 1023, 'd'), nullptr), "");
  // 1023 bytes already, so that the slash alone is one too many.
  EXPECT_EQ(cPath(repeated("/", 1022, 'd'), "."_ns), "");
}

TEST(TeskerSetCPath, LeavesTheEmptyStringForAPathWithANul) {
  EXPECT_EQ(cPath("/usr\0/bin"_ns, "a"_ns), "");
  EXPECT_EQ(cPath("/usr\0/bin"_ns, nullptr), "");
  EXPECT_EQ(cPath("/usr"_ns, "a\0b"_ns), "");
}

TEST(TeskerSetCPath, PassesAnyOtherByteUnchanged) {
  EXPECT_EQ(cPath("/\xff\xfe"_ns, "new\nline\x80"_ns), "/\xff\xfe/new\nline\x80");
}

TEST(TeskerCatDirFile, JoinsWithOneSlash) {
  EXPECT_EQ(TeskerCatDirFile("/"_ns, "x"_ns), "/x");
  EXPECT_EQ(TeskerCatDirFile("/usr"_ns, "x"_ns), "/usr/x");
}

TEST(TeskerCatDirFile, ReturnsTheDirectoryItselfWithoutAFile) {
  const NSString dir = "/joined/never"_ns;
  EXPECT_TRUE(TeskerCatDirFile(dir, nullptr).isSameObjectAs(dir));
  EXPECT_TRUE(TeskerCatDirFile(dir, "."_ns).isSameObjectAs(dir));
  EXPECT_FALSE(globalDirNameSet().contains("/joined/never"));
}

TEST(TeskerCatDirFile, ReturnsTheIdenticalObjectForEqualArguments) {
  const NSString first = TeskerCatDirFile("/usr"_ns, "shared"_ns);
  const NSString second = TeskerCatDirFile("/usr"_ns, "shared"_ns);
  EXPECT_TRUE(first.isSameObjectAs(second));
  ASSERT_TRUE(globalDirNameSet().contains("/usr/shared"));
  EXPECT_TRUE(globalDirNameSet().find("/usr/shared")->isSameObjectAs(first));
  EXPECT_EQ(&first.zone(), &filerZone());
}

TEST(TeskerCatDirFile, AddsEachDistinctPathToTheSetOnce) {
  const std::size_t before = globalDirNameSet().size();
  for (int i = 0; i < 3; ++i) {
    const NSString one = TeskerCatDirFile("/distinct"_ns, "one"_ns);
    const NSString two = TeskerCatDirFile("/distinct"_ns, "two"_ns);
    EXPECT_FALSE(one.isSameObjectAs(two));
  }
  EXPECT_EQ(globalDirNameSet().size(), before + 2);
}

TEST(TeskerCatDirFile, TakesNoMemoryForAPathThatIsKnown) {
  (void)TeskerCatDirFile("/usr"_ns, "known"_ns);
  const std::size_t before = filerZone().bytesInUse();
  for (int i = 0; i < 3; ++i)
    (void)TeskerCatDirFile("/usr"_ns, "known"_ns);
  EXPECT_EQ(filerZone().bytesInUse(), before);
}

TEST(TeskerCatDirFile, DoesNotCheckThePair) {
  LogCapture log;
  EXPECT_EQ(TeskerCatDirFile("usr"_ns, "a/b"_ns), "usr/a/b");
  EXPECT_THAT(log.syslogged, IsEmpty());
}

TEST(GlobalDirNameSet, IsTheSameSetInTheFilerZoneOnEveryCall) {
  EXPECT_EQ(&globalDirNameSet(), &globalDirNameSet());
  EXPECT_EQ(globalDirNameSet().get_allocator().resource(), &filerZone());
}

TEST(TeskerSetCatDirFile, JoinsTheTwoHalves) {
  LogCapture log;
  EXPECT_EQ(catPath("/"_ns, "x"_ns), "/x");
  EXPECT_EQ(catPath("/usr"_ns, "x"_ns), "/usr/x");
  EXPECT_EQ(catPath("/usr"_ns, nullptr), "/usr");
  EXPECT_THAT(log.syslogged, IsEmpty());
}

TEST(TeskerSetCatDirFile, AddsNoSlashForADotFile) {
  EXPECT_EQ(catPath("/usr"_ns, "."_ns), "/usr");
  EXPECT_EQ(TeskerCatDirFile("/usr"_ns, "."_ns), "/usr");
}

TEST(TeskerSetCatDirFile, TakesAnyDirectoryOfOneCharacterForTheRoot) {
  LogCapture log;
  EXPECT_EQ(catPath("d"_ns, "x"_ns), "dx");
  EXPECT_THAT(log.syslogged, ElementsAre(broken("d", "x")));
}

TEST(TeskerSetCatDirFile, ChecksThePairAndCarriesOn) {
  LogCapture log;
  EXPECT_EQ(catPath(nullptr, nullptr), "");
  EXPECT_EQ(catPath(nullptr, "x"_ns), "/x");
  EXPECT_THAT(log.syslogged, ElementsAre(broken("", ""), broken("", "x")));
}

TEST(TeskerSetCatDirFile, HasNoLimitOfLength) {
  EXPECT_EQ(catPath(repeated("/", 5000, 'd'), "x"_ns), "/" + std::string(5000, 'd') + "/x");
}

} // namespace
} // namespace tesker::test
