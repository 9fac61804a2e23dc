// What a listing with attributes costs: one opened directory, and one status relative to it for
// each entry.
#include "filesystem/DirectoryListing.h"
#include "filesystem/TeskerFileManagerMethods.h"
#include "tests/support/CountingOperatingSystem.h"
#include "tests/support/TemporaryDirectory.h"

#include <cerrno>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <new>
#include <optional>

namespace tesker::test {
namespace {

using ::testing::ElementsAre;
using ::testing::Optional;

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
  // What a walk asks of a directory: the names, and the attributes of each. Nothing when the
  // directory cannot be listed or one of them cannot be examined.
  std::optional<std::vector<std::string>> list(const NSString &dir) const {
    const auto listing = DirectoryListing::read(dir, {.dots = true, .backups = true});
    if (!listing)
      return std::nullopt;
    std::vector<std::string> names;
    for (std::size_t i = 0; i < listing->count(); ++i) {
      names.emplace_back(listing->name(i));
      if (!listing->attributes(i))
        return std::nullopt;
    }
    return names;
  }
  std::optional<std::vector<std::string>> list() const { return list(directory_.string()); }
  // The same of the file manager, which asks itself for the names and for each status.
  bool listThrough(NSFileManager &manager) const {
    std::vector<NSFileAttributes> infos;
    return manager._privateLStatDir(directory_.string(), true, true, infos).has_value();
  }
  std::string opened() const { return "openDirectory " + directory_.path(); }
  std::string closed() const { return "closeDirectory " + directory_.path(); }
  std::string examined(std::string_view name) const {
    return "statAt " + directory_.path(name) + " nofollow";
  }

  const TemporaryDirectory directory_;
  Failing system_;
  const ScopedOperatingSystem scope_{system_};
};

TEST_F(ListingCost, IsOneOpenedDirectoryAndOneRelativeStatusForEachKeptEntry) {
  for (const char *name : {"file", ".hidden", "backup~"})
    directory_.writeFile(name, "");
  EXPECT_THAT(list(), Optional(ElementsAre("file")));
  EXPECT_THAT(system_.log, ElementsAre(opened(), examined("file"), closed()));
  EXPECT_EQ(system_.fullPathStats, 0u);
}

TEST_F(ListingCost, OfAThousandEntriesIsAThousandRelativeStatusCallsInTheOrderOfTheNames) {
  for (int i = 0; i < 1000; ++i)
    directory_.writeFile("entry-" + std::to_string(i), "");
  const auto names = list().value();
  ASSERT_EQ(names.size(), 1000u);
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
  EXPECT_FALSE(list("/no/such"_ns));
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
  EXPECT_THAT(list(NSString::create(path)), Optional(ElementsAre("a-long-name")));
}

TEST_F(ListingCost, IsRelativeToItsOwnDirectoryWhileAnotherIsListed) {
  directory_.writeFile("file", "");
  const TemporaryDirectory elsewhere;
  elsewhere.writeFile("inner", "");
  const auto outer = DirectoryListing::read(directory_.string(), {});
  EXPECT_THAT(list(elsewhere.string()), Optional(ElementsAre("inner")));
  EXPECT_TRUE(outer->attributes(0)->isRegular());
  EXPECT_THAT(system_.log, ElementsAre(opened(), "openDirectory " + elsewhere.path(),
                                       "statAt " + elsewhere.path("inner") + " nofollow",
                                       "closeDirectory " + elsewhere.path(), examined("file")));
  EXPECT_EQ(system_.fullPathStats, 0u);
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
  EXPECT_TRUE(NSFileManager::classObject()._privateLstatDir(directory_.string(), "file"_ns));
  EXPECT_EQ(system_.fullPathStats, 1u);
}

TEST_F(ListingCost, TakesOverTheMemoryOfTheNamesBefore) {
  directory_.writeFile("file", "");
  const auto placeOfTheName = [&] {
    const auto listing = DirectoryListing::read(directory_.string(), {});
    EXPECT_EQ(listing->count(), 1U);
    EXPECT_EQ(listing->name(0), "file");
    return static_cast<const void *>(listing->name(0).data());
  };
  const void *first = placeOfTheName();
  EXPECT_EQ(placeOfTheName(), first);
}

TEST_F(ListingCost, GivesTheMemoryOfVeryManyNamesBack) {
  for (int i = 1000; i < 1600; ++i) // more than the heap keeps for itself
    directory_.writeFile(std::string(240, 'n') + std::to_string(i), "");
  directory_.makeDirectory("inner");
  directory_.writeFile("inner/file", "");
  const auto placeOfTheNames = [](const NSString &path) {
    return static_cast<const void *>(DirectoryListing::read(path, {})->name(0).data());
  };
  const void *many = placeOfTheNames(directory_.string());
  EXPECT_NE(placeOfTheNames(directory_.string("inner")), many);
}

TEST_F(ListingCost, IsOverOnceTheListingIsClosed) {
  directory_.writeFile("file", "");
  auto listing = DirectoryListing::read(directory_.string(), {});
  listing->close();
  EXPECT_THAT(system_.log, ElementsAre(opened(), closed()));
  EXPECT_EQ(listing->descriptor(), AT_FDCWD);
  EXPECT_EQ(listing->name(0), "file");
}

TEST_F(ListingCost, LeavesNothingOpenForWhatIsAskedAfterwards) {
  directory_.writeFile("file", "");
  EXPECT_TRUE(list());
  system_.forget();
  EXPECT_TRUE(NSFileManager::classObject()._privateLstatDir(directory_.string(), "file"_ns));
  EXPECT_THAT(system_.log, ElementsAre(examined("file")));
  EXPECT_EQ(system_.fullPathStats, 1u);
}

TEST_F(ListingCost, OfAFileManagersListingIsAStatusByFullPathForEachEntry) {
  directory_.writeFile("file", "");
  EXPECT_TRUE(listThrough(NSFileManager::classObject()));
  EXPECT_THAT(system_.log, ElementsAre(opened(), closed(), examined("file")));
  EXPECT_EQ(system_.fullPathStats, 1u);
}

// A caching class object that knows the names, and examines them itself.
class KnowingNames final : public NSFileManager {
public:
  Names names;
  std::optional<Names> childrenForDirPath(const NSString &, bool, bool) override { return names; }
};

TEST_F(ListingCost, IsAStatusByFullPathWhereTheNamesCameFromACache) {
  directory_.writeFile("file", "");
  KnowingNames knowing;
  knowing.names = {"file"_ns};
  EXPECT_TRUE(listThrough(knowing));
  EXPECT_THAT(system_.log, ElementsAre(examined("file")));
  EXPECT_EQ(system_.fullPathStats, 1u);
}

TEST_F(ListingCost, OfAListingAloneIsOneOpenedDirectoryClosedAtOnce) {
  directory_.writeFile("file", "");
  EXPECT_TRUE(NSFileManager::classObject().childrenForDirPath(directory_.string()));
  EXPECT_THAT(system_.log, ElementsAre(opened(), closed()));
}

TEST_F(ListingCost, OfAStatusByPairIsOneCall) {
  const NSString dir = directory_.string();
  EXPECT_TRUE(NSFileManager::classObject()._privateStatDir(dir, nullptr));
  EXPECT_FALSE(NSFileManager::classObject()._privateStatDir(dir, "missing"_ns));
  EXPECT_THAT(system_.log, ElementsAre("statAt " + directory_.path() + " follow",
                                       "statAt " + directory_.path("missing") + " follow"));
}

} // namespace
} // namespace tesker::test
