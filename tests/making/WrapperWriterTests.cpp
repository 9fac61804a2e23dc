#include "making/WrapperWriter.h"
#include "tests/support/FaultyOperatingSystem.h"
#include "tests/support/TemporaryDirectory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>

namespace tesker {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::UnorderedElementsAre;
using Former = WrapperWriter::Former;

class WrapperWriterTest : public testing::Test {
protected:
  std::vector<std::string> names() const {
    std::vector<std::string> found;
    for (const auto &entry : fs::directory_iterator(directory.path()))
      found.push_back(entry.path().filename());
    return found;
  }
  std::string contents(const std::string &name) const {
    std::ifstream file(directory.path(name), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }
  mode_t modeOf(const std::string &name) const {
    struct stat status {};
    EXPECT_EQ(::stat(directory.path(name).c_str(), &status), 0) << name;
    return status.st_mode & 07777;
  }
  // 0 when it is made and in its place.
  int make(const WrapperDescription &description, Former former = Former::stays) {
    WrapperWriter writer(directory.path());
    auto failure = writer.write(description);
    if (!failure)
      failure = writer.putInPlace(former);
    return failure ? failure->error : 0;
  }

  const test::TemporaryDirectory directory;
  const mode_t before_ = ::umask(022);
  ~WrapperWriterTest() override { ::umask(before_); }
};

TEST_F(WrapperWriterTest, WritesTheProgramTheDescriptionAndTheFiles) {
  EXPECT_EQ(make({.name = "Edit",
                  .program = "#!/bin/sh\n",
                  .icon = "Edit.png",
                  .files = {{"Edit.png", "icon"}}}),
            0);
  EXPECT_EQ(contents("Edit.app/Edit"), "#!/bin/sh\n");
  EXPECT_EQ(modeOf("Edit.app/Edit"), 0755U);
  EXPECT_EQ(contents("Edit.app/Resources/Edit.png"), "icon");
  EXPECT_EQ(modeOf("Edit.app/Resources/Edit.png"), 0644U);
  EXPECT_EQ(contents("Edit.app/Resources/Info-quorvale.plist"),
            "{\nNSExecutable = Edit;\nNSIcon = Edit.png;\n}\n");
  EXPECT_EQ(modeOf("Edit.app"), 0755U);
}

TEST_F(WrapperWriterTest, CopiesWholeFilesWhateverTheirMode) {
  std::string large(200'000, 'x');
  large.back() = '\0';
  directory.writeFile("program", large, 04711);
  EXPECT_EQ(make({.name = "Edit", .program = CopyOf{directory.path("program")}}), 0);
  EXPECT_EQ(contents("Edit.app/Edit"), large);
  EXPECT_EQ(modeOf("Edit.app/Edit"), 0755U);
}

TEST_F(WrapperWriterTest, UntilItIsPutInPlaceNothingStandsThere) {
  {
    WrapperWriter writer(directory.path());
    ASSERT_FALSE(writer.write({.name = "Edit", .program = "x"}));
    EXPECT_EQ(names().size(), 1U);
    EXPECT_TRUE(names()[0].starts_with('.')) << "searches would meet it";
    EXPECT_TRUE(fs::is_directory(writer.path()));
    EXPECT_EQ(writer.place(), directory.path("Edit.app"));
  }
  EXPECT_THAT(names(), ElementsAre());
}

TEST_F(WrapperWriterTest, WhatIsThereStaysUnlessItIsToGo) {
  directory.writeFile("Edit.app/deep/down/file", "former");
  EXPECT_EQ(make({.name = "Edit", .program = "new"}), EEXIST);
  EXPECT_EQ(contents("Edit.app/deep/down/file"), "former");
  EXPECT_EQ(make({.name = "Edit", .program = "new"}, Former::isRemoved), 0);
  EXPECT_EQ(contents("Edit.app/Edit"), "new");
  EXPECT_FALSE(fs::exists(directory.path("Edit.app/deep")));
  EXPECT_THAT(names(), ElementsAre("Edit.app"));
}

TEST_F(WrapperWriterTest, ALinkInItsPlaceIsReplacedAndNotFollowed) {
  directory.writeFile("elsewhere/file", "kept");
  directory.makeLink("Edit.app", "elsewhere");
  EXPECT_EQ(make({.name = "Edit", .program = "new"}), EEXIST);
  EXPECT_EQ(make({.name = "Edit", .program = "new"}, Former::isRemoved), 0);
  EXPECT_EQ(contents("elsewhere/file"), "kept");
  EXPECT_FALSE(fs::is_symlink(directory.path("Edit.app")));
}

TEST_F(WrapperWriterTest, NamesThatLeadElsewhereAreRefused) {
  using namespace std::string_literals;
  for (const std::string &name : {""s, "."s, ".."s, "a/b"s, "/a"s, "a\0b"s}) {
    EXPECT_EQ(make({.name = name, .program = "x"}), EINVAL) << name;
    EXPECT_EQ(make({.name = "Edit", .program = "x", .files = {{name, "x"}}}), EINVAL) << name;
  }
  EXPECT_EQ(make({.name = "Edit", .program = "x", .files = {{"Info-quorvale.plist", "x"}}}),
            EEXIST);
  EXPECT_EQ(make({.name = "Resources", .program = "x"}), EEXIST);
  EXPECT_THAT(names(), ElementsAre());
}

TEST_F(WrapperWriterTest, WhatCannotBeCopiedIsNamed) {
  WrapperWriter writer(directory.path());
  const auto failure = writer.write({.name = "Edit", .program = CopyOf{"/dev/null"}});
  ASSERT_TRUE(failure);
  EXPECT_EQ(failure->path, "/dev/null");
  EXPECT_EQ(failure->error, EINVAL);
  EXPECT_EQ(make({.name = "Edit", .program = CopyOf{directory.path("none")}}), ENOENT);
}

TEST_F(WrapperWriterTest, WhatCannotBeWrittenIsNamedByItsPlace) {
  const std::string longName(300, 'x');
  WrapperWriter writer(directory.path());
  const auto failure = writer.write({.name = "Edit", .program = "x", .files = {{longName, "x"}}});
  ASSERT_TRUE(failure);
  EXPECT_EQ(failure->path, directory.path("Edit.app/Resources/" + longName));
  EXPECT_EQ(failure->error, ENAMETOOLONG);
}

TEST_F(WrapperWriterTest, AFolderThatIsNotThereIsNamed) {
  WrapperWriter writer(directory.path("none"));
  const auto failure = writer.write({.name = "Edit", .program = "x"});
  ASSERT_TRUE(failure);
  EXPECT_EQ(failure->path, directory.path("none"));
  EXPECT_EQ(failure->error, ENOENT);
}

// Every system call of a replacement fails in turn: the old wrapper stands there or the new one,
// whole, and nothing else.
TEST_F(WrapperWriterTest, WhicheverCallFailsOneWholeWrapperStandsThere) {
  const std::set<std::string> kinds{
      "makeTemporaryDirectory", "makeDirectory", "open", "write", "read", "synchronize", "rename",
      "statDescriptor"};
  std::size_t failed = 0;
  for (std::size_t call = 1;; ++call) {
    const test::TemporaryDirectory tree;
    const std::string source = tree.writeFile("source", "new");
    tree.makeDirectory("apps");
    tree.writeFile("apps/Edit.app/Edit", "old");
    test::FaultyOperatingSystem system(
        [&](std::string_view name, int) { return kinds.contains(std::string(name)); });
    system.fault = {call, EIO};
    {
      const ScopedOperatingSystem inForce(system);
      WrapperWriter writer(tree.path("apps"));
      auto failure = writer.write({.name = "Edit", .program = CopyOf{source}});
      if (!failure)
        failure = writer.putInPlace(Former::isRemoved);
      system.fault = {};
      if (!failure)
        break;
      EXPECT_EQ(failure->error, EIO);
      ++failed;
    }
    std::ifstream file(tree.path("apps/Edit.app/Edit"));
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(file), {}), "old");
    EXPECT_EQ(std::distance(fs::directory_iterator(tree.path("apps")), {}), 1) << call;
  }
  EXPECT_GE(failed, 10U);
}

} // namespace
} // namespace tesker
