#include "fuzz/FailingCalls.h"

#include "platform/foundation/Files.h"

#include <gtest/gtest.h>

#include <string_view>

namespace tesker {
namespace {

// Which of four calls fail.
std::string failures(std::string_view choice) {
  Input input(choice);
  FailingCalls calls(input);
  std::string failed;
  for (int i = 0; i < 4; ++i)
    failed += calls.access("/", F_OK) < 0 ? 'x' : '-';
  EXPECT_EQ(calls.hasFailed(), failed != "----");
  return failed;
}

TEST(FailingCalls, failTheOneThatWasChosen) { EXPECT_EQ(failures({"\2\0", 2}), "-x--"); }

TEST(FailingCalls, failAllFromTheOneThatWasChosen) { EXPECT_EQ(failures("\2\x80"), "-xxx"); }

TEST(FailingCalls, areAllMadeWhereNoneWasChosen) {
  EXPECT_EQ(failures({"\0\x80", 2}), "----");
  EXPECT_EQ(failures(""), "----");
}

TEST(FailingCalls, areThoseOfTheirOwnThreadOnly) {
  Input input(std::string_view("\1\x80"));
  FailingCalls calls(input);
  int result = -1;
  std::thread([&] { result = calls.access("/", F_OK); }).join();
  EXPECT_EQ(result, 0);
  EXPECT_EQ(calls.access("/", F_OK), -1);
}

TEST(FewDescriptors, leaveSoManyForAsLongAsTheyLive) {
  {
    const FewDescriptors few(2);
    EXPECT_TRUE(createPipe());
    const auto pipe = createPipe();
    EXPECT_EQ(createPipe().error(), EMFILE);
  }
  EXPECT_TRUE(createPipe());
}

} // namespace
} // namespace tesker
