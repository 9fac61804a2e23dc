#include "desktop/WrapperNaming.h"

#include "making/AmbiguousNames.h"

#include <gmock/gmock.h>

namespace tesker::test {
namespace {

using testing::ElementsAre;
using testing::Pair;
using testing::StartsWith;

std::map<std::string, std::string>
named(const std::vector<std::pair<std::string, std::string>> &idsAndNames,
      const std::set<std::string> &taken = {}) {
  std::vector<DesktopApplication> applications;
  for (const auto &[id, name] : idsAndNames)
    applications.emplace_back().entry = {.id = id, .file = "", .name = name};
  return wrapperNames(applications, [&](const std::string &name) { return !taken.contains(name); });
}

TEST(WrapperNaming, TakesTheEntrysName) {
  EXPECT_THAT(named({{"edit.desktop", "Edit"}, {"draw.desktop", "Draw 2.5 α"}}),
              ElementsAre(Pair("draw.desktop", "Draw 2.5 α"), Pair("edit.desktop", "Edit")));
}

TEST(WrapperNaming, AddsTheIdWhereSeveralHaveOneName) {
  EXPECT_THAT(named({{"a.desktop", "Files"}, {"b.desktop", "Files"}, {"c.desktop", "Files (a)"}}),
              ElementsAre(Pair("a.desktop", "Files (a) 2"), Pair("b.desktop", "Files (b)"),
                          Pair("c.desktop", "Files (a)")));
}

TEST(WrapperNaming, AddsTheIdWhereSomethingElseHasTheName) {
  EXPECT_THAT(named({{"a.desktop", "Files"}}, {"Files"}),
              ElementsAre(Pair("a.desktop", "Files (a)")));
  EXPECT_THAT(named({{"a.desktop", "Files"}}, {"Files", "Files (a)"}),
              ElementsAre(Pair("a.desktop", "Files (a) 2")));
}

TEST(WrapperNaming, LeavesNothingThatIsOddInAWrapper) {
  for (const char *name :
       {"a/b", "../x", ".hidden", "line\nfeed", "TeskerTesker", "x.tool", "x.app", "Resources",
        "services", "registry.table", "Info-quorvale.plist", "x.bundle", "...tool", "a.app.tool"}) {
    const std::string plain = plainWrapperName(name);
    EXPECT_FALSE(plain.empty()) << name;
    EXPECT_EQ(oddityOfWrapperName(plain + ".app"), "") << name << " became " << plain;
  }
  EXPECT_EQ(plainWrapperName("..."), "");
}

TEST(WrapperNaming, FallsBackToTheId) {
  EXPECT_THAT(named({{"a.desktop", "."}, {".desktop", ".."}}),
              ElementsAre(Pair(".desktop", "application"), Pair("a.desktop", "a")));
}

TEST(WrapperNaming, CutsLongNamesBetweenCharacters) {
  std::string text;
  for (int i = 0; i < 100; ++i)
    text += "€";
  EXPECT_EQ(plainWrapperName(text), text.substr(0, 198));
  const auto names = named({{"a.desktop", text}, {"b.desktop", text}});
  EXPECT_THAT(names.at("a.desktop"), testing::EndsWith(" (a)"));
  EXPECT_THAT(names.at("b.desktop"), testing::EndsWith(" (b)"));
}

} // namespace
} // namespace tesker::test
