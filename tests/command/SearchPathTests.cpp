#include "command/SearchPath.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/TemporaryDirectory.h"

#include <filesystem>
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tesker::test {
namespace {

using testing::ElementsAre;
using testing::Optional;

class SearchPath : public testing::Test {
protected:
  SearchPath() {
    real_ = std::filesystem::canonical(directory.path());
    std::filesystem::current_path(real_);
  }
  ~SearchPath() override { std::filesystem::current_path("/"); }

  const TemporaryDirectory directory;
  std::string real_;
};

TEST_F(SearchPath, LeavesAnAbsolutePathAsItIs) {
  for (const char *path : {"/", "/a//b/./c/", "/a/../b", "/\xFF"})
    EXPECT_EQ(absoluteSearchPath(path), path);
}

TEST_F(SearchPath, PutsARelativePathBehindTheWorkingDirectory) {
  EXPECT_EQ(absoluteSearchPath("a//b/"), real_ + "/a//b/");
  EXPECT_EQ(absoluteSearchPath("\xFF"), real_ + "/\xFF");
  EXPECT_EQ(absoluteSearchPath("..."), real_ + "/...");
  std::filesystem::current_path("/");
  EXPECT_EQ(absoluteSearchPath("a"), "/a");
}

TEST_F(SearchPath, DropsALeadingDot) {
  EXPECT_EQ(absoluteSearchPath("."), real_);
  EXPECT_EQ(absoluteSearchPath("./"), real_);
  EXPECT_EQ(absoluteSearchPath(".//./a/./b"), real_ + "/a/./b");
  EXPECT_EQ(absoluteSearchPath(".hidden"), real_ + "/.hidden");
}

TEST_F(SearchPath, ResolvesParentsAsTheKernelDoes) {
  directory.makeDirectory("x/y");
  directory.makeDirectory("elsewhere/deep");
  directory.makeLink("link", "elsewhere/deep");
  EXPECT_EQ(absoluteSearchPath(".."), std::filesystem::path(real_).parent_path());
  EXPECT_EQ(absoluteSearchPath("x/y/../z/./w"), real_ + "/x/z/./w");
  EXPECT_EQ(absoluteSearchPath("x/../x/../x"), real_ + "/x");
  // Behind a link lies the parent of what it leads to.
  EXPECT_EQ(absoluteSearchPath("link/.."), real_ + "/elsewhere");
  EXPECT_EQ(absoluteSearchPath("link/../deep"), real_ + "/elsewhere/deep");
}

TEST_F(SearchPath, FollowsNoLinkBehindTheLastParent) {
  directory.makeDirectory("x");
  directory.makeLink("link", "x");
  EXPECT_EQ(absoluteSearchPath("x/../link"), real_ + "/link");
}

TEST_F(SearchPath, KeepsAParentThatLeadsNowhereAndSaysSo) {
  EXPECT_EQ(absoluteSearchPath("missing/../a"), real_ + "/missing/../a");
  EXPECT_THAT(whyNotSearchable(absoluteSearchPath("missing/../a")),
              Optional(std::string("No such file or directory")));
}

TEST_F(SearchPath, LeavesAPathAsItIsWhenTheWorkingDirectoryIsGone) {
  const std::string gone = directory.makeDirectory("gone");
  std::filesystem::current_path(gone);
  std::filesystem::remove(gone);
  EXPECT_EQ(absoluteSearchPath("a"), "a");
  EXPECT_THAT(whyNotSearchable("a"), Optional(std::string("No such file or directory")));
}

TEST_F(SearchPath, FindsDirectoriesAndExecutableFilesSearchable) {
  EXPECT_EQ(whyNotSearchable(directory.path()), std::nullopt);
  EXPECT_EQ(whyNotSearchable(directory.path() + "/./"), std::nullopt);
  EXPECT_EQ(whyNotSearchable(directory.writeFile("program", "x", 0755)), std::nullopt);
  directory.makeLink("link", "program");
  EXPECT_EQ(whyNotSearchable(directory.path("link")), std::nullopt);
}

TEST_F(SearchPath, SaysWhyAPathCannotBeSearched) {
  const auto why = [](const std::string &path) { return whyNotSearchable(path).value_or("none"); };
  EXPECT_EQ(why(""), "an empty path");
  EXPECT_EQ(why("."), "not an absolute path");
  EXPECT_EQ(why("/"), "the root itself is never searched; name directories in it");
  EXPECT_EQ(why("//./"), "the root itself is never searched; name directories in it");
  EXPECT_EQ(why(directory.path("missing")), "No such file or directory");
  EXPECT_EQ(why(directory.path() + "/.."), "holds \"..\", which is not followed in absolute paths");
  EXPECT_EQ(why(directory.writeFile("plain", "x", 0644)),
            "neither a directory nor an executable file");
  EXPECT_EQ(why(directory.makeDirectory("shut", 0600)), "a directory that nobody may search");
  directory.makeLink("loop", "loop");
  EXPECT_EQ(why(directory.path("loop")), "Too many levels of symbolic links");
  ASSERT_EQ(::mkfifo(directory.path("fifo").c_str(), 0777), 0);
  ::chmod(directory.path("fifo").c_str(), 0777);
  EXPECT_EQ(why(directory.path("fifo")), "neither a directory nor an executable file");
}

TEST_F(SearchPath, SaysThatAPathIsTooLong) {
  std::string path = directory.path();
  while (path.size() < 1100)
    path += "/" + std::string(100, 'd');
  std::filesystem::create_directories(path);
  EXPECT_THAT(whyNotSearchable(path), Optional(std::string("longer than 1023 bytes")));
  EXPECT_THAT(whyNotSearchable("/" + std::string(5000, 'a')),
              Optional(std::string("File name too long")));
}

TEST_F(SearchPath, FindsTheLongestPathSearchableAndOneByteMoreTooLong) {
  std::string path = directory.path();
  while (path.size() < 900)
    path += "/" + std::string(100, 'd');
  const std::string longest = path + "/" + std::string(1022 - path.size(), 'n');
  std::filesystem::create_directories(longest);
  std::filesystem::create_directories(longest + "n");
  EXPECT_EQ(whyNotSearchable(longest), std::nullopt);
  EXPECT_THAT(whyNotSearchable(longest + "n"), Optional(std::string("longer than 1023 bytes")));
  // Only what is left when the tool has tidied the path up counts.
  EXPECT_EQ(whyNotSearchable(longest + "//./"), std::nullopt);
}

TEST_F(SearchPath, SaysThatTheUserMayNotSearchOrRead) {
  // Modes that keep out both the owner and strangers.
  const std::string closed = directory.makeDirectory("private", 0010);
  const std::string unlisted = directory.makeDirectory("unlisted", 0111);
  const std::string unreadable = directory.writeFile("unreadable", "x", 0111);
  const std::string open = directory.makeDirectory("open", 0755);
  ASSERT_EQ(::chmod(directory.path().c_str(), 0755), 0);
  inOrdinaryUsersChild([&] {
    EXPECT_THAT(whyNotSearchable(closed), Optional<std::string>("Permission denied"));
    EXPECT_THAT(whyNotSearchable(unlisted), Optional<std::string>("Permission denied"));
    EXPECT_THAT(whyNotSearchable(unreadable), Optional<std::string>("Permission denied"));
    EXPECT_THAT(whyNotSearchable(closed + "/inside"), Optional<std::string>("Permission denied"));
    EXPECT_EQ(whyNotSearchable(open), std::nullopt);
  });
}

TEST(DirectoryOf, IsWhatStandsBeforeTheLastSlash) {
  EXPECT_EQ(directoryOf("/a/b"), "/a");
  EXPECT_EQ(directoryOf("a/b/"), "a/b");
  EXPECT_EQ(directoryOf("/a"), "");
  EXPECT_EQ(directoryOf("a"), "");
  EXPECT_EQ(directoryOf(""), "");
}

TEST(PathList, IsSplitAtNulsAndEndsWithOrWithoutOne) {
  EXPECT_THAT(piecesOfPathList(""), ElementsAre());
  EXPECT_THAT(piecesOfPathList("/a"), ElementsAre("/a"));
  EXPECT_THAT(piecesOfPathList(std::string("/a\0/b\0", 6)), ElementsAre("/a", "/b"));
  EXPECT_THAT(piecesOfPathList(std::string("\0/a\0\0", 5)), ElementsAre("", "/a", ""));
}

} // namespace
} // namespace tesker::test
