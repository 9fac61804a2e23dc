// What is told of changes in the directories that a search goes through.
#include "tests/catalog/WatchTest.h"
#include "tests/support/ChildProcess.h"

#include <filesystem>
#include <sys/mman.h>
#include <sys/stat.h>

namespace tesker::test {
namespace {

namespace fs = std::filesystem;
using ::testing::ElementsAre;

class WatchedDirectories : public WatchTest {
protected:
  WatchedDirectories() {
    directory_.writeFile("tree/program", "#!", 0755);
    directory_.writeFile("tree/deep/er/program", "#!", 0755);
    directory_.writeFile("tree/notes", "text", 0644);
    directory_.writeFile("outside/program", "#!", 0755);
    directory_.writeFile("outside/notes", "text", 0644);
    EXPECT_EQ(watch(), 0);
  }
};

TEST_F(WatchedDirectories, SayNothingWhileNothingHappens) { EXPECT_FALSE(isTold()); }

TEST_F(WatchedDirectories, TellOfAnExecutableThatIsMade) {
  directory_.writeFile("tree/deep/er/new", "#!", 0755);
  EXPECT_TRUE(isReadable());
  EXPECT_TRUE(isTold());
}

TEST_F(WatchedDirectories, TellOfANewDirectory) {
  fs::create_directory(path("tree/deep/new"));
  EXPECT_TRUE(isTold());
}

TEST_F(WatchedDirectories, TellOfANewLink) {
  directory_.makeLink("tree/new", "/nowhere");
  EXPECT_TRUE(isTold());
}

TEST_F(WatchedDirectories, TellOfANewHardLinkToAnExecutable) {
  fs::create_hard_link(path("outside/program"), path("tree/new"));
  EXPECT_TRUE(isTold());
}

TEST_F(WatchedDirectories, TellOfWhatIsRemoved) {
  fs::remove(path("tree/program"));
  EXPECT_TRUE(isTold());
  fs::remove_all(path("tree/deep"));
  EXPECT_TRUE(isTold());
}

TEST_F(WatchedDirectories, TellOfWhatIsRenamedOrMovedInOrOut) {
  fs::rename(path("tree/program"), path("tree/other"));
  EXPECT_TRUE(isTold());
  fs::rename(path("tree/other"), path("outside/other"));
  EXPECT_TRUE(isTold());
  fs::rename(path("outside/other"), path("tree/deep/other"));
  EXPECT_TRUE(isTold());
}

// What it replaces may have been an application.
TEST_F(WatchedDirectories, TellOfAnythingThatIsMovedOverAName) {
  fs::rename(path("outside/notes"), path("tree/program"));
  EXPECT_TRUE(isTold());
}

TEST_F(WatchedDirectories, TellOfAChangedModeOfAFileOrADirectory) {
  ::chmod(path("tree/notes").c_str(), 0755);
  EXPECT_TRUE(isTold());
  ::chmod(path("tree/notes").c_str(), 0644);
  EXPECT_TRUE(isTold());
  ::chmod(path("tree/deep/er").c_str(), 0600);
  EXPECT_TRUE(isTold());
  ::chmod(path("tree").c_str(), 0700);
  EXPECT_TRUE(isTold());
}

TEST_F(WatchedDirectories, TellOfAnExecutableThatIsEditedInPlaceOrCut) {
  append("tree/deep/er/program");
  EXPECT_TRUE(isTold());
  fs::resize_file(path("tree/program"), 1);
  EXPECT_TRUE(isTold());
}

TEST_F(WatchedDirectories, TellOfAnExecutableWrittenThroughAMapping) {
  const int file = ::open(path("tree/program").c_str(), O_RDWR | O_CLOEXEC);
  void *bytes = ::mmap(nullptr, 2, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
  ASSERT_NE(bytes, MAP_FAILED);
  ::close(file);
  *static_cast<char *>(bytes) = '?';
  ::munmap(bytes, 2);
  EXPECT_TRUE(isTold());
}

TEST_F(WatchedDirectories, SayNothingOfFilesWithoutExecutePermission) {
  directory_.writeFile("tree/log", "a line", 0644);
  changed(); // of its mode, which the test sets
  append("tree/log");
  append("tree/notes");
  const int made = ::open(path("tree/made").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644);
  ASSERT_GE(made, 0);
  ::close(made);
  EXPECT_TRUE(isReadable());
  EXPECT_FALSE(isTold());
}

TEST_F(WatchedDirectories, SayNothingOfNamesThatASearchPassesOver) {
  for (const char *name : {"tree/.hidden", "tree/backup~", "tree/deep/.dir/program"})
    directory_.writeFile(name, "#!", 0755);
  append("tree/.hidden");
  append("tree/deep/.dir/program");
  fs::remove(path("tree/backup~"));
  EXPECT_TRUE(isReadable());
  EXPECT_FALSE(isTold());
}

TEST_F(WatchedDirectories, SayNothingOfWhatIsRead) {
  std::array<char, 2> bytes;
  const int file = ::open(path("tree/program").c_str(), O_RDONLY | O_CLOEXEC);
  ASSERT_EQ(::read(file, bytes.data(), bytes.size()), 2);
  ::close(file);
  for (const auto &entry : fs::recursive_directory_iterator(path("tree")))
    EXPECT_FALSE(entry.path().empty());
  EXPECT_FALSE(isTold());
}

TEST_F(WatchedDirectories, SayNothingOfWhatHappensOutside) {
  directory_.writeFile("outside/new", "#!", 0755);
  append("outside/program");
  directory_.writeFile("tree-of-others/new", "#!", 0755);
  EXPECT_FALSE(isTold());
}

TEST_F(WatchedDirectories, TellOfADirectoryThatIsMovedAway) {
  fs::rename(path("tree/deep"), path("outside/deep"));
  EXPECT_TRUE(isTold());
  watch();
  append("outside/deep/er/program");
  EXPECT_FALSE(isTold());
}

TEST_F(WatchedDirectories, AreWatchedWhereTheyWereMovedTo) {
  fs::rename(path("tree/deep"), path("tree/moved"));
  EXPECT_TRUE(isTold());
  watch();
  append("tree/moved/er/program");
  EXPECT_TRUE(isTold());
}

TEST_F(WatchedDirectories, AreWatchedAgainWithWhatHasComeSince) {
  directory_.writeFile("tree/new/program", "#!", 0755);
  EXPECT_TRUE(isTold());
  append("tree/new/program");
  EXPECT_FALSE(isTold());
  watch();
  append("tree/new/program");
  EXPECT_TRUE(isTold());
}

TEST_F(WatchedDirectories, TellThosePathsThatAreConcernedEachOnce) {
  watch("tree/deep");
  watch("outside");
  append("tree/program");
  EXPECT_THAT(changed(), ElementsAre("tree"));
  append("tree/deep/er/program");
  append("tree/deep/er/program", "and more");
  directory_.writeFile("tree/deep/new", "#!", 0755);
  EXPECT_THAT(changed(), ElementsAre("tree", "tree/deep"));
  fs::rename(path("tree/program"), path("outside/other"));
  EXPECT_THAT(changed(), ElementsAre("outside", "tree"));
}

TEST_F(WatchedDirectories, TellOfWhatComesWhileTheyAreBegunAgain) {
  watches_->begin(path("tree"));
  append("tree/program");
  EXPECT_TRUE(isTold());
  EXPECT_EQ(finish("tree"), 0);
  append("tree/program");
  EXPECT_TRUE(isTold());
}

TEST_F(WatchedDirectories, AreNotEnteredWhereThatIsNotAllowed) {
  const std::size_t all = watches_->watchCount();
  ::chmod(directory_.path().c_str(), 0755);
  ::chmod(path("tree/deep").c_str(), 0700);
  inOrdinaryUsersChild([&] {
    watches_.emplace(std::move(*SearchPathWatches::create()));
    EXPECT_EQ(watch(), 0);
    EXPECT_EQ(watches_->watchCount(), all - (::geteuid() == kOtherUser ? 2 : 0));
  });
}

TEST_F(WatchedDirectories, HoldNoDescriptorMoreAfterThat) {
  const auto count = [] {
    return std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator());
  };
  const auto before = count();
  EXPECT_EQ(watch(), 0);
  EXPECT_EQ(count(), before);
}

} // namespace
} // namespace tesker::test
