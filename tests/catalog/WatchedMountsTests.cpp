// What is told when something is mounted or unmounted; in a child with mounts of its own.
#include "catalog/Places.h"
#include "tests/catalog/OwnMounts.h"
#include "tests/catalog/WatchTest.h"

#include <filesystem>
#include <functional>
#include <sys/mount.h>

namespace tesker::test {
namespace {

namespace fs = std::filesystem;
using ::testing::ElementsAre;

class WatchedMounts : public WatchTest {
protected:
  WatchedMounts() {
    directory_.writeFile("disk/program", "#!", 0755);
    directory_.writeFile("tree/point/own", "#!", 0755);
    directory_.makeDirectory("tree/with blank");
    directory_.makeDirectory("other/point");
  }

  void inOwnMounts(const std::function<void()> &body) {
    test::inOwnMounts([&] {
      watches_.emplace(std::move(*SearchPathWatches::create()));
      ASSERT_EQ(watch(), 0);
      body();
    });
  }
  void bind(std::string_view what, std::string_view where) const {
    ASSERT_EQ(::mount(path(what).c_str(), path(where).c_str(), nullptr, MS_BIND, nullptr), 0);
  }
  void unmount(std::string_view where, int flags = 0) const {
    ASSERT_EQ(::umount2(path(where).c_str(), flags), 0);
  }
};

TEST_F(WatchedMounts, TellOfADirectoryThatIsBoundAndUnbound) {
  inOwnMounts([&] {
    bind("disk", "tree/point");
    EXPECT_THAT(changed(), ElementsAre("tree"));
    EXPECT_EQ(watch(), 0);
    append("disk/program");
    EXPECT_THAT(changed(), ElementsAre("tree"));
    unmount("tree/point");
    EXPECT_THAT(changed(), ElementsAre("tree"));
    EXPECT_EQ(watch(), 0);
    append("disk/program");
    EXPECT_FALSE(isTold());
    append("tree/point/own");
    EXPECT_TRUE(isTold());
  });
}

TEST_F(WatchedMounts, TellOfOneAboveTheSearchPath) {
  inOwnMounts([&] {
    directory_.writeFile("other/tree/program", "#!", 0755);
    const std::string above = directory_.path();
    ASSERT_EQ(::mount("none", above.c_str(), "tmpfs", 0, nullptr), 0);
    EXPECT_THAT(changed(), ElementsAre("tree"));
    EXPECT_EQ(watch(), 0);
    fs::create_directory(path("tree"));
    EXPECT_TRUE(isTold());
    ASSERT_EQ(::umount2(above.c_str(), 0), 0);
    EXPECT_TRUE(isTold());
  });
}

TEST_F(WatchedMounts, TellOfAFileSystemThatIsGoneWithItsDirectories) {
  inOwnMounts([&] {
    ASSERT_EQ(::mount("none", path("tree/with blank").c_str(), "tmpfs", 0, nullptr), 0);
    directory_.writeFile("tree/with blank/deep/program", "#!", 0755);
    EXPECT_TRUE(isTold());
    EXPECT_EQ(watch(), 0);
    append("tree/with blank/deep/program");
    EXPECT_TRUE(isTold());
    const std::size_t before = watches_->watchCount();
    unmount("tree/with blank");
    EXPECT_THAT(changed(), ElementsAre("tree"));
    EXPECT_EQ(watches_->watchCount(), before - 2);
    EXPECT_EQ(watch(), 0);
    directory_.writeFile("tree/with blank/program", "#!", 0755);
    EXPECT_TRUE(isTold());
  });
}

TEST_F(WatchedMounts, TellOfOnesAtANameWithABlank) {
  inOwnMounts([&] {
    EXPECT_EQ(watch("tree/with blank"), 0);
    bind("disk", "tree/with blank");
    EXPECT_THAT(changed(), ElementsAre("tree", "tree/with blank"));
  });
}

TEST_F(WatchedMounts, TellOfOneThatIsStillBusy) {
  inOwnMounts([&] {
    bind("disk", "tree/point");
    EXPECT_EQ(watch(), 0);
    changed();
    const int busy = ::open(path("tree/point/program").c_str(), O_RDONLY | O_CLOEXEC);
    unmount("tree/point", MNT_DETACH);
    EXPECT_THAT(changed(), ElementsAre("tree"));
    ::close(busy);
  });
}

TEST_F(WatchedMounts, SayNothingOfOnesElsewhere) {
  inOwnMounts([&] {
    bind("disk", "other/point");
    EXPECT_TRUE(isReadable());
    EXPECT_FALSE(isTold());
    unmount("other/point");
    EXPECT_FALSE(isTold());
  });
}

TEST_F(WatchedMounts, TellOfOnesThatAFarLinkLeadsTo) {
  inOwnMounts([&] {
    directory_.makeLink("tree/far", "../other/point");
    EXPECT_EQ(watch(), 0);
    changed();
    bind("disk", "other/point");
    EXPECT_THAT(changed(), ElementsAre("tree"));
  });
}

TEST_F(WatchedMounts, TellOfAFileThatIsBoundOverOneThatALinkLeadsTo) {
  inOwnMounts([&] {
    directory_.writeFile("other/program", "#!", 0755);
    directory_.makeLink("tree/far", "../other/program");
    EXPECT_EQ(watch(), 0);
    changed();
    bind("disk/program", "other/program");
    EXPECT_THAT(changed(), ElementsAre("tree"));
  });
}

// The same directories, but not with the same below them.
TEST_F(WatchedMounts, WithinADirectoryDoNotHideTheOtherPlaceWhereItIs) {
  inOwnMounts([&] {
    directory_.writeFile("tree/deep/er/est/program", "#!", 0755);
    directory_.makeDirectory("tree/zcopy");
    bind("tree/deep", "tree/zcopy");
    bind("disk", "tree/deep/er/est");
    EXPECT_EQ(watch(), 0);
    changed();
    append("tree/zcopy/er/est/program");
    EXPECT_TRUE(isTold());
    append("disk/program");
    EXPECT_TRUE(isTold());
  });
}

TEST_F(WatchedMounts, AreToldEvenWhenSomebodyHasPolledBefore) {
  inOwnMounts([&] {
    bind("disk", "tree/point");
    EXPECT_TRUE(isReadable());
    isReadable();
    EXPECT_THAT(watches_->takeChanged(), ElementsAre(path("tree")));
    EXPECT_THAT(watches_->takeChanged(), ::testing::IsEmpty());
  });
}

TEST_F(WatchedMounts, WhileAPathIsBegunAreToldWhereverTheyAre) {
  inOwnMounts([&] {
    watches_->begin(path("tree"));
    bind("disk", "other/point");
    EXPECT_TRUE(isTold());
    EXPECT_EQ(finish("tree"), 0);
    unmount("other/point");
    EXPECT_FALSE(isTold());
  });
}

TEST(Places, AreConcernedByMountsAtAboveAndBelowThem) {
  Places places;
  places.add("/usr/lib/x");
  places.add("/srv");
  for (const char *point :
       {"/", "/usr", "/usr/lib", "/usr/lib/x", "/usr/lib/x/y/z", "/srv", "/srv/a"})
    EXPECT_TRUE(places.areConcernedBy(point)) << point;
  for (const char *point :
       {"/us", "/usr/li", "/usr/lib/xy", "/usr/lib/w", "/usr/lib-x/x", "/srv-a", "/var"})
    EXPECT_FALSE(places.areConcernedBy(point)) << point;
  EXPECT_FALSE(Places().areConcernedBy("/"));
}

} // namespace
} // namespace tesker::test
