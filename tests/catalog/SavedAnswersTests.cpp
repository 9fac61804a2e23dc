// Answers on disk: what is read back, and what is not.

#include "catalog/SavedAnswers.h"
#include "tests/support/FaultyOperatingSystem.h"
#include "tests/support/ScopedEnvironment.h"
#include "tests/support/TemporaryDirectory.h"

#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <sys/file.h>
#include <unistd.h>

namespace tesker::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

const std::string kText = encodeRecords({{{{"type", "app"}, {"path", "/Apps/Edit.app/Edit"}}}});

class SavedAnswers : public testing::Test {
protected:
  // Of that path, unless told otherwise.
  SavedAnswerFile file(AnswerKey key = {.searchPath = "/Apps"}) const {
    return SavedAnswerFile(state_, key);
  }
  Result<FileVersion> save(const std::string &text = kText) const {
    return file().save(text, 1'700'000'000, Deadline::in({}));
  }
  // The file of the one answer.
  std::filesystem::path path() const {
    for (const auto &entry : std::filesystem::directory_iterator(state_))
      if (!entry.path().has_extension())
        return entry.path();
    return {};
  }
  std::string bytes() const {
    std::ifstream stream(path());
    return {std::istreambuf_iterator<char>(stream), {}};
  }
  void replaceBytes(std::string_view bytes) const {
    std::ofstream(path(), std::ios::trunc | std::ios::binary) << bytes;
  }

  const TemporaryDirectory top_;
  const std::string state_ = top_.path("cache/tesker");
};

TEST_F(SavedAnswers, AnAnswerIsReadAsItWasSaved) {
  const Result<FileVersion> version = save();
  ASSERT_TRUE(version);
  const auto saved = file().read();
  ASSERT_TRUE(saved);
  EXPECT_EQ(saved->text, kText);
  EXPECT_EQ(saved->records, *decodeRecords(kText));
  EXPECT_EQ(saved->time, 1'700'000'000);
  EXPECT_EQ(saved->version, *version);
  EXPECT_EQ(file().version(), *version);
}

TEST_F(SavedAnswers, DirectoriesAreMadeForTheUserAlone) {
  ASSERT_TRUE(save());
  EXPECT_EQ(std::filesystem::status(state_).permissions(), std::filesystem::perms::owner_all);
  EXPECT_EQ(std::filesystem::status(path()).permissions(),
            std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
}

TEST_F(SavedAnswers, EverySaveMakesAnotherVersion) {
  const Result<FileVersion> first = save();
  const Result<FileVersion> second = save();
  ASSERT_TRUE(first && second);
  EXPECT_FALSE(*first == *second);
}

TEST_F(SavedAnswers, AnotherPathProcessorOrRuleHasAnotherFile) {
  ASSERT_TRUE(save());
  EXPECT_FALSE(file({.searchPath = "/Apps/"}).read());
  EXPECT_FALSE(file({.searchPath = "/Apps", .cpu = "m68k"}).read());
  EXPECT_FALSE(file({.searchPath = "/Apps", .followLinkCycles = true}).read());
}

TEST_F(SavedAnswers, AProcessorIsTheSameByEveryName) {
  const SavedAnswerFile byName = file({.searchPath = "/Apps", .cpu = "m68k"});
  ASSERT_TRUE(byName.save(kText, 1, Deadline::in({})));
  EXPECT_TRUE(file({.searchPath = "/Apps", .cpu = "6/1"}).read());
  const ScopedEnvironment variable("TESKER_HOST_CPU", "m68k");
  EXPECT_TRUE(file().read());
}

TEST_F(SavedAnswers, AFileOfTheSameNameForAnotherPathCountsAsMissing) {
  ASSERT_TRUE(save());
  const std::string other = AnswerKey{.searchPath = "/Other"}.lines();
  replaceBytes(savedAnswerHeader(other, 1, kText) + kText);
  EXPECT_FALSE(file().read());
}

TEST_F(SavedAnswers, AChangedByteAnywhereMakesItMissing) {
  ASSERT_TRUE(save());
  const std::string good = bytes();
  for (std::size_t place = 0; place < good.size(); ++place) {
    std::string bad = good;
    bad[place] = static_cast<char>(bad[place] ^ 1);
    replaceBytes(bad);
    EXPECT_FALSE(file().read()) << place;
  }
}

TEST_F(SavedAnswers, AFileThatIsTooShortOrTooLongIsMissing) {
  ASSERT_TRUE(save());
  const std::string good = bytes();
  for (std::size_t length = 0; length < good.size(); ++length) {
    replaceBytes(good.substr(0, length));
    EXPECT_FALSE(file().read()) << length;
  }
  replaceBytes(good + "x");
  EXPECT_FALSE(file().read());
}

TEST_F(SavedAnswers, ATextThatDoesNotDecodeIsMissing) {
  ASSERT_TRUE(save("type|app|(1,1,0,7)"));
  EXPECT_FALSE(file().read());
}

TEST_F(SavedAnswers, ALinkADirectoryAndAFifoAreMissingAndReplaced) {
  ASSERT_TRUE(save());
  const std::filesystem::path name = path();
  std::filesystem::rename(name, top_.path("elsewhere"));
  std::filesystem::create_symlink(top_.path("elsewhere"), name);
  EXPECT_FALSE(file().read());
  EXPECT_TRUE(save());
  EXPECT_FALSE(std::filesystem::is_symlink(name));
  EXPECT_TRUE(file().read());
  std::filesystem::remove(name);
  ASSERT_EQ(::mkfifo(name.c_str(), 0600), 0);
  EXPECT_FALSE(file().read());
  EXPECT_TRUE(save());
  EXPECT_TRUE(file().read());
}

TEST_F(SavedAnswers, AnotherUsersFileIsMissing) {
  if (::geteuid() != 0)
    GTEST_SKIP() << "only root gives files away";
  ASSERT_TRUE(save());
  ASSERT_EQ(::chown(path().c_str(), 65534, 65534), 0);
  EXPECT_FALSE(file().read());
}

TEST_F(SavedAnswers, NothingIsMadeBelowAnotherUsersDirectory) {
  if (::geteuid() != 0)
    GTEST_SKIP() << "only root gives files away";
  top_.makeDirectory("cache");
  ASSERT_EQ(::chown(top_.path("cache").c_str(), 65534, 65534), 0);
  EXPECT_EQ(save().error(), EPERM);
  EXPECT_TRUE(std::filesystem::is_empty(top_.path("cache")));
}

TEST_F(SavedAnswers, WhatACrashHasLeftBesideIsReplaced) {
  ASSERT_TRUE(save());
  const std::filesystem::path beside = path().string() + ".new";
  std::ofstream(beside) << "half";
  ASSERT_TRUE(save());
  EXPECT_FALSE(std::filesystem::exists(beside));
  EXPECT_TRUE(file().read());
}

TEST_F(SavedAnswers, AFailureLeavesTheFormerAnswerAndNothingElse) {
  ASSERT_TRUE(save());
  const std::string longer(100'000, 'x');
  for (const char *call : {"write", "rename", "open"}) {
    FaultyOperatingSystem system([call](std::string_view name, int) { return name == call; });
    system.fault = {.call = std::string_view(call) == "open" ? 2U : 1U, .error = ENOSPC};
    const ScopedOperatingSystem inForce(system);
    EXPECT_EQ(save(longer).error(), ENOSPC) << call;
  }
  EXPECT_FALSE(std::filesystem::exists(path().string() + ".new"));
  ASSERT_TRUE(file().read());
  EXPECT_EQ(file().read()->text, kText);
}

TEST_F(SavedAnswers, ASaveDoesNotWaitForAnotherPastItsTime) {
  ASSERT_TRUE(save());
  const FileDescriptor lock(
      OperatingSystem::current().open((path().string() + ".lock").c_str(), O_RDWR));
  ASSERT_EQ(::flock(lock.number(), LOCK_EX), 0);
  EXPECT_EQ(save().error(), EWOULDBLOCK);
  EXPECT_TRUE(file().read());
}

TEST_F(SavedAnswers, AnAnswerIsWatchedForAsLongAsAnyoneSaysSo) {
  const Deadline soon = Deadline::in(std::chrono::seconds(10));
  EXPECT_FALSE(file().isWatched(soon));
  Result<FileDescriptor> first = file().markWatched(soon);
  Result<FileDescriptor> second = file().markWatched(soon);
  ASSERT_TRUE(first && second);
  EXPECT_TRUE(file().isWatched(soon));
  first->reset();
  EXPECT_TRUE(file().isWatched(soon));
  second->reset();
  EXPECT_FALSE(file().isWatched(soon));
}

TEST_F(SavedAnswers, WithoutADirectoryNothingIsKept) {
  const SavedAnswerFile none("", {.searchPath = "/Apps"});
  EXPECT_FALSE(none.isKept());
  EXPECT_FALSE(none.save(kText, 1, Deadline::in({})));
  EXPECT_FALSE(none.read());
  EXPECT_FALSE(none.version());
  EXPECT_FALSE(none.isWatched(Deadline::in({})));
}

TEST_F(SavedAnswers, TheNameShowsTheEndOfThePathInPlainLetters) {
  const auto nameOf = [](const std::string &path) {
    return savedAnswerName(path, AnswerKey{.searchPath = path}.lines());
  };
  EXPECT_THAT(nameOf("/home/me/My Apps/"), testing::MatchesRegex("My_Apps-[0-9a-f]{16}"));
  EXPECT_THAT(nameOf("/.."), testing::StartsWith("__-"));
  EXPECT_THAT(nameOf("/" + std::string(300, 'a')), SizeIs(40 + 1 + 16));
  EXPECT_NE(nameOf("/a/Apps"), nameOf("/b/Apps"));
}

TEST_F(SavedAnswers, TheUsualDirectoryIsTheUsersCacheDirectory) {
  const ScopedEnvironment home("HOME", "/home/me");
  {
    const ScopedEnvironment cache("XDG_CACHE_HOME", "/var/me");
    EXPECT_EQ(usualStateDirectory(), "/var/me/tesker");
  }
  for (const char *without : {"", "relative"}) {
    const ScopedEnvironment cache("XDG_CACHE_HOME", without);
    EXPECT_EQ(usualStateDirectory(), "/home/me/.cache/tesker");
  }
}

} // namespace
} // namespace tesker::test
