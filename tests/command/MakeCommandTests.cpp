// What make refuses to make beside a description, or of it, whichever way directories are listed.
#include "command/Commands.h"
#include "examples/MachOWriter.h"
#include "platform/foundation/Files.h"
#include "tests/command/CapturedOutput.h"
#include "tests/support/OrderedListings.h"
#include "tests/support/TemporaryDirectory.h"

#include <filesystem>
#include <gmock/gmock.h>

namespace tesker::test {
namespace {

using testing::HasSubstr;

std::string describing(std::string_view header) {
  return examples::MachOWriter(examples::kI386).addSection("__ICON", "__header", header).bytes();
}

class MakeCommand : public testing::Test {
protected:
  MakeCommand() { ::setenv("TESKER_HOST_CPU", "i386", 1); }

  ExitStatus make(const std::string &what, const std::string &place) {
    Arguments arguments;
    arguments.subject = what;
    arguments.make = {.name = "Draw",
                      .executable = executable_,
                      .icon = what == "header" ? "draw" : "",
                      .types = {},
                      .place = place};
    auto status = ExitStatus::done;
    const FileDescriptor said(::memfd_create("said", MFD_CLOEXEC));
    Diagnostics diagnostics(said.number(), Diagnostics::Level::normal);
    (void)captured([&](Output &output) { status = makeCommand(arguments, output, diagnostics); });
    said_.resize(10'000);
    const ssize_t size = ::pread(said.number(), said_.data(), said_.size(), 0);
    said_.resize(static_cast<std::size_t>(size));
    return status;
  }

  const TemporaryDirectory directory_;
  std::string executable_ = directory_.writeFile("draw", describing("F\tA\tA\ti\n"), 0755);
  std::string said_;
};

TEST_F(MakeCommand, MakesNoWrapperOfAProgramThatDescribesItself) {
  directory_.makeDirectory("apps");
  for (const auto order : {OrderedListings::Order::ascending, OrderedListings::Order::descending}) {
    OrderedListings listings(order);
    const ScopedOperatingSystem scope(listings);
    EXPECT_EQ(make("wrapper", directory_.path("apps")), ExitStatus::no);
    EXPECT_THAT(said_, HasSubstr(directory_.path("apps/Draw.app/Draw") + ": warning: "));
    EXPECT_TRUE(std::filesystem::is_empty(directory_.path("apps")));
  }
}

TEST_F(MakeCommand, MakesNoHeaderForAProgramThatIsDescribedAlready) {
  for (const char *description : {"Resources/Info-quorvale.plist", "registry.table"}) {
    const std::string wrapper = std::string(description) == "registry.table" ? "A.app" : "B.app";
    directory_.writeFile(wrapper + "/" + description, "{}");
    executable_ = directory_.writeFile(wrapper + "/Draw", "program", 0755);
    EXPECT_EQ(make("header", directory_.path("header")), ExitStatus::no) << description;
    EXPECT_THAT(said_, HasSubstr(executable_ + ": its wrapper has a description"));
    EXPECT_FALSE(std::filesystem::exists(directory_.path("header")));
  }
}

TEST_F(MakeCommand, MakesAHeaderForAProgramOfAWrapperThatHasNoDescription) {
  executable_ = directory_.writeFile("A.app/A", "program", 0755);
  EXPECT_EQ(make("header", directory_.path("header")), ExitStatus::done);
  EXPECT_TRUE(std::filesystem::exists(directory_.path("header")));
}

} // namespace
} // namespace tesker::test
