// The sample tree that tesker-make-sample makes, as other programs read it.
#include "platform/images/FatArch.h"
#include "tests/images/OtherPrograms.h"
#include "tests/support/MachOBuilder.h"
#include "tests/support/TemporaryDirectory.h"

#include <filesystem>
#include <gmock/gmock.h>

namespace tesker::test {
namespace {

namespace fs = std::filesystem;

class SampleTree : public ::testing::Test {
protected:
  Outcome make(const std::string &arguments) { return run(MAKE_SAMPLE " " + arguments); }
  std::string top() const { return directory_.path("sample"); }

  // The executable files of the tree that begin like a Mach-O or fat file, by their paths in it.
  std::vector<std::string> images() const {
    std::vector<std::string> paths;
    for (const auto &entry :
         fs::recursive_directory_iterator(top(), fs::directory_options::skip_permission_denied))
      if (!entry.is_symlink() && entry.is_regular_file()) {
        auto image = openImage(entry.path());
        mach_header header{};
        if (!image) // one that its owner may not read
          continue;
        if (fatHeaderOf(*image) || (image->readStructure(0, header) &&
                                    (header.magic == MH_MAGIC || header.magic == MH_CIGAM)))
          paths.push_back(entry.path().string());
      }
    return paths;
  }
  const TemporaryDirectory directory_;
};

TEST_F(SampleTree, HasImagesThatAnotherReaderAccepts) {
  ASSERT_EQ(make(quoted(top())).status, 0);
  std::size_t accepted = 0;
  for (const std::string &path : images()) {
    if (path.find("/Torn") != std::string::npos)
      continue;
    const Outcome outcome = run(LLVM_READOBJ " --file-headers --sections " + quoted(path));
    EXPECT_EQ(outcome.status, 0) << outcome.output;
    EXPECT_NE(outcome.output.find("Name: __text"), std::string::npos) << path;
    EXPECT_EQ(outcome.output.find("Name: __header") != std::string::npos,
              fileText(path) != "(none)")
        << path;
    ++accepted;
  }
  EXPECT_GE(accepted, 14U);
}

TEST_F(SampleTree, HasFatFilesThatAnotherReaderAccepts) {
  ASSERT_EQ(make(quoted(top())).status, 0);
  const auto architectures = [&](const char *name) {
    return run(LLVM_LIPO " -info " + quoted(top() + "/Applications/" + name));
  };
  const Outcome edit = architectures("Edit.app/Edit");
  EXPECT_EQ(edit.status, 0);
  EXPECT_THAT(edit.output, ::testing::HasSubstr("are: i386 unknown(12,0) ppc"));
  const Outcome museum = architectures("Museum.app/Museum");
  EXPECT_EQ(museum.status, 0);
  EXPECT_THAT(museum.output, ::testing::HasSubstr("are: unknown(6,1) unknown(14,0)"));
}

TEST_F(SampleTree, HasTornFilesThatAnotherReaderRefuses) {
  ASSERT_EQ(make(quoted(top())).status, 0);
  for (const char *name : {"TornImage", "TornRecords"})
    EXPECT_NE(
        run(LLVM_READOBJ " --file-headers " + quoted(top() + "/Broken/" + name + ".app/" + name))
            .status,
        0);
}

TEST_F(SampleTree, HasEveryKindOfEntry) {
  ASSERT_EQ(make(quoted(top())).status, 0);
  const fs::path broken = fs::path(top()) / "Broken";
  EXPECT_TRUE(fs::is_fifo(broken / "pipe"));
  EXPECT_FALSE(fs::exists(broken / "dangling"));
  EXPECT_TRUE(fs::is_symlink(broken / "ping"));
  EXPECT_TRUE(fs::equivalent(broken / "Circle/again", broken / "Circle"));
  EXPECT_EQ(fs::status(broken / "Locked").permissions(), fs::perms::none);
  EXPECT_EQ(fs::file_size(broken / "Empty.app/Empty"), 0U);
  EXPECT_EQ(fileText(top() + "/Links/clock").substr(0, 8), "F\tClock\t");
  EXPECT_TRUE(fs::is_directory(fs::path(top()) / "Links/tools"));
  EXPECT_EQ(fs::status(fs::path(top()) / "Tools/greet").permissions(), fs::perms(0755));
}

TEST_F(SampleTree, IsTheSameEveryTimeAndUnderAnyMask) {
  const std::string again = directory_.path("again");
  ASSERT_EQ(make(quoted(top())).status, 0);
  ASSERT_EQ(run("umask 0077; " MAKE_SAMPLE " " + quoted(again)).status, 0);
  const auto listing = [](const std::string &tree) {
    return run("cd " + quoted(tree) +
               " && find . -mindepth 1 ! -type d -printf '%P %m %s %l\\n' | sort"
               " && find . -type f | sort | xargs cksum")
        .output;
  };
  EXPECT_EQ(listing(top()), listing(again));
}

TEST_F(SampleTree, IsPrintedWhenAskedFor) {
  EXPECT_EQ(make(quoted(top())).output, "");
  const Outcome verbose = make("-v " + quoted(directory_.path("verbose")));
  EXPECT_EQ(verbose.status, 0);
  EXPECT_THAT(verbose.output, ::testing::HasSubstr("verbose/Applications/Edit.app/Edit: fat"));
}

TEST_F(SampleTree, IsMadeInAnEmptyDirectoryToo) {
  directory_.makeDirectory("sample");
  EXPECT_EQ(make(quoted(top())).status, 0);
}

TEST_F(SampleTree, IsNotMadeInADirectoryThatIsNotEmpty) {
  directory_.writeFile("sample/mine", "precious");
  const Outcome outcome = make(quoted(top()));
  EXPECT_EQ(outcome.status, 1);
  EXPECT_THAT(outcome.output, ::testing::HasSubstr("is not empty"));
  EXPECT_EQ(std::distance(fs::directory_iterator(top()), fs::directory_iterator()), 1);
}

TEST_F(SampleTree, IsNotMadeOverAFile) {
  directory_.writeFile("sample", "precious");
  const Outcome outcome = make(quoted(top()));
  EXPECT_EQ(outcome.status, 1);
  EXPECT_THAT(outcome.output, ::testing::StartsWith("tesker-make-sample: "));
}

TEST_F(SampleTree, NeedsExactlyOneDirectory) {
  for (const char *arguments : {"", "-v", "a b", "-x a", "''"}) {
    const Outcome outcome = make(arguments);
    EXPECT_EQ(outcome.status, 2) << arguments;
    EXPECT_EQ(outcome.output, "usage: tesker-make-sample [-v] DIR\n") << arguments;
  }
  EXPECT_EQ(make("--help").status, 0);
}

} // namespace
} // namespace tesker::test
