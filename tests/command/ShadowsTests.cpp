#include "command/Shadows.h"

#include <gmock/gmock.h>

namespace tesker::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class Shadows : public testing::Test {
protected:
  void add(const std::string &path, const std::string &type, const std::string &name,
           bool suitable = true) {
    SearchRecord record{{{"path", path}, {"type", type}, {"name", name}}};
    if (!suitable)
      record.pairs.emplace_back("suitable", "no");
    records.push_back(record);
  }
  // "PATH CLAIM: FIRST", of the programs at that path or of all.
  std::vector<std::string> shadows(const std::string &path = "") const {
    const std::vector<Program> programs = programsIn(records);
    std::vector<std::string> told;
    findShadows(
        programs, preferred,
        [&](const Program &program) { return path.empty() || program.path == path; },
        [&](const Shadow &shadow) {
          told.push_back(shadow.program->path + " " + shadow.claim + ": " + shadow.first->path);
        });
    return told;
  }
  std::vector<SearchRecord> records;
  PreferredApplications preferred;
};

TEST_F(Shadows, FallOnTheLaterOfTwoWithOneName) {
  add("/a", "app", "Edit");
  add("/b", "app", "Edit");
  add("/c", "app", "Draw");
  EXPECT_THAT(shadows(), ElementsAre("/b for the name Edit: /a"));
  EXPECT_THAT(shadows("/a"), IsEmpty());
}

TEST_F(Shadows, FallOnTheOneThatIsNotSuitable) {
  add("/a", "app", "Edit", false);
  add("/b", "app", "Edit");
  EXPECT_THAT(shadows(), ElementsAre("/a for the name Edit: /b"));
}

TEST_F(Shadows, FallOnAnApplicationThatIsCalledAsAnothersFile) {
  add("/Apps/Edit.app/Edit", "app", "Editor");
  add("/b", "app", "Edit");
  EXPECT_THAT(shadows(), ElementsAre("/b for the name Edit: /Apps/Edit.app/Edit"));
}

TEST_F(Shadows, AreNotMadeByCodeThatOthersLoad) {
  add("/a", "bundle", "Edit");
  add("/b", "app", "Edit");
  EXPECT_THAT(shadows(), IsEmpty());
}

TEST_F(Shadows, FallOnHandlersThatAreNotTheBest) {
  add("/a", "extension", "txt");
  add("/b", "extension", "txt");
  add("/b", "extension", "rtf");
  add("/b", "extension", "txt");
  EXPECT_THAT(shadows(), ElementsAre("/b for the extension txt: /a"));
  preferred["txt"] = "/b";
  EXPECT_THAT(shadows(), ElementsAre("/a for the extension txt: /b"));
}

} // namespace
} // namespace tesker::test
