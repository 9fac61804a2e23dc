#include "protocol/AuthenticationGate.h"
#include "tests/ports/RawSockets.h"

#include <gtest/gtest.h>

namespace tesker::test {
namespace {

class AuthenticationGateTest : public ::testing::Test {
protected:
  AuthenticationGateTest()
      : gate_(std::move(*AuthenticationGate::before(std::move(master_.near)))),
        library_(gate_.takeLibraryEnd()) {}

  // What the library could read now; "(end)" at the end, "(nothing)" where it would have to wait.
  std::string forTheLibrary() {
    gate_.pass();
    char bytes[256];
    const ssize_t size = ::recv(library_.number(), bytes, sizeof bytes, MSG_DONTWAIT);
    return size < 0    ? "(nothing)"
           : size == 0 ? "(end)"
                       : std::string(bytes, static_cast<std::size_t>(size));
  }

  SocketPair master_{SOCK_STREAM};
  AuthenticationGate gate_;
  FileDescriptor library_;
};

TEST_F(AuthenticationGateTest, PassesTheAnswersLineAndNothingBehindIt) {
  ASSERT_TRUE(sendRaw(master_.far.number(), "OK 0123\r\nl\1\r\n"));
  EXPECT_EQ(forTheLibrary(), "OK 0123\r\n");
  EXPECT_EQ(forTheLibrary(), "(nothing)");
  ASSERT_TRUE(gate_.open(library_.number()));
  EXPECT_EQ(receiveRaw(library_.number()).first, "l\1\r\n") << "what stayed comes from the socket";
}

TEST_F(AuthenticationGateTest, PassesAnAnswerInParts) {
  for (const char *part : {"OK", " 0123\r", "\n"}) {
    EXPECT_EQ(forTheLibrary(), "(nothing)");
    ASSERT_TRUE(sendRaw(master_.far.number(), part));
    EXPECT_EQ(forTheLibrary(), part);
  }
  ASSERT_TRUE(sendRaw(master_.far.number(), "more"));
  EXPECT_EQ(forTheLibrary(), "(nothing)");
}

TEST_F(AuthenticationGateTest, PassesTheEndOfTheSocket) {
  master_.far.reset();
  EXPECT_EQ(forTheLibrary(), "(end)");
}

TEST_F(AuthenticationGateTest, EndsWhereADescriptorComesAlong) {
  ASSERT_TRUE(sendRaw(master_.far.number(), "OK 0123\r\n", {STDIN_FILENO}));
  EXPECT_EQ(forTheLibrary(), "(end)");
}

} // namespace
} // namespace tesker::test
