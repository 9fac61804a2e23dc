// Each test runs in a child process: the table of texts is loaded once in the life of a process.
#include "filesystem/FileManagerUtils.h"
#include "platform/foundation/OperatingSystem.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/LogCapture.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/Texts.h"

#include <cerrno>
#include <climits>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace tesker::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr const char *kNoResource = "Cannot find errno language file";
constexpr const char *kNoAccessText =
    "Cannot find value for string 'Permission denied' in errno string table";

// A program in bin/ of an installation of its own.
class InstalledProgram : public OperatingSystem {
public:
  InstalledProgram() : scope_(*this) { installation_.writeFile("bin/program", "", 0755); }
  std::optional<std::string> programPath() override { return installation_.path("bin/program"); }
  void install(std::string_view strings) const {
    installation_.writeFile("share/tesker/Resources/errno.strings", strings);
  }

private:
  TemporaryDirectory installation_;
  ScopedOperatingSystem scope_;
};

std::string textFor(int number) {
  errno = number;
  return std::string(TeskerErrno()->bytes());
}

// Runs the body with a resource "errno" that holds the text.
void withResource(std::string_view strings, const std::function<void(LogCapture &)> &body) {
  const InstalledProgram program;
  program.install(strings);
  inChild([&] {
    LogCapture log;
    body(log);
  });
}

TEST(TeskerErrno, GivesUnknownErrorForNumbersWithoutAText) {
  const InstalledProgram program;
  inChild([] {
    LogCapture log;
    for (const int number : {0, -1, 41, 100000, INT_MAX, INT_MIN})
      EXPECT_EQ(textFor(number), "Unknown error") << number;
    EXPECT_THAT(log.logged, IsEmpty());
  });
}

TEST(TeskerErrno, TranslatesTheSystemsText) {
  withResource("\"Permission denied\" = \"Accès refusé\";", [](LogCapture &log) {
    EXPECT_EQ(textFor(EACCES), "Accès refusé");
    EXPECT_THAT(log.logged, IsEmpty());
    EXPECT_THAT(log.syslogged, IsEmpty());
  });
}

TEST(TeskerErrno, LogsAMissingEntryOnceForEachTextAndGivesTheSystemsText) {
  withResource("\"No such file or directory\" = Gone;", [](LogCapture &log) {
    for (int i = 0; i < 3; ++i) {
      EXPECT_EQ(textFor(ENOENT), "Gone");
      EXPECT_EQ(textFor(EACCES), "Permission denied");
      EXPECT_EQ(textFor(EISDIR), "Is a directory");
    }
    EXPECT_THAT(log.logged,
                ElementsAre(kNoAccessText,
                            "Cannot find value for string 'Is a directory' in errno string table"));
  });
}

TEST(TeskerErrno, LogsAMissingResourceOnce) {
  const InstalledProgram program;
  inChild([] {
    LogCapture log;
    for (int i = 0; i < 3; ++i)
      EXPECT_EQ(textFor(EACCES), "Permission denied");
    EXPECT_THAT(log.logged, ElementsAre(kNoResource, kNoAccessText));
  });
}

TEST(TeskerErrno, TakesAMalformedResourceForAMissingOne) {
  withResource("\"Permission denied\" = ", [](LogCapture &log) {
    EXPECT_EQ(textFor(EACCES), "Permission denied");
    EXPECT_THAT(log.logged, ElementsAre(kNoResource, kNoAccessText));
  });
}

TEST(TeskerErrno, TakesAnEntryThatIsNoTextForAMissingOne) {
  withResource("\"Permission denied\" = (a, b);", [](LogCapture &log) {
    EXPECT_EQ(textFor(EACCES), "Permission denied");
    EXPECT_EQ(textFor(EACCES), "Permission denied");
    EXPECT_THAT(log.logged, ElementsAre(kNoAccessText));
  });
}

TEST(TeskerErrno, LoadsTheResourceOnce) {
  const InstalledProgram program;
  program.install("\"Permission denied\" = first;");
  inChild([&] {
    EXPECT_EQ(textFor(EACCES), "first");
    program.install("\"Permission denied\" = second;");
    EXPECT_EQ(textFor(EACCES), "first");
  });
}

TEST(TeskerErrno, DoesNotLookAgainForAMissingResource) {
  const InstalledProgram program;
  inChild([&] {
    LogCapture log;
    EXPECT_EQ(textFor(EACCES), "Permission denied");
    program.install("\"Permission denied\" = late;");
    EXPECT_EQ(textFor(EACCES), "Permission denied");
  });
}

TEST(TeskerErrno, LeavesTheErrorNumberAsItWas) {
  const InstalledProgram program;
  inChild([] {
    LogCapture log;
    EXPECT_EQ(textFor(EACCES), "Permission denied");
    EXPECT_EQ(errno, EACCES);
  });
}

} // namespace
} // namespace tesker::test
