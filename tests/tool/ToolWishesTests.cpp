// What the tool does only when its master asks for it in the environment.

#include "examples/MachOWriter.h"
#include "parsing/RecordDecoding.h"
#include "tests/tool/ToolUnderTest.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <utility>

namespace tesker {
namespace {

using test::MasterInSteps;
using test::NotingClient;
using test::TemporaryDirectory;
using test::ToolUnderTest;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

using Environment = std::vector<std::pair<const char *, const char *>>;

class ToolWishes : public testing::Test {
protected:
  ToolWishes() {
    tree.writeFile("tree/one",
                   examples::MachOWriter(examples::kI386)
                       .addSection("__ICON", "__header", "F\tOne\tOne\ticon\n")
                       .bytes(),
                   0755);
    tree.makeLink("tree/again", ".");
  }

  // Searches the tree with a tool that has these variables; gives the lines that it logs.
  std::vector<std::string> search(const Environment &environment) {
    ToolUnderTest tool(master.directory(), [&] {
      for (const auto &[name, value] : environment)
        ::setenv(name, value, 1);
    });
    const auto connection = master.connect();
    connection->rootProxy().findAppsInSearchPath(tree.string("tree"), nullptr, client);
    (void)test::serve(*connection, [] { return false; });
    EXPECT_EQ(tool.exitStatus(), 0);
    return tool.logLines();
  }
  // In the last answer.
  std::size_t records() const {
    const auto found =
        client->texts.empty()
            ? std::nullopt
            : decodeParsedApp(NSString::create(client->texts.back()), NSDefaultMallocZone());
    return found ? found->size() : 0;
  }

  const TemporaryDirectory tree;
  MasterInSteps master;
  const Ref<NotingClient> client = NotingClient::create();
};

TEST_F(ToolWishes, WithoutAnyTheWalkIsAsDescribedAndNothingIsTold) {
  EXPECT_THAT(search({}), IsEmpty());
  EXPECT_EQ(records(), 41U); // Linux follows 40 links in a path
  EXPECT_THAT(client->directories, IsEmpty());
}

TEST_F(ToolWishes, OfOtherValuesAreIgnored) {
  for (const char *value : {"", "0", "follow", "SKIP", "skip ", "yes"}) {
    EXPECT_THAT(search({{"TESKER_LINK_CYCLES", value}, {"TESKER_PROGRESS", value}}), IsEmpty());
    EXPECT_EQ(records(), 41U);
    EXPECT_THAT(client->directories, IsEmpty());
  }
}

TEST_F(ToolWishes, ForNoLinkCyclesAreFulfilled) {
  EXPECT_THAT(search({{"TESKER_LINK_CYCLES", "skip"}}),
              ElementsAre("*** Applications Finder: skipped, for it leads back to " +
                          tree.path("tree") + ": " + tree.path("tree/again")));
  EXPECT_EQ(records(), 1U);
}

TEST_F(ToolWishes, ForProgressAreFulfilledByAConfinedTool) {
  EXPECT_THAT(search({{"TESKER_PROGRESS", "1"}}), IsEmpty());
  EXPECT_THAT(client->directories, Not(IsEmpty()));
  EXPECT_THAT(client->directories, Each(testing::StartsWith(tree.path("tree"))));
  EXPECT_EQ(records(), 41U);
}

} // namespace
} // namespace tesker
