// What is read ahead, beside what the walk reads.
#include "ahead/AheadReader.h"
#include "ahead/ReadAhead.h"
#include "finding/ApplicationWalk.h"
#include "tests/support/CountingOperatingSystem.h"
#include "tests/support/LogCapture.h"
#include "tests/support/TemporaryDirectory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <set>
#include <string>
#include <sys/stat.h>
#include <vector>

namespace tesker::test {
namespace {

using ::testing::Contains;
using ::testing::IsSupersetOf;
using ::testing::Not;

class Reading : public testing::Test {
protected:
  std::string at(std::string_view name) const { return directory_.path(name); }
  // What was listed, opened or looked at.
  static std::set<std::string> touched(const CountingOperatingSystem &system) {
    std::set<std::string> lines;
    for (const std::string &line : system.log)
      for (const char *call : {"openDirectory ", "open ", "readAt ", "statAt "})
        if (line.starts_with(call))
          lines.insert(line);
    return lines;
  }
  std::set<std::string> readAhead() {
    CountingOperatingSystem system;
    const ScopedOperatingSystem inForce(system);
    AheadReader reader(queue_);
    AheadTask first = taskOfSearchPath(at("tree"), 0);
    EXPECT_TRUE(queue_.add(first));
    tasks_ = 0;
    while (const auto task = queue_.nextNow()) {
      reader.read(*task);
      if (++tasks_ > 100'000) {
        ADD_FAILURE() << "goes on for ever";
        break;
      }
    }
    return touched(system);
  }
  std::set<std::string> walk() {
    CountingOperatingSystem system;
    const ScopedOperatingSystem inForce(system);
    ApplicationWalk walk([] {}, {}, {.skipsLinkCycles = true});
    walk.doForPath(directory_.string("tree"));
    return touched(system);
  }
  void addProgram(std::string_view name) { directory_.writeFile(name, "#! no image", 0755); }

  const LogCapture log_;
  const TemporaryDirectory directory_;
  AheadQueue queue_;
  std::size_t tasks_ = 0;
};

TEST_F(Reading, AheadListsAndOpensAllThatTheWalkDoes) {
  addProgram("tree/program");
  directory_.writeFile("tree/text", "text");
  addProgram("tree/below/program");
  addProgram("tree/.hidden/program");
  addProgram("tree/old~/program");
  directory_.makeDirectory("tree/closed", 0600);
  addProgram("other/linked");
  directory_.makeLink("tree/link", "../other");
  directory_.makeLink("tree/to-program", "../other/linked");
  directory_.makeLink("tree/dangling", "nowhere");
  addProgram("tree/One.app/One");
  addProgram("tree/One.app/Other");
  addProgram("tree/Two.debug/Two");
  directory_.writeFile("tree/Two.debug/Resources/Info-quorvale.plist", "{}");
  directory_.writeFile("tree/Two.debug/Resources/registry.table", "{}");
  directory_.writeFile("tree/Three.profile/registry.table", "{}");
  addProgram("tree/One.app/Inner.bundle/Inner");
  addProgram("tree/One.app/helper.tool");
  addProgram("tree/TeskerOne.app/Resources/Resources");
  std::set<std::string> expected = walk();
  // Links cost the walk a look by the whole path, and wrappers one at each entry.
  std::erase_if(expected, [](const std::string &line) { return line.starts_with("statAt "); });
  ASSERT_GT(expected.size(), 20U);
  // A description that is not where it is looked for needs nothing to be read.
  std::erase_if(expected, [](const std::string &line) {
    return line.find("/Info-quorvale.plist") != std::string::npos &&
           line.find("Two.debug") == std::string::npos;
  });
  const std::set<std::string> done = readAhead();
  EXPECT_THAT(done, IsSupersetOf(expected));
  for (const char *name : {"tree/.hidden", "tree/old~", "tree/closed"})
    EXPECT_THAT(done, Not(Contains("openDirectory " + at(name))));
  EXPECT_THAT(done, Not(Contains("open " + at("tree/text"))));
  EXPECT_THAT(done, Not(Contains("open " + at("tree/One.app/Other"))));
  EXPECT_THAT(done, Contains("statAt " + at("tree/text") + " nofollow"));
}

TEST_F(Reading, AheadDoesNotGoInCircles) {
  directory_.makeLink("tree/a/up", "..");
  directory_.makeLink("tree/a/b/top", "../..");
  directory_.makeLink("tree/One.app/again.bundle", ".");
  directory_.makeLink("tree/x", "a");
  readAhead();
  EXPECT_LT(tasks_, 20U);
}

TEST_F(Reading, AheadOfALargeDirectoryIsSharedOut) {
  std::vector<std::string> expected;
  for (std::uint32_t i = 0; i < 3 * AheadReader::kNamesAtOnce + 1; ++i)
    expected.push_back("statAt " + directory_.writeFile("tree/" + std::to_string(i), "") +
                       " nofollow");
  EXPECT_THAT(readAhead(), IsSupersetOf(expected));
  EXPECT_EQ(tasks_, 5U) << "the path, the directory, and three times some names";
}

TEST_F(Reading, AheadLeavesOutWhatTheToolHasPassed) {
  for (const char *name : {"a", "b", "c", "d", "e"})
    addProgram("tree/" + std::string(name) + "/program");
  // The tool is in the directory that the system names last.
  std::string last;
  const auto stream = OperatingSystem().openDirectory(at("tree").c_str());
  while (const auto name = stream->next())
    last = name->starts_with('.') ? last : *name;
  queue_.reached(10, at("tree/" + last));
  const std::set<std::string> done = readAhead();
  for (const char *name : {"a", "b", "c", "d", "e"})
    EXPECT_EQ(done.contains("openDirectory " + at("tree/" + std::string(name))), name == last);
}

TEST_F(Reading, AheadNeverWaitsForAFIFO) {
  directory_.makeDirectory("tree/One.app/Resources");
  ASSERT_EQ(::mkfifo(at("tree/fifo").c_str(), 0777), 0);
  ASSERT_EQ(::mkfifo(at("tree/One.app/registry.table").c_str(), 0777), 0);
  EXPECT_THAT(readAhead(), Not(Contains("open " + at("tree/fifo"))));
}

TEST_F(Reading, AheadOfAnApplicationAloneReadsIt) {
  addProgram("tree");
  EXPECT_THAT(readAhead(), Contains("open " + at("tree")));
}

} // namespace
} // namespace tesker::test
