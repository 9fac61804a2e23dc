#include "desktop/EntryFiles.h"

#include "tests/desktop/KeptReports.h"
#include "tests/support/TemporaryDirectory.h"

#include <gmock/gmock.h>

namespace tesker::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class EntryFiles : public testing::Test {
protected:
  std::vector<std::string> ids(const char *name = "applications") {
    std::vector<std::string> found;
    for (const EntryFile &file : entryFilesBelow(directory.path(name), reports))
      found.push_back(file.id);
    return found;
  }
  const TemporaryDirectory directory;
  KeptReports reports;
};

TEST_F(EntryFiles, HaveIdsOfTheirPaths) {
  directory.writeFile("applications/edit.desktop", "");
  directory.writeFile("applications/kde/edit.desktop", "");
  directory.writeFile("applications/kde/a b/draw.desktop", "");
  directory.writeFile("applications/mimeinfo.cache", "");
  EXPECT_THAT(ids(), ElementsAre("edit.desktop", "kde-edit.desktop", "kde-a b-draw.desktop"));
  EXPECT_THAT(entryFilesBelow(directory.path("applications"), reports)[1].path,
              directory.path("applications/kde/edit.desktop"));
}

TEST_F(EntryFiles, HaveAnIdOnce) {
  directory.writeFile("applications/kde-edit.desktop", "");
  directory.writeFile("applications/kde/edit.desktop", "");
  EXPECT_THAT(ids(), ElementsAre("kde-edit.desktop"));
}

TEST_F(EntryFiles, AreNoneWhereThereIsNoDirectory) {
  EXPECT_THAT(ids(), IsEmpty());
  EXPECT_THAT(reports.failures, IsEmpty());
}

TEST_F(EntryFiles, AreNotLookedForInLinksThatLeadBack) {
  directory.writeFile("applications/a/edit.desktop", "");
  directory.makeLink("applications/a/up", "..");
  directory.makeLink("applications/self", ".");
  EXPECT_THAT(ids(), ElementsAre("a-edit.desktop"));
  EXPECT_THAT(reports.notes, ElementsAre(HasSubstr("a/up"), HasSubstr("self")));
}

TEST_F(EntryFiles, AreNotLookedForWithoutEnd) {
  // Each directory leads twice into the next: a million ways down.
  for (int i = 0; i < 20; ++i)
    for (const char *way : {"x", "y"})
      directory.makeLink("d" + std::to_string(i) + "/" + way, "../d" + std::to_string(i + 1));
  directory.makeDirectory("d20");
  EXPECT_THAT(ids("d0"), IsEmpty());
  EXPECT_THAT(reports.failures, testing::Not(IsEmpty()));
}

} // namespace
} // namespace tesker::test
