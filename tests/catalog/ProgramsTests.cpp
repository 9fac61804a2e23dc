#include "catalog/Programs.h"

#include <gmock/gmock.h>

namespace tesker::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class Programs : public testing::Test {
protected:
  void add(SearchRecord record) { records.push_back(std::move(record)); }
  // The paths of those called so.
  std::vector<std::string> called(std::string_view nameOrPath) const {
    const std::vector<Program> programs = programsIn(records);
    std::vector<std::string> paths;
    for (const Program *program : programsCalled(programs, nameOrPath))
      paths.push_back(program->path);
    return paths;
  }
  std::vector<SearchRecord> records;
};

TEST_F(Programs, AreAllRecordsOfOnePath) {
  add({{{"path", "/b"}, {"type", "extension"}, {"name", "txt"}}});
  add({{{"path", "/a"}, {"type", "app"}, {"name", "A"}}});
  add({{{"path", "/b"}, {"type", "services"}}});
  add({{{"path", "/b"}, {"type", "extension"}, {"name", "rtf"}}});
  const std::vector<Program> programs = programsIn(records);
  ASSERT_EQ(programs.size(), 2U);
  EXPECT_EQ(programs[0].path, "/b");
  EXPECT_THAT(programs[0].records, ElementsAre(&records[0], &records[2], &records[3]));
  EXPECT_TRUE(programs[0].hasRecordOf("services"));
  EXPECT_FALSE(programs[0].hasRecordOf("app"));
  EXPECT_EQ(programs[1].path, "/a");
}

TEST_F(Programs, HaveAPath) {
  add({{{"type", "app"}, {"name", "Nowhere"}}});
  add({{{"type", "app"}, {"path", ""}}});
  EXPECT_THAT(programsIn(records), IsEmpty());
}

TEST_F(Programs, AreNotSuitableWhereOneRecordSaysSo) {
  add({{{"path", "/a"}, {"type", "app"}}});
  add({{{"path", "/a"}, {"type", "extension"}, {"suitable", "no"}}});
  add({{{"path", "/b"}, {"type", "app"}, {"suitable", "yes"}}});
  const std::vector<Program> programs = programsIn(records);
  EXPECT_FALSE(programs[0].suitable);
  EXPECT_TRUE(programs[1].suitable);
}

TEST_F(Programs, AreNamedAsTheyNameThemselvesOrElseAsTheirFile) {
  add({{{"path", "/a"}, {"type", "extension"}, {"name", "txt"}, {"appName", "Of extension"}}});
  add({{{"path", "/a"}, {"type", "app"}, {"name", "Application"}}});
  add({{{"path", "/b"}, {"type", "extension"}, {"name", "txt"}, {"appName", "Of extension"}}});
  add({{{"path", "/c"}, {"type", "bundle"}, {"name", "Bundle"}}});
  add({{{"path", "/d/file"}, {"type", "services"}, {"name", "not a name"}}});
  std::vector<std::string> names;
  for (const Program &program : programsIn(records))
    names.push_back(program.name);
  EXPECT_THAT(names, ElementsAre("Application", "Of extension", "Bundle", "file"));
}

TEST_F(Programs, AreFoundByNameFileWrapperAndPath) {
  add({{{"path", "/Apps/Edit.app/Edit"}, {"type", "app"}, {"name", "Editor"}}});
  for (const char *name : {"Editor", "Edit", "Edit.app", "/Apps/Edit.app/Edit", "/Apps/Edit.app",
                           "/Apps/Edit.app/", "/Apps/Edit.app//"})
    EXPECT_THAT(called(name), ElementsAre("/Apps/Edit.app/Edit")) << name;
  for (const char *name :
       {"", "Apps", "/Apps", "/", "/Apps/Edit", "Edit.", "Edi", "/Apps/edit.app"})
    EXPECT_THAT(called(name), IsEmpty()) << name;
}

TEST_F(Programs, AreNotFoundByAFolderThatIsNotTheirWrapper) {
  add({{{"path", "/Apps/Other.app/Edit"}, {"type", "app"}, {"name", "Edit"}}});
  add({{{"path", "/Edit/Edit"}, {"type", "app"}, {"name", "Edit"}}});
  EXPECT_THAT(called("/Apps/Other.app"), IsEmpty());
  EXPECT_THAT(called("/Edit"), IsEmpty());
}

TEST_F(Programs, AreFoundButForCaseOnlyWhereNoneIsCalledExactlySo) {
  add({{{"path", "/1"}, {"type", "app"}, {"name", "EDIT"}}});
  add({{{"path", "/2"}, {"type", "app"}, {"name", "Edit"}}});
  EXPECT_THAT(called("Edit"), ElementsAre("/2"));
  EXPECT_THAT(called("edit"), ElementsAre("/1", "/2"));
}

TEST_F(Programs, TakeOnlyLettersOfAsciiForEqualButForCase) {
  EXPECT_TRUE(equalButForCase("aZ9.", "Az9."));
  EXPECT_FALSE(equalButForCase("a", "ab"));
  EXPECT_FALSE(equalButForCase("@", "`"));
  EXPECT_FALSE(equalButForCase("[", "{"));
  EXPECT_FALSE(equalButForCase("\xC3\x84", "\xC3\xA4"));
}

} // namespace
} // namespace tesker::test
