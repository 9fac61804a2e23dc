// What a listing with attributes costs: one opened directory, and one status relative to it for
// each entry.
#include "filesystem/TeskerFileManagerMethods.h"
#include "tests/support/CountingOperatingSystem.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/Texts.h"

#include <cerrno>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <new>
#include <optional>

namespace tesker::test {
namespace {

using ::testing::ElementsAre;

// Fails the status of the names that it is told, or has no memory for them.
class Failing : public CountingOperatingSystem {
public:
  std::optional<std::string> vanished;
  std::optional<std::string> exhausting;
  int statAt(int directory, const char *name, bool followLinks, struct stat &status) override {
    if (name == exhausting)
      throw std::bad_alloc();
    if (name == vanished) {
      errno = ENOENT;
      return -1;
    }
    return CountingOperatingSystem::statAt(directory, name, followLinks, status);
  }
};

class ListingCost : public ::testing::Test {
protected:
  RefPtr<NSMutableArray> list(NSFileManager &manager, const NSString &dir) {
    return manager._privateLStatDir(dir, true, true, *infos_);
  }
  RefPtr<NSMutableArray> list() { return list(NSFileManager::classObject(), *directory_.string()); }
  std::string opened() const { return "openDirectory " + directory_.path(); }
  std::string closed() const { return "closeDirectory " + directory_.path(); }
  std::string examined(std::string_view name) const {
    return "statAt " + directory_.path(name) + " nofollow";
  }

  const TemporaryDirectory directory_;
  Failing system_;
  const ScopedOperatingSystem scope_{system_};
  const Ref<NSMutableArray> infos_ = NSMutableArray::create();
};

TEST_F(ListingCost, IsOneOpenedDirectoryAndOneRelativeStatusForEachKeptEntry) {
  for (const char *name : {"file", ".hidden", "backup~"})
    directory_.writeFile(name, "");
  EXPECT_THAT(textsOf(list()), ElementsAre("file"));
  EXPECT_THAT(system_.log, ElementsAre(opened(), examined("file"), closed()));
  EXPECT_EQ(system_.fullPathStats, 0u);
}

TEST_F(ListingCost, OfAThousandEntriesIsAThousandRelativeStatusCallsInTheOrderOfTheNames) {
  for (int i = 0; i < 1000; ++i)
    directory_.writeFile("entry-" + std::to_string(i), "");
  const auto names = textsOf(list());
  ASSERT_EQ(names.size(), 1000u);
  EXPECT_EQ(infos_->count(), 1000u);
  std::vector<std::string> calls{opened()};
  for (const auto &name : names)
    calls.push_back(examined(name));
  calls.push_back(closed());
  EXPECT_EQ(system_.log, calls);
  EXPECT_EQ(system_.fullPathStats, 0u);
}

TEST_F(ListingCost, IsTheSameForAnEmptyAndForAMissingDirectory) {
  EXPECT_TRUE(list());
  EXPECT_THAT(system_.log, ElementsAre(opened(), closed()));
  system_.forget();
  EXPECT_FALSE(list(NSFileManager::classObject(), *"/no/such"_ns));
  EXPECT_THAT(system_.log, ElementsAre("openDirectory /no/such"));
}

TEST_F(ListingCost, ReachesEntriesBeyondThePathsThatTheKernelTakes) {
  // The directory's own path is short enough; the entry's is not.
  std::string path = directory_.path();
  while (path.size() < 3800) {
    path += "/" + std::string(200, 'd');
    ASSERT_EQ(::mkdir(path.c_str(), 0755), 0);
  }
  path += "/" + std::string(4090 - path.size() - 1, 'd');
  ASSERT_EQ(::mkdir(path.c_str(), 0755), 0);
  const auto stream = OperatingSystem().openDirectory(path.c_str());
  ASSERT_EQ(::mkdirat(stream->descriptor(), "a-long-name", 0755), 0);
  EXPECT_THAT(textsOf(list(NSFileManager::classObject(), *NSString::create(path))),
              ElementsAre("a-long-name"));
  EXPECT_EQ(infos_->count(), 1u);
}

// A caching class object that has to send everything on.
class SendingOn final : public NSFileManager {
public:
  RefPtr<NSMutableArray> childrenForDirPath(const NSString &dir, bool filterDots,
                                            bool filterBackups) override {
    return NSFileManager::classObject().childrenForDirPath(dir, filterDots, filterBackups);
  }
  RefPtr<NSFileAttributes> _privateLstatDir(const NSString &dir, const NSString *file) override {
    return NSFileManager::classObject()._privateLstatDir(dir, file);
  }
};

TEST_F(ListingCost, IsTheSameThroughAnotherClassObject) {
  directory_.writeFile("file", "");
  SendingOn sendingOn;
  EXPECT_TRUE(list(sendingOn, *directory_.string()));
  EXPECT_THAT(system_.log, ElementsAre(opened(), examined("file"), closed()));
  EXPECT_EQ(system_.fullPathStats, 0u);
}

// A caching class object that knows the names, and examines them itself.
class KnowingNames final : public NSFileManager {
public:
  Ref<NSMutableArray> names = NSMutableArray::create();
  RefPtr<NSMutableArray> childrenForDirPath(const NSString &, bool, bool) override { return names; }
};

TEST_F(ListingCost, IsAStatusByFullPathWhereTheNamesCameFromACache) {
  directory_.writeFile("file", "");
  KnowingNames knowing;
  knowing.names->addObject("file"_ns);
  EXPECT_TRUE(list(knowing, *directory_.string()));
  EXPECT_THAT(system_.log, ElementsAre(examined("file")));
  EXPECT_EQ(system_.fullPathStats, 1u);
}

// Examines, for each entry, other files too, and lists another directory in between.
class Wandering final : public NSFileManager {
public:
  explicit Wandering(const NSString &other) : other_(other) {}
  RefPtr<NSFileAttributes> _privateLstatDir(const NSString &dir, const NSString *file) override {
    if (file != nullptr && file->bytes() == "file" && !dir.isEqual(&other_)) {
      const auto infos = NSMutableArray::create();
      EXPECT_TRUE(_privateLStatDir(other_, true, true, *infos));
      EXPECT_EQ(infos->count(), 1u);
      for (const auto &name : {"sub/inner"_ns, ""_ns, "file\0"_ns})
        (void)NSFileManager::_privateLstatDir(dir, &*name);
      (void)NSFileManager::_privateLstatDir(dir, nullptr);
      (void)NSFileManager::_privateLstatDir(other_, &*"inner"_ns);
    }
    return NSFileManager::_privateLstatDir(dir, file);
  }

private:
  const NSString &other_;
};

TEST_F(ListingCost, IsRelativeOnlyForPlainNamesOfTheListedDirectory) {
  directory_.writeFile("file", "");
  const TemporaryDirectory elsewhere;
  elsewhere.writeFile("inner", "");
  const auto other = elsewhere.string();
  Wandering wandering(*other);
  ASSERT_THAT(textsOf(list(wandering, *directory_.string())), ElementsAre("file"));
  const std::string innerFile = "statAt " + elsewhere.path("inner") + " nofollow";
  EXPECT_THAT(system_.log,
              ElementsAre(opened(), "openDirectory " + elsewhere.path(), innerFile,
                          "closeDirectory " + elsewhere.path(), examined("sub/inner"),
                          "statAt " + directory_.path() + " nofollow", "statAt  nofollow",
                          "statAt " + directory_.path() + " nofollow", innerFile, examined("file"),
                          closed()));
  EXPECT_EQ(system_.fullPathStats, 5u);
}

TEST_F(ListingCost, ClosesTheDirectoryWhenAnEntryVanishes) {
  directory_.writeFile("gone", "");
  system_.vanished = "gone";
  EXPECT_FALSE(list());
  EXPECT_THAT(system_.log, ElementsAre(opened(), closed()));
}

TEST_F(ListingCost, ClosesTheDirectoryWhenAnExceptionPassesThrough) {
  directory_.writeFile("file", "");
  system_.exhausting = "file";
  EXPECT_THROW((void)list(), std::bad_alloc);
  EXPECT_THAT(system_.log, ElementsAre(opened(), closed()));
  system_.exhausting.reset();
  system_.forget();
  EXPECT_TRUE(NSFileManager::classObject()._privateLstatDir(*directory_.string(), &*"file"_ns));
  EXPECT_EQ(system_.fullPathStats, 1u);
}

TEST_F(ListingCost, LeavesNothingOpenForWhatIsAskedAfterwards) {
  directory_.writeFile("file", "");
  EXPECT_TRUE(list());
  system_.forget();
  EXPECT_TRUE(NSFileManager::classObject()._privateLstatDir(*directory_.string(), &*"file"_ns));
  EXPECT_THAT(system_.log, ElementsAre(examined("file")));
  EXPECT_EQ(system_.fullPathStats, 1u);
}

TEST_F(ListingCost, OfAListingAloneIsOneOpenedDirectoryClosedAtOnce) {
  directory_.writeFile("file", "");
  EXPECT_TRUE(NSFileManager::classObject().childrenForDirPath(*directory_.string()));
  EXPECT_THAT(system_.log, ElementsAre(opened(), closed()));
}

TEST_F(ListingCost, OfAStatusByPairIsOneCall) {
  const auto dir = directory_.string();
  EXPECT_TRUE(NSFileManager::classObject()._privateStatDir(*dir, nullptr));
  EXPECT_FALSE(NSFileManager::classObject()._privateStatDir(*dir, &*"missing"_ns));
  EXPECT_THAT(system_.log, ElementsAre("statAt " + directory_.path() + " follow",
                                       "statAt " + directory_.path("missing") + " follow"));
}

} // namespace
} // namespace tesker::test
