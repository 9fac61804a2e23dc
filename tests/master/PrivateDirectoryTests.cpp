#include "master/PrivateDirectory.h"

#include "platform/foundation/OperatingSystem.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/ScopedEnvironment.h"
#include "tests/support/TemporaryDirectory.h"

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <functional>
#include <gmock/gmock.h>
#include <set>
#include <sys/file.h>
#include <sys/stat.h>

namespace tesker::test {
namespace {

using testing::IsEmpty;
using testing::UnorderedElementsAre;

class PrivateDirectories : public testing::Test {
protected:
  static PrivateDirectory made() {
    auto directory = PrivateDirectory::create();
    EXPECT_EQ(directory.error(), 0);
    return std::move(*directory);
  }
  // What a process makes that is killed then: the directory's path.
  std::string abandoned(const std::function<void(const PrivateDirectory &)> &filled = {}) const {
    const std::set<std::string> before = names();
    inChild([&] {
      const PrivateDirectory directory = made();
      if (filled)
        filled(directory);
      ::_exit(0); // no destructor runs
    });
    for (const std::string &name : names())
      if (!before.contains(name))
        return runtime_.path(name);
    ADD_FAILURE() << "nothing was left";
    return "";
  }
  std::set<std::string> names() const {
    std::set<std::string> all;
    for (const auto &entry : std::filesystem::directory_iterator(runtime_.path()))
      all.insert(entry.path().filename().string());
    return all;
  }
  static std::string nameOf(const PrivateDirectory &directory) {
    return std::filesystem::path(directory.path()).filename().string();
  }

  TemporaryDirectory runtime_;
  ScopedEnvironment variable_{"XDG_RUNTIME_DIR", runtime_.path()};
};

TEST_F(PrivateDirectories, AreTheirUsersAloneAndGoAtTheEnd) {
  {
    const PrivateDirectory directory = made();
    struct stat status {};
    ASSERT_EQ(::stat(directory.path().c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 0700U);
    EXPECT_THAT(names(), UnorderedElementsAre(nameOf(directory)));
  }
  EXPECT_THAT(names(), IsEmpty());
}

TEST_F(PrivateDirectories, DoNotTakeTheBitOfADirectoryThatHandsItsGroupOn) {
  ASSERT_EQ(::chmod(runtime_.path().c_str(), 02755), 0);
  const PrivateDirectory directory = made();
  struct stat status {};
  ASSERT_EQ(::stat(directory.path().c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777U, 0700U);
}

TEST_F(PrivateDirectories, AnAbandonedOneIsRemovedByTheNextWithAllThatIsInIt) {
  const TemporaryDirectory outside;
  outside.writeFile("kept", "");
  abandoned([&](const PrivateDirectory &directory) {
    std::filesystem::create_directories(directory.bootstrapPath() + "/deep");
    std::filesystem::create_symlink(outside.path(), directory.bootstrapPath() + "/link");
  });
  const PrivateDirectory next = made();
  EXPECT_THAT(names(), UnorderedElementsAre(nameOf(next)));
  EXPECT_TRUE(std::filesystem::exists(outside.path("kept")));
}

TEST_F(PrivateDirectories, ThoseOfTheLivingStay) {
  const PrivateDirectory first = made(), second = made(), third = made();
  EXPECT_THAT(names(), UnorderedElementsAre(nameOf(first), nameOf(second), nameOf(third)));
}

TEST_F(PrivateDirectories, AreLockedByTheOneThatTheyWereMovedInto) {
  PrivateDirectory assigned = made();
  {
    PrivateDirectory first = made();
    PrivateDirectory moved(std::move(first));
    assigned = std::move(moved);
  }
  const PrivateDirectory next = made();
  EXPECT_THAT(names(), UnorderedElementsAre(nameOf(assigned), nameOf(next)));
}

TEST_F(PrivateDirectories, OfOthersAndWhatOnlyBearsANameLikeTheirsStays) {
  const TemporaryDirectory outside;
  runtime_.writeFile("tesker-master-file00", "");
  runtime_.makeLink("tesker-master-link00", outside.path());
  runtime_.makeDirectory("tesker-123456/bootstrap", 0700);
  runtime_.makeDirectory("other-tesker-master-000000", 0700);
  if (::geteuid() == 0) {
    const std::string others = runtime_.makeDirectory("tesker-master-others", 0777);
    ASSERT_EQ(::chown(others.c_str(), kOtherUser, kOtherUser), 0);
  }
  std::set<std::string> before = names();
  const PrivateDirectory directory = made();
  before.insert(nameOf(directory));
  EXPECT_EQ(names(), before);
  EXPECT_TRUE(std::filesystem::exists(outside.path()));
}

TEST_F(PrivateDirectories, OnlySoManyAreRemovedAtOnce) {
  constexpr int kMore = 3;
  for (int i = 0; i < PrivateDirectory::kMostRemoved + kMore; ++i)
    runtime_.makeDirectory("tesker-master-" + std::to_string(100000 + i), 0700);
  { const PrivateDirectory first = made(); }
  EXPECT_EQ(names().size(), static_cast<std::size_t>(kMore));
  { const PrivateDirectory second = made(); }
  EXPECT_THAT(names(), IsEmpty());
}

// A directory whose listing has no end.
class EndlessSystem final : public OperatingSystem {
public:
  std::unique_ptr<DirectoryStream> openDirectory(const char *) override {
    return std::make_unique<Names>(seen);
  }
  int seen = 0;

private:
  class Names final : public DirectoryStream {
  public:
    explicit Names(int &seen) : seen_(seen) {}
    std::optional<std::string_view> next() override {
      if (++seen_ > 2 * PrivateDirectory::kMostNamesSeen)
        return std::nullopt;
      return "other";
    }
    int descriptor() const override { return -1; }

  private:
    int &seen_;
  };
};

TEST_F(PrivateDirectories, OnlySoManyNamesAreLookedAt) {
  EndlessSystem system;
  const ScopedOperatingSystem inForce(system);
  const PrivateDirectory directory = made();
  EXPECT_EQ(system.seen, PrivateDirectory::kMostNamesSeen);
}

// Somebody else who cleans up gets at the first directory that is made, before or after its maker
// opens it.
class QuickerSystem final : public OperatingSystem {
public:
  enum class What { removesBefore, removesAfter, locks };
  explicit QuickerSystem(What what) : what_(what) {}
  int openAt(int directory, const char *path, int flags, mode_t mode) override {
    const bool isFirst = opened_++ == 0;
    if (isFirst && what_ == What::removesBefore) {
      EXPECT_EQ(::rmdir(path), 0);
    }
    if (isFirst && what_ == What::locks) {
      lock_ = FileDescriptor(OperatingSystem::openAt(directory, path, flags, mode));
      EXPECT_EQ(::flock(lock_.number(), LOCK_EX | LOCK_NB), 0);
    }
    const int descriptor = OperatingSystem::openAt(directory, path, flags, mode);
    if (isFirst && what_ == What::removesAfter) {
      EXPECT_EQ(::rmdir(path), 0);
    }
    return descriptor;
  }
  int makeTemporaryDirectory(char *pattern) override {
    ++made_;
    return OperatingSystem::makeTemporaryDirectory(pattern);
  }
  int made() const { return made_; }

private:
  const What what_;
  int made_ = 0, opened_ = 0;
  FileDescriptor lock_;
};

TEST_F(PrivateDirectories, OneThatIsCleanedAwayWhileItIsMadeIsNotUsed) {
  using What = QuickerSystem::What;
  for (const What what : {What::removesBefore, What::removesAfter, What::locks}) {
    QuickerSystem system(what);
    const ScopedOperatingSystem inForce(system);
    const PrivateDirectory directory = made();
    EXPECT_EQ(system.made(), 2) << static_cast<int>(what);
    EXPECT_TRUE(names().contains(nameOf(directory)));
  }
}

} // namespace
} // namespace tesker::test
