#include "command/SettingsFiles.h"

#include "platform/foundation/NSString.h"
#include "tests/support/ScopedEnvironment.h"
#include "tests/support/TemporaryDirectory.h"

#include <gmock/gmock.h>

namespace tesker::test {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;

class SettingsFiles : public testing::Test {
protected:
  // Complains of every value.
  static SettingsRead read(const std::string &file) {
    return readSettings(NSString::create(file),
                        [](const NSDictionary &pairs, const ComplainOfSetting &complain) {
                          for (const auto &[key, value] : pairs)
                            complain(*value, "is it?");
                        });
  }
  const TemporaryDirectory directory;
};

TEST_F(SettingsFiles, ThatAreMissingAreNoProblem) {
  const std::string file = directory.writeFile("file", "");
  EXPECT_EQ(read(directory.path("missing")).whyIgnored, std::nullopt);
  EXPECT_EQ(read(file + "/below").whyIgnored, std::nullopt);
}

TEST_F(SettingsFiles, SayWhereTheyAreBroken) {
  const std::string file = directory.writeFile("a\nb", "{\n  a = b\n}");
  EXPECT_EQ(read(file).whyIgnored, directory.path("a\\nb") + ":3:1: expected \";\" after a pair");
}

TEST_F(SettingsFiles, SayWhatTheyAreInstead) {
  const std::string list = directory.writeFile("list", "\n (a, b)");
  EXPECT_EQ(read(list).whyIgnored, list + ":2:2: not a dictionary");
  const std::string below = directory.makeDirectory("below");
  EXPECT_EQ(read(below).whyIgnored, below + ": not a regular file");
  const std::string large = directory.writeFile("large", std::string((16 << 20) + 1, ' '));
  EXPECT_EQ(read(large).whyIgnored, large + ": File too large");
}

TEST_F(SettingsFiles, PlaceTheComplaintsAboutTheirValues) {
  const std::string file = directory.writeFile("file", "{ a = b;\n  c = (d); }");
  EXPECT_THAT(read(file).complaints, ElementsAre(file + ":1:7: is it?", file + ":2:7: is it?"));
}

TEST_F(SettingsFiles, DoNotComplainForEver) {
  std::string text = "{ ";
  for (int number = 0; number < 100; ++number)
    text += "k" + std::to_string(number) + " = v; ";
  EXPECT_THAT(read(directory.writeFile("file", text + "}")).complaints, SizeIs(10));
}

TEST_F(SettingsFiles, OfADomainAreLookedAtForAsLongAsTheyCount) {
  const ScopedEnvironment user("XDG_CONFIG_HOME", directory.path("user"));
  const ScopedEnvironment sites("XDG_CONFIG_DIRS",
                                directory.path("one") + ":" + directory.path("two"));
  directory.writeFile("user/tesker/defaults/Own.plist", "(a)");
  directory.writeFile("one/tesker/defaults/Own.plist", "{ a = b; }");
  directory.writeFile("two/tesker/defaults/Own.plist", "{ broken");
  const auto problems = [](bool othersCount) {
    return problemsOfSettings(
        "Own", [&](const NSDictionary &, const ComplainOfSetting &) { return othersCount; });
  };
  const auto ignored = [&](const std::string &path) {
    return AllOf(StartsWith(directory.path(path) + "/tesker/defaults/Own.plist:1:"),
                 HasSubstr("; the settings in this file are ignored"));
  };
  EXPECT_THAT(problems(true), ElementsAre(ignored("user"), ignored("two")));
  EXPECT_THAT(problems(false), ElementsAre(ignored("user")));
  EXPECT_THAT(problemsOfSettings("Missing", [](const auto &, const auto &) { return true; }),
              IsEmpty());
}

} // namespace
} // namespace tesker::test
