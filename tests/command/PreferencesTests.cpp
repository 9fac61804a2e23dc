#include "command/Preferences.h"

#include "platform/foundation/Files.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/LogCapture.h"
#include "tests/support/ScopedEnvironment.h"
#include "tests/support/TemporaryDirectory.h"

#include <filesystem>
#include <gmock/gmock.h>
#include <sys/file.h>

namespace tesker::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Pair;

class Preferences : public testing::Test {
protected:
  static PreferredApplications read() {
    NSUserDefaults defaults;
    return preferredApplications(defaults);
  }
  static std::optional<std::string> keep(std::string_view extension, std::string_view application,
                                         std::chrono::nanoseconds wait = std::chrono::hours(1)) {
    return keepPreference(extension, application, Deadline::in(wait));
  }
  std::string contents(const std::string &path) const {
    const Result<std::string> bytes = contentsOfFile(NSString::create(path));
    return bytes ? *bytes : "(none)";
  }

  const TemporaryDirectory directory;
  const std::string name = "user/tesker/defaults/TeskerPreferredApplications.plist";
  const std::string file = directory.path(name);
  const ScopedEnvironment user{"XDG_CONFIG_HOME", directory.path("user")};
  const ScopedEnvironment site{"XDG_CONFIG_DIRS", directory.path("site")};
};

TEST_F(Preferences, AreNoneAtFirst) {
  EXPECT_THAT(read(), IsEmpty());
  EXPECT_THAT(problemsOfPreferences(), IsEmpty());
}

TEST_F(Preferences, AreKeptAndForgotten) {
  EXPECT_EQ(keep("txt", "Edit"), std::nullopt);
  EXPECT_EQ(keep("rtf", "/My Apps/\xff\"Write\n"), std::nullopt);
  EXPECT_EQ(keep("a b", "Odd"), std::nullopt);
  EXPECT_EQ(keep("txt", "Draw"), std::nullopt);
  EXPECT_THAT(read(), ElementsAre(Pair("a b", "Odd"), Pair("rtf", "/My Apps/\xff\"Write\n"),
                                  Pair("txt", "Draw")));
  EXPECT_EQ(keep("rtf", ""), std::nullopt);
  EXPECT_THAT(read(), ElementsAre(Pair("a b", "Odd"), Pair("txt", "Draw")));
}

TEST_F(Preferences, AreInDirectoriesOfTheUserAlone) {
  EXPECT_EQ(keep("txt", "Edit"), std::nullopt);
  for (const char *made : {"user", "user/tesker", "user/tesker/defaults"}) {
    struct stat status {};
    ASSERT_EQ(::stat(directory.path(made).c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0700U) << made;
  }
}

TEST_F(Preferences, AreASitesWhereTheUserHasNoneOfHisOwn) {
  directory.writeFile("site/tesker/defaults/TeskerPreferredApplications.plist",
                      "{ txt = Site; rtf = Site; }");
  EXPECT_EQ(keep("txt", "Mine"), std::nullopt);
  EXPECT_THAT(read(), ElementsAre(Pair("rtf", "Site"), Pair("txt", "Mine")));
}

TEST_F(Preferences, LeaveEveryOtherFileAndValueAlone) {
  const std::string other =
      directory.writeFile("user/tesker/defaults/Tesker.plist", "{ /* mine */ a = b; }");
  directory.writeFile(name, "{ odd = (1, 2); txt = Edit; none = \"\"; }");
  EXPECT_THAT(read(), ElementsAre(Pair("txt", "Edit")));
  EXPECT_EQ(keep("rtf", "Write"), std::nullopt);
  EXPECT_THAT(contents(file), HasSubstr("odd = (1, 2);"));
  EXPECT_EQ(contents(other), "{ /* mine */ a = b; }");
}

TEST_F(Preferences, AreNotWrittenOverAFileThatCannotBeRead) {
  const LogCapture log;
  for (const char *text : {"{ txt = Edit }", "(a, b)", ""}) {
    directory.writeFile(name, text);
    EXPECT_THAT(keep("rtf", "Write").value_or(""), HasSubstr(name + ":1:")) << text;
    EXPECT_THAT(problemsOfPreferences(), ElementsAre(HasSubstr(name + ":1:"))) << text;
    EXPECT_EQ(contents(file), text);
    EXPECT_THAT(read(), IsEmpty());
  }
}

TEST_F(Preferences, NameEachFileAndValueThatDoesNotCount) {
  const std::string ofSite = directory.writeFile(
      "site/tesker/defaults/TeskerPreferredApplications.plist", "\n{ txt = Edit; rtf = }");
  directory.writeFile(name, "{ txt = View;\n  doc = (Edit);\n  eps = \"\"; }");
  EXPECT_THAT(
      problemsOfPreferences(),
      ElementsAre(file + ":2:9: the preference for doc files is not a name or path; it is ignored",
                  ofSite + ":2:21: expected a value; the settings in this file are ignored"));
}

TEST_F(Preferences, AreWrittenThroughALink) {
  directory.writeFile("elsewhere", "{ }");
  directory.makeLink(name, directory.path("elsewhere"));
  EXPECT_EQ(keep("txt", "Edit"), std::nullopt);
  EXPECT_TRUE(std::filesystem::is_symlink(file));
  EXPECT_THAT(contents(directory.path("elsewhere")), HasSubstr("txt = Edit;"));
}

TEST_F(Preferences, AreNotKeptWhileAnotherProcessHoldsTheLock) {
  const FileDescriptor lock(::open(directory.writeFile(name + ".lock", "").c_str(), O_RDWR));
  ASSERT_EQ(::flock(lock.number(), LOCK_EX), 0);
  EXPECT_THAT(keep("txt", "Edit", std::chrono::milliseconds(1)).value_or(""),
              HasSubstr("another process holds the lock"));
  EXPECT_EQ(contents(file), "(none)");
  ASSERT_EQ(::flock(lock.number(), LOCK_UN), 0);
  EXPECT_EQ(keep("txt", "Edit"), std::nullopt);
}

TEST_F(Preferences, OfSeveralProcessesAreAllKept) {
  std::vector<pid_t> children;
  for (int number = 0; number < 8; ++number) {
    const pid_t child = ::fork();
    if (child == 0)
      ::_exit(keep("ext" + std::to_string(number), "Edit") ? 1 : 0);
    children.push_back(child);
  }
  for (const pid_t child : children) {
    int status = -1;
    EXPECT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
  }
  EXPECT_EQ(read().size(), children.size());
}

TEST_F(Preferences, SayWhyTheyAreNotKept) {
  directory.writeFile("user/tesker", "a file");
  EXPECT_THAT(keep("txt", "Edit").value_or(""), HasSubstr("Not a directory"));
}

} // namespace
} // namespace tesker::test
