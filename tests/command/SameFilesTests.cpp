#include "command/SameFiles.h"
#include "tests/support/TemporaryDirectory.h"

#include <gmock/gmock.h>

namespace tesker::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class SameFiles : public testing::Test {
protected:
  void SetUp() override {
    top.writeFile("real/Edit", "");
    top.makeLink("link", "real");
    top.makeLink("real/Other", "Edit");
  }
  void add(const std::string &name, const std::string &path) {
    rows.push_back({.row = {.cells = {{name}}}, .path = path});
  }
  // The cells of the paths.
  std::vector<TextCell> paths(SamePaths samePaths = SamePaths::merge) {
    std::vector<TextCell> cells;
    for (const TextRow &row : rowsWithPaths(rows, samePaths))
      cells.push_back(row.cells.back());
    return cells;
  }

  TemporaryDirectory top;
  std::vector<PathRow> rows;
};

TEST_F(SameFiles, BecomeOneRowWithThePathWithoutLinksFirst) {
  add("Edit", top.path("link/Edit"));
  add("Edit", top.path("real/Edit"));
  add("Edit", top.path("real/Other"));
  EXPECT_THAT(paths(), ElementsAre(TextCell{top.path("real/Edit"), "also " + top.path("link/Edit"),
                                            "also " + top.path("real/Other")}));
}

TEST_F(SameFiles, StayApartWhereTheyAreCalledDifferently) {
  add("Edit", top.path("real/Edit"));
  add("Other", top.path("real/Other"));
  EXPECT_THAT(paths(),
              ElementsAre(TextCell{top.path("real/Edit")}, TextCell{top.path("real/Other")}));
}

TEST_F(SameFiles, StayApartWhereNoFileIsToBeLookedAt) {
  add("Edit", top.path("real/Edit"));
  add("Edit", top.path("link/Edit"));
  EXPECT_THAT(paths(SamePaths::keep),
              ElementsAre(TextCell{top.path("real/Edit")}, TextCell{top.path("link/Edit")}));
}

TEST_F(SameFiles, NeedNotBeThereWhereTheirDirectoryIs) {
  add("Draw", top.path("real/Draw"));
  add("Draw", top.path("link/Draw"));
  EXPECT_THAT(paths(),
              ElementsAre(TextCell{top.path("real/Draw"), "also " + top.path("link/Draw")}));
}

TEST_F(SameFiles, AreNotLookedForByOtherThanAbsolutePaths) {
  for (const char *path : {"", "", "Edit", "Edit", "/missing/directory/x", "/missing/directory/x"})
    add("Edit", path);
  EXPECT_THAT(paths(), testing::SizeIs(6));
}

TEST_F(SameFiles, MergeOnlyWhatIsOneFileAmongRowsThatSayTheSame) {
  top.writeFile("two/Edit", "");
  add("Edit", top.path("two/Edit"));
  add("Edit", top.path("link/Edit"));
  add("Edit", top.path("real/Edit"));
  EXPECT_THAT(paths(),
              ElementsAre(TextCell{top.path("two/Edit")},
                          TextCell{top.path("real/Edit"), "also " + top.path("link/Edit")}));
}

TEST_F(SameFiles, AreShownAsDisplayTexts) {
  add("Edit", "/\x1b");
  EXPECT_THAT(paths(), ElementsAre(TextCell{"/\\x1b"}));
  rows.clear();
  EXPECT_THAT(paths(), IsEmpty());
}

} // namespace
} // namespace tesker::test
