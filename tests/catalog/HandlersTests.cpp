#include "catalog/Handlers.h"

#include <gmock/gmock.h>

namespace tesker::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class Handlers : public testing::Test {
protected:
  // An extension record; more pairs can follow.
  void claim(const std::string &path, const std::string &extension,
             const std::vector<std::pair<std::string, std::string>> &more = {}) {
    SearchRecord record{{{"path", path}, {"type", "extension"}, {"name", extension}}};
    record.pairs.insert(record.pairs.end(), more.begin(), more.end());
    records.push_back(record);
  }
  // Their paths, best first.
  std::vector<std::string> handlers(std::string_view extension) const {
    const std::vector<Program> programs = programsIn(records);
    std::vector<std::string> paths;
    for (const Handler &handler : FileTypes(programs, preferred).handlersOf(extension))
      paths.push_back(handler.program->path);
    return paths;
  }
  std::vector<SearchRecord> records;
  PreferredApplications preferred;
};

const std::pair<std::string, std::string> kPrimary{"priority", "NSPrimary"};
const std::pair<std::string, std::string> kUnsuitable{"suitable", "no"};

TEST_F(Handlers, AreThoseThatClaimTheExtension) {
  claim("/a", "txt");
  claim("/b", "rtf");
  EXPECT_THAT(handlers("rtf"), ElementsAre("/b"));
  EXPECT_THAT(handlers("doc"), IsEmpty());
  EXPECT_THAT(handlers(""), IsEmpty());
}

TEST_F(Handlers, AreMadeByExtensionRecordsOnly) {
  for (const char *type : {"app", "services", "bundle", "InspectorCommand", ""})
    records.push_back({{{"path", "/a"}, {"type", type}, {"name", "txt"}, {"extension", "txt"}}});
  records.push_back({{{"type", "extension"}, {"name", "txt"}}});
  records.push_back({{{"path", "/b"}, {"type", "extension"}, {"name", ""}}});
  EXPECT_THAT(handlers("txt"), IsEmpty());
  EXPECT_THAT(handlers(""), IsEmpty());
}

TEST_F(Handlers, ComeInTheOrderOfTheAnswer) {
  claim("/c", "x");
  claim("/a", "y");
  claim("/b", "y");
  claim("/c", "y");
  EXPECT_THAT(handlers("y"), ElementsAre("/a", "/b", "/c"));
}

TEST_F(Handlers, ThatArePrimaryComeBeforeOthers) {
  claim("/a", "x");
  claim("/b", "x", {kPrimary});
  claim("/c", "x", {{"priority", "NSOther"}});
  claim("/d", "x", {kPrimary});
  EXPECT_THAT(handlers("x"), ElementsAre("/b", "/d", "/a", "/c"));
}

TEST_F(Handlers, ThatAreSuitableComeBeforeEvenPrimaryOnesThatAreNot) {
  claim("/a", "x", {kPrimary, kUnsuitable});
  claim("/b", "x", {kUnsuitable});
  claim("/c", "x");
  EXPECT_THAT(handlers("x"), ElementsAre("/c", "/a", "/b"));
}

TEST_F(Handlers, AreNotSuitableWhereAnotherRecordOfTheProgramSaysSo) {
  claim("/a", "x");
  records.push_back({{{"path", "/a"}, {"type", "app"}, kUnsuitable}});
  claim("/b", "x");
  EXPECT_THAT(handlers("x"), ElementsAre("/b", "/a"));
}

TEST_F(Handlers, ArePrograms) {
  claim("/a", "x");
  claim("/b", "x", {kPrimary});
  claim("/a", "x", {kPrimary});
  EXPECT_THAT(handlers("x"), ElementsAre("/a", "/b"));
}

TEST_F(Handlers, MatchAsWrittenFirstAndOnlyThenWithoutCase) {
  claim("/lower", "c");
  claim("/upper", "C");
  EXPECT_THAT(handlers("c"), ElementsAre("/lower"));
  EXPECT_THAT(handlers("C"), ElementsAre("/upper"));
  claim("/mixed", "Txt");
  claim("/loud", "TXT", {kPrimary});
  EXPECT_THAT(handlers("txt"), ElementsAre("/loud", "/mixed"));
}

TEST_F(Handlers, OfSeveralSpellingsKeepTheOrderOfTheAnswer) {
  claim("/a", "Txt");
  claim("/b", "TXT");
  claim("/a", "TXT");
  EXPECT_THAT(handlers("txt"), ElementsAre("/a", "/b"));
}

TEST_F(Handlers, AreNamedAsTheirRecordsSay) {
  claim("/a", "x", {{"appName", "Of the record"}});
  records.push_back({{{"path", "/a"}, {"type", "app"}, {"name", "Of the program"}}});
  claim("/b", "x");
  const std::vector<Program> programs = programsIn(records);
  const std::vector<Handler> found = FileTypes(programs, preferred).handlersOf("x");
  ASSERT_EQ(found.size(), 2U);
  EXPECT_EQ(found[0].name, "Of the record");
  EXPECT_EQ(found[1].name, "b");
}

TEST_F(Handlers, ThatArePreferredWinOverAnyOrder) {
  claim("/best", "x", {kPrimary});
  claim("/old/Edit", "x", {kUnsuitable});
  preferred = {{"x", "Edit"}};
  EXPECT_THAT(handlers("x"), ElementsAre("/old/Edit", "/best"));
  preferred = {{"x", "/old/Edit"}};
  EXPECT_THAT(handlers("x"), ElementsAre("/old/Edit", "/best"));
}

TEST_F(Handlers, OfOnePreferredNameAreInTheirOrder) {
  claim("/1/Other", "x", {kPrimary});
  claim("/2/Edit", "x", {kUnsuitable});
  claim("/3/Edit", "x");
  claim("/4/Edit", "x");
  preferred = {{"x", "Edit"}};
  EXPECT_THAT(handlers("x"), ElementsAre("/3/Edit", "/1/Other", "/4/Edit", "/2/Edit"));
}

TEST_F(Handlers, AreNotMadeByAPreference) {
  claim("/a", "x");
  records.push_back({{{"path", "/b"}, {"type", "app"}, {"name", "Edit"}}});
  preferred = {{"x", "Edit"}, {"y", "Edit"}};
  EXPECT_THAT(handlers("x"), ElementsAre("/a"));
  EXPECT_THAT(handlers("y"), IsEmpty());
}

TEST_F(Handlers, ArePreferredForAnExtensionAsWrittenFirst) {
  preferred = {{"TXT", "Loud"}, {"txt", "Quiet"}};
  EXPECT_EQ(preferredFor(preferred, "txt")->second, "Quiet");
  EXPECT_EQ(preferredFor(preferred, "TXT")->second, "Loud");
  EXPECT_EQ(preferredFor(preferred, "Txt")->second, "Loud");
  EXPECT_EQ(preferredFor(preferred, "rtf"), nullptr);
}

TEST_F(Handlers, TellEachExtensionOnceAsItIsWritten) {
  for (const char *extension : {"txt", "rtf", "TXT", "txt"})
    claim("/a", extension);
  const std::vector<Program> programs = programsIn(records);
  EXPECT_THAT(FileTypes(programs, preferred).extensions(), ElementsAre("TXT", "rtf", "txt"));
}

TEST(Extensions, StandBehindTheLastDot) {
  EXPECT_EQ(extensionOf("letter.txt"), "txt");
  EXPECT_EQ(extensionOf("/dir.d/archive.tar.gz"), "gz");
  EXPECT_EQ(extensionOf("a. b\n"), " b\n");
  for (const char *file :
       {"", "README", "/dir.d/README", ".profile", "/home/.profile", "a.", "/a.d/"})
    EXPECT_EQ(extensionOf(file), "") << file;
}

} // namespace
} // namespace tesker::test
