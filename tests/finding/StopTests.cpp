// A walk that is asked to end early.
#include "examples/MachOWriter.h"
#include "finding/ApplicationFinder.h"
#include "finding/StopRequest.h"
#include "tests/support/CountingOperatingSystem.h"
#include "tests/support/LogCapture.h"
#include "tests/support/TemporaryDirectory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace tesker::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

std::string describingItself(std::string_view name) {
  const std::string header = "F\t" + std::string(name) + "\tApplication\ticon\n";
  return examples::MachOWriter(examples::kI386).addSection("__ICON", "__header", header).bytes();
}

class Stop : public testing::Test {
protected:
  // The answer for the tree, which is asked to stop at that look whether the master lives.
  NSString answer(int stopAt, const NSString &previous = nullptr) {
    int looks = 0;
    const ApplicationFinder finder(
        [&] {
          if (++looks == stopAt)
            stop_.ask();
        },
        {}, {.stop = &stop_});
    return finder.findAppsInSearchPath(NSString::create(directory_.path("tree")), previous);
  }

  LogCapture log_;
  const TemporaryDirectory directory_;
  StopRequest stop_;
};

TEST_F(Stop, LeavesOutWhatComesAndSaysSo) {
  directory_.writeFile("tree/a/one", describingItself("One"), 0755);
  directory_.writeFile("tree/a/b/two", describingItself("Two"), 0755);
  directory_.writeFile("tree/c/three", describingItself("Three"), 0755);
  const NSString whole = answer(0);
  EXPECT_FALSE(stop_.wasObeyed());
  EXPECT_THAT(log_.syslogged, IsEmpty());
  // At the path itself, its listing, and those of two of the others.
  const NSString part = answer(5);
  EXPECT_TRUE(stop_.wasObeyed());
  EXPECT_THAT(std::string(part.bytes()), HasSubstr("app"));
  EXPECT_LT(part.length(), whole.length());
  EXPECT_THAT(log_.syslogged,
              ElementsAre("*** Applications Finder: incomplete: the search was stopped"));
}

TEST_F(Stop, BeforeTheFirstPathLeavesOutEverything) {
  directory_.writeFile("tree/one", describingItself("One"), 0755);
  stop_.ask();
  EXPECT_EQ(answer(0).bytes(), "(0)");
  EXPECT_TRUE(stop_.wasObeyed());
}

TEST_F(Stop, AnAnswerInPartIsNeverCalledUnchanged) {
  directory_.writeFile("tree/one", describingItself("One"), 0755);
  stop_.ask();
  EXPECT_EQ(answer(0, "(0)"_ns).bytes(), "(0)");
}

TEST_F(Stop, AfterTheLastEntryChangesNothing) {
  directory_.makeDirectory("tree");
  EXPECT_FALSE(answer(2, "(0)"_ns)); // asked at the listing of what is empty
  EXPECT_FALSE(stop_.wasObeyed());
  EXPECT_THAT(log_.syslogged, IsEmpty());
}

TEST_F(Stop, EndsTheExaminationOfALargeDirectory) {
  for (int i = 0; i < 3000; ++i)
    directory_.writeFile("tree/" + std::to_string(i), "");
  CountingOperatingSystem system;
  const ScopedOperatingSystem scope(system);
  EXPECT_EQ(answer(2).bytes(), "(0)");
  EXPECT_TRUE(stop_.wasObeyed());
  EXPECT_LT(system.count("statAt"), 1100U);
}

} // namespace
} // namespace tesker::test
