#include "platform/foundation/NSBundle.h"

#include "platform/foundation/NSException.h"
#include "platform/foundation/OperatingSystem.h"
#include "tests/support/CountingOperatingSystem.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/Texts.h"

#include <gmock/gmock.h>

#include <cstdlib>
#include <filesystem>
#include <string>

namespace tesker {
namespace {

using namespace std::string_literals;
using test::TemporaryDirectory;

// Runs as if the program's file were elsewhere.
class RunningFrom final : public OperatingSystem {
public:
  explicit RunningFrom(std::optional<std::string> path) : path_(std::move(path)) {}
  std::optional<std::string> programPath() override { return path_; }

private:
  std::optional<std::string> path_;
};

// The text of the main bundle's resource "errno" of type "strings", or "nil".
std::string mainResource(const std::optional<std::string> &program) {
  RunningFrom system(program);
  const ScopedOperatingSystem inForce(system);
  const auto path = NSBundle::mainBundle().pathForResource("errno", "strings");
  return path ? std::filesystem::weakly_canonical(path.bytes()).string() : "nil";
}

TEST(MainBundleTest, AProgramInBinHasItsResourcesBesideThatFolder) {
  const TemporaryDirectory prefix;
  prefix.makeDirectory("bin");
  const auto resource = prefix.writeFile("share/tesker/Resources/errno.strings", "");
  EXPECT_EQ(mainResource(prefix.path("bin/tesker-apps")), resource);
}

TEST(MainBundleTest, AProgramInLibexecHasItsResourcesBesideTheFolderAbove) {
  const TemporaryDirectory prefix;
  prefix.makeDirectory("libexec/tesker");
  const auto resource = prefix.writeFile("share/tesker/Resources/errno.strings", "");
  EXPECT_EQ(mainResource(prefix.path("libexec/tesker/ToolFinder")), resource);
}

TEST(MainBundleTest, TheNearerFolderWins) {
  const TemporaryDirectory prefix;
  prefix.makeDirectory("deep/bin");
  prefix.writeFile("share/tesker/Resources/errno.strings", "");
  const auto near = prefix.writeFile("deep/share/tesker/Resources/errno.strings", "");
  EXPECT_EQ(mainResource(prefix.path("deep/bin/program")), near);
}

TEST(MainBundleTest, WithoutResourcesNothingIsFound) {
  const TemporaryDirectory prefix;
  prefix.makeDirectory("bin");
  EXPECT_EQ(mainResource(prefix.path("bin/program")), "nil");
  EXPECT_EQ(mainResource(std::nullopt), "nil");
}

TEST(MainBundleTest, TheRunningProgramsFolderCounts) {
  // The same rule serves the build tree, where this program stands in "bin".
  const auto folder = std::filesystem::read_symlink("/proc/self/exe").parent_path();
  const auto name = "bundle-test-" + std::to_string(::getpid());
  const auto resources = folder.parent_path() / "share/tesker/Resources";
  std::filesystem::create_directories(resources);
  const auto file = resources / name;
  std::filesystem::create_directory(file);
  const auto found = NSBundle::mainBundle().pathForResource(name, "");
  ASSERT_TRUE(found);
  EXPECT_TRUE(std::filesystem::equivalent(found.bytes(), file));
  std::filesystem::remove(file);
}

class BundleTest : public testing::Test {
protected:
  std::optional<NSBundle> bundle() const {
    return NSBundle::bundleWithPath(directory.string("Foo.app"));
  }
  void writeInfo(std::string_view text) const {
    directory.writeFile("Foo.app/Resources/Info-quorvale.plist", text);
  }
  TemporaryDirectory directory;
};

TEST_F(BundleTest, APathThatIsNoDirectoryIsNoBundle) {
  EXPECT_FALSE(bundle());
  directory.writeFile("Foo.app", "");
  EXPECT_FALSE(bundle());
}

TEST_F(BundleTest, APathWithANulInsideIsNoBundle) {
  directory.makeDirectory("Foo.app");
  EXPECT_FALSE(NSBundle::bundleWithPath(NSString::create(directory.path("Foo.app") + "\0x"s)));
}

TEST_F(BundleTest, ALinkToADirectoryIsABundle) {
  directory.makeDirectory("Real.app");
  directory.makeLink("Foo.app", "Real.app");
  EXPECT_TRUE(bundle());
}

TEST_F(BundleTest, TheInfoDictionaryIsReadFromTheResources) {
  writeInfo("{NSExecutable = Foo; }");
  EXPECT_EQ(bundle()->infoDictionary()->description(), "{NSExecutable = Foo; }");
}

TEST_F(BundleTest, AMissingInfoDictionaryIsNil) {
  directory.makeDirectory("Foo.app");
  EXPECT_FALSE(bundle()->infoDictionary());
  directory.makeDirectory("Foo.app/Resources/Info-quorvale.plist");
  EXPECT_FALSE(bundle()->infoDictionary());
}

TEST_F(BundleTest, AnInfoFileWithAnotherKindOfValueIsNil) {
  writeInfo("(a, b)");
  EXPECT_FALSE(bundle()->infoDictionary());
}

TEST_F(BundleTest, EachQuestionIsOneLookAtTheFileSystem) {
  writeInfo("{}");
  test::CountingOperatingSystem system;
  const ScopedOperatingSystem inForce(system);
  const auto path = directory.path("Foo.app");
  const auto made = bundle();
  EXPECT_THAT(system.log, testing::ElementsAre("statAt " + path + " follow"));
  system.forget();
  EXPECT_TRUE(made->pathForResource("Info-quorvale", "plist"));
  EXPECT_THAT(system.log,
              testing::ElementsAre("statAt " + path + "/Resources/Info-quorvale.plist follow"));
}

TEST_F(BundleTest, AMalformedInfoDictionaryRaises) {
  writeInfo("{NSExecutable = Foo }");
  try {
    (void)bundle()->infoDictionary();
    FAIL();
  } catch (const NSException &exception) {
    EXPECT_EQ(exception.name(), "NSParseErrorException");
  }
}

TEST_F(BundleTest, AResourceIsFoundByNameAndType) {
  const auto file = directory.writeFile("Foo.app/Resources/errno.strings", "");
  const auto bare = directory.writeFile("Foo.app/Resources/errno", "");
  EXPECT_EQ(bundle()->pathForResource("errno", "strings"), file);
  EXPECT_EQ(bundle()->pathForResource("errno", ""), bare);
  EXPECT_FALSE(bundle()->pathForResource("errno", "plist"));
  EXPECT_FALSE(bundle()->pathForResource("errno\0"s, ""));
}

} // namespace
} // namespace tesker
