#include "filesystem/TeskerFileManagerMethods.h"
#include "paths/PathFunctions.h"
#include "platform/foundation/NSException.h"
#include "platform/foundation/OperatingSystem.h"
#include "tests/filesystem/UnixErrorProbe.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/FileManagers.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/Texts.h"

#include <cerrno>
#include <dirent.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace tesker::test {
namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;
using ::testing::Optional;
using ::testing::UnorderedElementsAre;

constexpr struct stat kNoStatus {};

// What readdir yields, without "." and "..".
std::vector<std::string> readNames(const std::string &path) {
  std::vector<std::string> names;
  DIR *directory = ::opendir(path.c_str());
  while (const dirent *entry = ::readdir(directory))
    if (std::string_view(entry->d_name) != "." && std::string_view(entry->d_name) != "..")
      names.emplace_back(entry->d_name);
  ::closedir(directory);
  return names;
}

// Serves any directory with the given entries.
class Serving : public OperatingSystem {
public:
  explicit Serving(std::vector<std::string> names) : names_(std::move(names)), scope_(*this) {}
  std::unique_ptr<DirectoryStream> openDirectory(const char *path) override {
    return std::make_unique<Stream>(names_, OperatingSystem::openDirectory(path));
  }

private:
  class Stream final : public DirectoryStream {
  public:
    Stream(const std::vector<std::string> &names, std::unique_ptr<DirectoryStream> real)
        : names_(names), real_(std::move(real)) {}
    std::optional<std::string_view> next() override {
      if (at_ == names_.size())
        return std::nullopt;
      return names_[at_++];
    }
    int descriptor() const override { return real_->descriptor(); }

  private:
    const std::vector<std::string> &names_;
    std::unique_ptr<DirectoryStream> real_;
    std::size_t at_ = 0;
  };

  std::vector<std::string> names_;
  ScopedOperatingSystem scope_;
};

class Children : public ::testing::Test {
protected:
  // Precondition: the directory can be listed.
  Names children(bool filterDots, bool filterBackups) const {
    return manager().childrenForDirPath(directory_.string(), filterDots, filterBackups).value();
  }
  void writeFiles(std::initializer_list<const char *> names) const {
    for (const char *name : names)
      directory_.writeFile(name, "");
  }
  const TemporaryDirectory directory_;
};

TEST_F(Children, WithBothFiltersOmitDotFilesAndBackups) {
  writeFiles({".profile", "notes~", "a.b", "~x", "..c", "...", "~", ".~"});
  EXPECT_THAT(children(true, true), UnorderedElementsAre("a.b", "~x"));
}

TEST_F(Children, WithoutFiltersAreAllButTheSpecialEntries) {
  writeFiles({".profile", "notes~", "a.b", "~x", "..c", "...", "~"});
  const auto all = UnorderedElementsAre(".profile", "notes~", "a.b", "~x", "..c", "...", "~");
  EXPECT_THAT(children(false, false), all);
  EXPECT_THAT(manager().childrenForDirPath(directory_.string()), Optional(all));
}

TEST_F(Children, EachFilterWorksByItself) {
  writeFiles({".profile", "notes~", "a", ".b~"});
  EXPECT_THAT(children(true, false), UnorderedElementsAre("notes~", "a"));
  EXPECT_THAT(children(false, true), UnorderedElementsAre(".profile", "a"));
}

TEST_F(Children, ComeInTheOrderInWhichTheDirectoryYieldsThem) {
  const Serving system({"z", ".", "a", "M", "..", "b"});
  EXPECT_THAT(children(true, true), ElementsAre("z", "a", "M", "b"));
}

TEST_F(Children, KeepTheirBytes) {
  writeFiles({"new\nline", "\xff\xfe", "caf\xe9", " ", "\\", "\x01"});
  EXPECT_THAT(children(true, true),
              UnorderedElementsAre("new\nline", "\xff\xfe", "caf\xe9", " ", "\\", "\x01"));
}

TEST_F(Children, OfAnEmptyDirectoryAreNone) {
  const UnixErrorProbe errors;
  EXPECT_THAT(children(false, false), IsEmpty());
  EXPECT_THAT(errors.paths, IsEmpty());
}

TEST_F(Children, AreAllOfFiveThousand) {
  for (int i = 0; i < 5000; ++i)
    directory_.writeFile("entry-" + std::to_string(i), "");
  const auto names = children(true, true);
  EXPECT_EQ(names.size(), 5000u);
  EXPECT_THAT(names, ElementsAreArray(readNames(directory_.path())));
}

TEST_F(Children, AreMadeInTheFilerZone) {
  writeFiles({"a"});
  EXPECT_EQ(&children(false, false).at(0).zone(), &filerZone());
}

TEST_F(Children, AreNilAndReportedWhereTheDirectoryCannotBeOpened) {
  const UnixErrorProbe errors;
  const std::string file = directory_.writeFile("file", "");
  EXPECT_FALSE(manager().childrenForDirPath(NSString::create(file)));
  EXPECT_FALSE(manager().childrenForDirPath("/no/such"_ns, true, true));
  EXPECT_FALSE(manager().childrenForDirPath("/\0"_ns));
  EXPECT_THAT(errors.paths, ElementsAre(file, "/no/such", std::string("/\0", 2)));
}

TEST_F(Children, AreNilForADirectoryThatMayNotBeRead) {
  const std::string inner = directory_.makeDirectory("inner", 0111);
  ASSERT_EQ(::chmod(directory_.path().c_str(), 0755), 0);
  inOrdinaryUsersChild(
      [&] { EXPECT_FALSE(manager().childrenForDirPath(NSString::create(inner))); });
}

TEST_F(Children, OfAnIrregularDirectoryAreReturnedAndReported) {
  const std::vector<std::vector<std::string>> irregular{
      {"a"}, {"a", "."}, {"a", ".."}, {".", "a", "..", "."}, {".", "a", "..", ".."}};
  for (const auto &entries : irregular) {
    const Serving system(entries);
    const UnixErrorProbe errors;
    EXPECT_THAT(children(true, true), ElementsAre("a"));
    EXPECT_THAT(errors.paths, ElementsAre(directory_.path()));
  }
}

TEST_F(Children, OfARegularDirectoryAreNotReported) {
  const UnixErrorProbe errors;
  writeFiles({".hidden", "a~"});
  EXPECT_THAT(children(true, true), IsEmpty());
  EXPECT_THAT(errors.paths, IsEmpty());
}

class ListingWithAttributes : public Children {
protected:
  // The names, and in infos their attributes.
  std::optional<Names> list(NSFileManager &manager, bool filterDots, bool filterBackups) {
    return manager._privateLStatDir(directory_.string(), filterDots, filterBackups, infos_);
  }
  std::vector<NSFileAttributes> infos_;
};

TEST_F(ListingWithAttributes, GivesTheAttributesInTheOrderOfTheNames) {
  directory_.makeDirectory("dir", 0711);
  directory_.writeFile("file", "", 0640);
  directory_.makeLink("dangling", "nowhere");
  directory_.writeFile("new\nline\xff", "", 0604);
  writeFiles({".hidden", "backup~"});
  const auto names = list(manager(), true, true).value();
  ASSERT_THAT(names, UnorderedElementsAre("dir", "file", "dangling", "new\nline\xff"));
  ASSERT_EQ(infos_.size(), 4u);
  for (std::size_t i = 0; i < 4; ++i) {
    struct stat status {};
    ASSERT_EQ(::lstat(directory_.path(names[i].bytes()).c_str(), &status), 0);
    EXPECT_EQ(infos_[i], NSFileAttributes(status)) << names[i].bytes();
    EXPECT_EQ(infos_[i].fullPermissions(), status.st_mode) << names[i].bytes();
  }
}

TEST_F(ListingWithAttributes, AppendsToWhatIsInTheArray) {
  writeFiles({"a"});
  infos_.emplace_back(kNoStatus);
  EXPECT_THAT(list(manager(), false, false), Optional(ElementsAre("a")));
  EXPECT_EQ(infos_.size(), 2u);
  EXPECT_EQ(infos_[0], NSFileAttributes(kNoStatus));
  EXPECT_TRUE(infos_[1].isRegular());
}

TEST_F(ListingWithAttributes, IsNilWhereTheDirectoryCannotBeListed) {
  EXPECT_FALSE(manager()._privateLStatDir("/no/such"_ns, true, true, infos_));
  EXPECT_FALSE(manager()._privateLStatDir("/\0"_ns, true, true, infos_));
  EXPECT_EQ(infos_.size(), 0u);
}

TEST_F(ListingWithAttributes, IsNilWhenAnEntryVanishesAndKeepsWhatWasAppended) {
  // The directory yields a name that is gone by the time it is examined.
  writeFiles({"a", "b"});
  const Serving system({".", "..", "a", "gone", "b"});
  EXPECT_FALSE(list(manager(), true, true));
  EXPECT_EQ(infos_.size(), 1u);
}

// Lists names of its own, and answers or raises as it is told.
class Subclass final : public NSFileManager {
public:
  bool raisesForListing = false;
  std::string raisesFor;
  std::vector<std::string> asked;

  std::optional<Names> childrenForDirPath(const NSString &, bool filterDots,
                                          bool filterBackups) override {
    if (raisesForListing)
      throw NSException(NSGenericException, "raised");
    return Names{"one"_ns, filterDots ? "dots"_ns : "-"_ns, filterBackups ? "backups"_ns : "-"_ns};
  }
  std::optional<NSFileAttributes> _privateLstatDir(const NSString &dir,
                                                   const NSString &file) override {
    asked.push_back(std::string(dir.bytes()) + " " + std::string(file.bytes()));
    if (file == raisesFor)
      throw NSException(NSGenericException, "raised");
    return NSFileAttributes(kNoStatus);
  }
};

TEST_F(ListingWithAttributes, IsAskedOfTheReceiver) {
  Subclass subclass;
  const auto names = subclass._privateLStatDir("/no/such"_ns, false, true, infos_);
  EXPECT_THAT(names, Optional(ElementsAre("one", "-", "backups")));
  EXPECT_THAT(subclass.asked, ElementsAre("/no/such one", "/no/such -", "/no/such backups"));
  EXPECT_EQ(infos_.size(), 3u);
}

TEST_F(ListingWithAttributes, IsNilWhenTheListingRaises) {
  Subclass subclass;
  subclass.raisesForListing = true;
  EXPECT_FALSE(list(subclass, true, true));
}

TEST_F(ListingWithAttributes, IsNilWhenTheStatusOfAnEntryRaisesAndKeepsWhatWasAppended) {
  Subclass subclass;
  subclass.raisesFor = "dots";
  EXPECT_FALSE(list(subclass, true, true));
  EXPECT_EQ(infos_.size(), 1u);
  EXPECT_EQ(subclass.asked.size(), 2u);
}

} // namespace
} // namespace tesker::test
