#include "desktop/Export.h"

#include "desktop/DesktopEntry.h"
#include "desktop/ExecLine.h"
#include "desktop/ExportedEntry.h"
#include "desktop/ExportedIcon.h"
#include "desktop/ExportedTypes.h"
#include "tests/desktop/KeptReports.h"
#include "tests/support/TemporaryDirectory.h"

#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>

namespace tesker::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::Pair;

TEST(ExportedEntry, ReadsBackAsItWasMeant) {
  const std::string program = R"~(/My Apps/50% \ "$(x)" `y` 'z';*.app/it's)~";
  const std::string text =
      textOf({.name = " Odd \\n name", .program = program, .icon = "", .mimeTypes = {"a/b", "c/d"}},
             {"sh", "open", "--with", program});
  const EntryReading reading = readDesktopEntry(text, {});
  ASSERT_TRUE(reading.entry) << reading.fault;
  EXPECT_EQ(reading.entry->name, " Odd \\n name");
  EXPECT_EQ(reading.entry->exportedProgram, program);
  EXPECT_THAT(reading.entry->mimeTypes, ElementsAre("a/b", "c/d"));
  const std::optional<ExecLine> line = parseExec(reading.entry->exec);
  ASSERT_TRUE(line);
  ASSERT_EQ(line->words.size(), 5U);
  EXPECT_EQ(line->words[3].pieces.front().text, program);
  EXPECT_TRUE(line->words[4].is(ExecPiece::Kind::files));
}

TEST(ExportedEntry, CanHaveVisibleTextOnly) {
  EXPECT_TRUE(isEntryText("Ünïcode text"));
  for (const char *text : {"line\nfeed", "\x1b[2J", "\xff", "\x7f"})
    EXPECT_FALSE(isEntryText(text)) << text;
}

TEST(ExportedTypes, AreNamedByTheExtension) {
  EXPECT_EQ(exportedTypeFor("draw"), "application/x-tesker-draw");
  EXPECT_EQ(exportedTypeFor("DRAW"), "application/x-tesker-draw");
  EXPECT_EQ(exportedTypeFor("a&b c"), "application/x-tesker-a_26b_20c");
  for (const char *extension : {"", "a*", "a?", "[a", "a\nb", "\xff", "a:b"})
    EXPECT_EQ(exportedTypeFor(extension), std::nullopt) << extension;
}

TEST(ExportedTypes, ArePartOfAPackage) {
  EXPECT_THAT(mimePackageFor({"a<&\">"}), HasSubstr("<glob pattern=\"*.a&lt;&amp;&quot;&gt;\"/>"));
}

std::string pictureOf(unsigned char width, unsigned char height) {
  std::string bytes("\x89PNG\r\n\x1a\n\0\0\0\rIHDR\0\0\0\0\0\0\0\0", 24);
  bytes[19] = static_cast<char>(width);
  bytes[23] = static_cast<char>(height);
  return bytes;
}

TEST(ExportedIcon, GoesWhereItsSizeBelongs) {
  EXPECT_EQ(folderForPNG(pictureOf(48, 48)), "48x48/apps");
  EXPECT_EQ(folderForPNG(pictureOf(70, 65)), "64x64/apps");
  EXPECT_EQ(folderForPNG(pictureOf(48, 15)), std::nullopt);
  EXPECT_EQ(folderForPNG("GIF"), std::nullopt);
}

class Export : public testing::Test {
protected:
  Export() {
    edit.program = directory.path("Apps/Edit.app/Edit");
    edit.name = "Edit";
    edit.extensions = {"txt", "foo"};
  }
  ExportedFiles files() {
    return exportedFiles(applications, {{"txt", "text/plain"}}, {"run"}, reports);
  }
  // What has changed, a line each.
  std::vector<std::string> write(const ExportedFiles &wanted, const Wishes &wishes = {}) {
    outcome = writeExported(wanted, directory.path("data"), wishes, reports);
    std::vector<std::string> lines;
    for (const auto &[sign, names] :
         {std::pair("+", outcome.added), {"*", outcome.changed}, {"-", outcome.removed}})
      for (const std::string &name : names)
        lines.push_back(sign + name);
    return lines;
  }
  bool exists(const std::string &name) const {
    return std::filesystem::exists(directory.path("data/" + name));
  }

  const TemporaryDirectory directory;
  KeptReports reports;
  ExportedApplication edit;
  std::vector<ExportedApplication> applications;
  ExportOutcome outcome;
};

TEST_F(Export, HasAnEntryForEachApplicationAndATypeForEachUnknownExtension) {
  applications = {edit};
  const ExportedFiles wanted = files();
  ASSERT_THAT(wanted, ElementsAre(Pair("applications/tesker-Edit.desktop", testing::_),
                                  Pair("mime/packages/tesker-export.xml", HasSubstr("*.foo\""))));
  EXPECT_THAT(wanted.begin()->second, HasSubstr("MimeType=application/x-tesker-foo;text/plain;\n"));
  EXPECT_THAT(wanted.begin()->second, HasSubstr("Exec=run " + edit.program + " %F\n"));
  EXPECT_THAT(wanted.at("mime/packages/tesker-export.xml"), Not(HasSubstr("txt")));
}

TEST_F(Export, TellsApplicationsOfOneNameApartByTheirPaths) {
  applications = {edit, edit, edit};
  applications[1].program = "/other/Edit.app/Edit";
  applications[2].name = "Edit & more";
  const ExportedFiles first = files();
  EXPECT_EQ(first.size(), 4U);
  EXPECT_TRUE(first.contains("applications/tesker-Edit___more.desktop"));
  std::swap(applications[0], applications[1]);
  EXPECT_EQ(files(), first);
}

TEST_F(Export, PassesOverWhatNoEntryCanName) {
  edit.program += "\n";
  applications = {edit};
  EXPECT_THAT(files(), IsEmpty());
  EXPECT_THAT(reports.notes, ElementsAre(HasSubstr("no entry can have")));
}

TEST_F(Export, BringsTheIconAlong) {
  directory.writeFile("Apps/Edit.app/Resources/edit.png", pictureOf(64, 64));
  edit.icon = "edit.png";
  applications = {edit};
  const ExportedFiles wanted = files();
  EXPECT_EQ(wanted.at("icons/hicolor/64x64/apps/tesker-Edit.png"), pictureOf(64, 64));
  EXPECT_THAT(wanted.at("applications/tesker-Edit.desktop"), HasSubstr("Icon=tesker-Edit\n"));
  applications[0].icon = "../Resources/edit.png";
  EXPECT_THAT(files().at("applications/tesker-Edit.desktop"), Not(HasSubstr("Icon=")));
}

TEST_F(Export, WritesWhatHasChangedAndRemovesWhatIsGone) {
  EXPECT_THAT(write({{"applications/tesker-a.desktop", "1"}, {"mime/packages/tesker-x", "2"}}),
              ElementsAre("+applications/tesker-a.desktop", "+mime/packages/tesker-x"));
  EXPECT_TRUE(outcome.changes("mime/"));
  EXPECT_FALSE(outcome.changes("icons/"));
  EXPECT_THAT(write({{"applications/tesker-a.desktop", "1"}, {"mime/packages/tesker-x", "2"}}),
              IsEmpty());
  EXPECT_EQ(outcome.unchanged, 2U);
  EXPECT_THAT(write({{"applications/tesker-a.desktop", "3"}}),
              ElementsAre("*applications/tesker-a.desktop", "-mime/packages/tesker-x"));
  EXPECT_THAT(write({}, {.remove = false}), IsEmpty());
  EXPECT_THAT(write({}, {.change = false}), ElementsAre("-applications/tesker-a.desktop"));
  EXPECT_TRUE(exists("applications/tesker-a.desktop"));
  EXPECT_THAT(write({}), ElementsAre("-applications/tesker-a.desktop"));
  EXPECT_FALSE(exists("applications/tesker-a.desktop"));
  EXPECT_FALSE(exists("tesker/exported"));
}

TEST_F(Export, LeavesAloneWhatItHasNotMade) {
  directory.writeFile("data/applications/tesker-a.desktop", "mine");
  EXPECT_THAT(write({{"applications/tesker-a.desktop", "1"}}), IsEmpty());
  EXPECT_THAT(reports.failures, ElementsAre(HasSubstr("something else has made it")));
  directory.writeFile("data/applications/other.desktop", "mine");
  directory.writeFile("tesker-outside", "mine");
  directory.writeFile("data/tesker/exported",
                      "applications/other.desktop\n../tesker-outside\n"
                      "applications/../../tesker-outside\n/tesker-outside\n\n");
  EXPECT_THAT(write({}), IsEmpty());
  EXPECT_TRUE(exists("applications/other.desktop"));
  EXPECT_TRUE(exists("../tesker-outside"));
}

} // namespace
} // namespace tesker::test
