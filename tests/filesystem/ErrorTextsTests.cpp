// Tests of TeskerErrno run in child processes: the table of texts is loaded once in the life of a
// process.
#include "filesystem/ErrorTexts.h"
#include "platform/foundation/NSException.h"
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

NSString textFor(int number) {
  errno = number;
  return TeskerErrno();
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
      EXPECT_EQ(textFor(number), "Unknown error"_ns) << number;
    EXPECT_THAT(log.logged, IsEmpty());
  });
}

TEST(TeskerErrno, TranslatesTheSystemsText) {
  withResource("\"Permission denied\" = \"Accès refusé\";", [](LogCapture &log) {
    EXPECT_EQ(textFor(EACCES), "Accès refusé"_ns);
    EXPECT_THAT(log.logged, IsEmpty());
    EXPECT_THAT(log.syslogged, IsEmpty());
  });
}

TEST(TeskerErrno, LogsAMissingEntryOnceForEachTextAndGivesTheSystemsText) {
  withResource("\"No such file or directory\" = Gone;", [](LogCapture &log) {
    for (int i = 0; i < 3; ++i) {
      EXPECT_EQ(textFor(ENOENT), "Gone"_ns);
      EXPECT_EQ(textFor(EACCES), "Permission denied"_ns);
      EXPECT_EQ(textFor(EISDIR), "Is a directory"_ns);
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
      EXPECT_EQ(textFor(EACCES), "Permission denied"_ns);
    EXPECT_THAT(log.logged, ElementsAre(kNoResource, kNoAccessText));
  });
}

TEST(TeskerErrno, TakesAMalformedResourceForAMissingOne) {
  withResource("\"Permission denied\" = ", [](LogCapture &log) {
    EXPECT_EQ(textFor(EACCES), "Permission denied"_ns);
    EXPECT_THAT(log.logged, ElementsAre(kNoResource, kNoAccessText));
  });
}

TEST(TeskerErrno, TakesAnEntryThatIsNoTextForAMissingOne) {
  withResource("\"Permission denied\" = (a, b);", [](LogCapture &log) {
    EXPECT_EQ(textFor(EACCES), "Permission denied"_ns);
    EXPECT_EQ(textFor(EACCES), "Permission denied"_ns);
    EXPECT_THAT(log.logged, ElementsAre(kNoAccessText));
  });
}

TEST(TeskerErrno, LoadsTheResourceOnce) {
  const InstalledProgram program;
  program.install("\"Permission denied\" = first;");
  inChild([&] {
    EXPECT_EQ(textFor(EACCES), "first"_ns);
    program.install("\"Permission denied\" = second;");
    EXPECT_EQ(textFor(EACCES), "first"_ns);
  });
}

TEST(TeskerErrno, DoesNotLookAgainForAMissingResource) {
  const InstalledProgram program;
  inChild([&] {
    LogCapture log;
    EXPECT_EQ(textFor(EACCES), "Permission denied"_ns);
    program.install("\"Permission denied\" = late;");
    EXPECT_EQ(textFor(EACCES), "Permission denied"_ns);
  });
}

TEST(TeskerErrno, LeavesTheErrorNumberAsItWas) {
  const InstalledProgram program;
  inChild([] {
    LogCapture log;
    EXPECT_EQ(textFor(EACCES), "Permission denied"_ns);
    EXPECT_EQ(errno, EACCES);
  });
}

TEST(TeskerBug, LogsTheMessageAsTheFormat) {
  LogCapture log;
  TeskerBug("globalCachedDirStat: nil dir");
  TeskerBug("statDir: Inconsistency 1 %@/%@", {"/dir", "file"});
  EXPECT_THAT(log.logged,
              ElementsAre("globalCachedDirStat: nil dir", "statDir: Inconsistency 1 /dir/file"));
  EXPECT_THAT(log.syslogged, IsEmpty());
}

TEST(Error, RaisesTheGenericFilerExceptionWithTheReason) {
  try {
    _ERROR("100% impossible: %@"_ns);
    FAIL() << "nothing was raised";
  } catch (const NSException &exception) {
    EXPECT_EQ(exception.name(), "TeskerGenericFilerException");
    EXPECT_EQ(exception.reason(), "100% impossible: %@");
  }
}

} // namespace
} // namespace tesker::test
