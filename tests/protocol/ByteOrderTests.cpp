// Connections whose far side sends its messages in one byte order or the other, written by hand.

#include "tests/protocol/ConnectionPair.h"
#include "tests/protocol/WireMessage.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <thread>

namespace tesker {
namespace {

using test::Channels;
using test::Noted;
using test::RecordingClient;
using test::RecordingRoot;
using test::Requested;
using test::sendRaw;
using test::WireArguments;
using test::WireCall;
using test::wireMessage;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;

constexpr std::string_view kAccepted = "OK 0123456789abcdef0123456789abcdef\r\n";
constexpr WireCall kCarry{"/", "Tesker.Connection", "carry", "ay"};
constexpr WireCall kRequest{"/", "Tesker.ToolFinder", "findAppsInSearchPath_previous_for_",
                            "ayaayo"};

class MessagesIn : public testing::TestWithParam<std::endian> {
protected:
  static WireArguments arguments() { return WireArguments(GetParam()); }
  static std::string carry(std::string_view piece) {
    return wireMessage(kCarry, arguments().bytes(piece));
  }
  static WireArguments requestArguments(std::optional<std::string_view> previous) {
    return arguments().bytes("/p").optionalBytes(previous).string("/me");
  }
  static std::string request(std::optional<std::string_view> previous) {
    return wireMessage(kRequest, requestArguments(previous));
  }

  // Has the tool's side take what the master says, until what is waited for has come.
  bool toolTakes(const std::string &said, const std::function<bool()> &done) {
    tool->setRootObject(root);
    EXPECT_TRUE(sendRaw(channels.toTool.far.number(), std::string(kAccepted) + said));
    return test::pump(*tool, *tool, done);
  }
  bool toolTakesRequest(const std::string &said) {
    return toolTakes(said, [&] { return !root.requests.empty(); });
  }

  // What has come from the tool so far.
  std::string saidByTool() const {
    std::string said;
    pollfd waiting{channels.toMaster.near.number(), POLLIN, 0};
    while (::poll(&waiting, 1, 0) == 1)
      said += test::receiveRaw(waiting.fd).first;
    return said;
  }

  Channels channels;
  RecordingRoot root;
  RefPtr<NSConnection> tool = channels.toolSide();
};

INSTANTIATE_TEST_SUITE_P(ByteOrder, MessagesIn,
                         testing::Values(std::endian::little, std::endian::big),
                         [](const auto &order) {
                           return order.param == std::endian::big ? "BigEndian" : "LittleEndian";
                         });

TEST_P(MessagesIn, ARequestIsServed) {
  ASSERT_TRUE(toolTakesRequest(request("the previous text")));
  EXPECT_THAT(root.requests, ElementsAre(Requested{"path", "/p"_ns, "the previous text"_ns}));
}

// What comes right behind the authentication is not a part of it.
TEST_P(MessagesIn, ARequestMayHoldLineEnds) {
  const auto lines = arguments().bytes("/a\r\nb\r\n").optionalBytes(std::nullopt).string("/me");
  ASSERT_TRUE(toolTakesRequest(wireMessage(kRequest, lines)));
  EXPECT_THAT(root.requests, ElementsAre(Requested{"path", "/a\r\nb\r\n"_ns, nullptr}));
}

TEST_P(MessagesIn, NilAndTheEmptyTextAreToldApart) {
  ASSERT_TRUE(
      toolTakes(request(std::nullopt) + request(""), [&] { return root.requests.size() == 2; }));
  EXPECT_THAT(root.requests,
              ElementsAre(Requested{"path", "/p"_ns, nullptr}, Requested{"path", "/p"_ns, ""_ns}));
}

TEST_P(MessagesIn, CarriedPiecesStandBeforeTheNextText) {
  ASSERT_TRUE(toolTakesRequest(carry("one ") + carry("") + carry("two ") + request("three")));
  EXPECT_THAT(root.requests, ElementsAre(Requested{"path", "/p"_ns, "one two three"_ns}));
}

TEST_P(MessagesIn, ARequestIsAnsweredWhenAReplyIsAskedFor) {
  WireCall call = kRequest;
  call.wantsReply = true;
  ASSERT_TRUE(toolTakes(wireMessage(call, requestArguments(std::nullopt), 0x4711),
                        [&] { return !root.requests.empty() && !tool->hasUnsent(); }));
  EXPECT_THAT(saidByTool(), EndsWith(test::wireReply(std::endian::native, 0x4711)));
}

TEST_P(MessagesIn, TwoElementsWhereNoneOrOneMayStandAreAnInvalidArgument) {
  WireCall call = kRequest;
  call.wantsReply = true;
  const auto two = arguments().bytes("/p").number(10).bytes("a").bytes("b").string("/me");
  ASSERT_TRUE(toolTakesRequest(wireMessage(call, two) + request("next")));
  EXPECT_THAT(root.requests, ElementsAre(Requested{"path", "/p"_ns, "next"_ns}));
  EXPECT_THAT(saidByTool(), HasSubstr("org.freedesktop.DBus.Error.InvalidArgs"));
}

TEST_P(MessagesIn, AReplyToSelfEndsTheWaiting) {
  bool returned = false;
  root.onRequest = [&](const Requested &, FinderClient &client) {
    client.self();
    returned = true;
  };
  std::thread master([&] {
    std::string said;
    while (said.find("Tesker.Client") == std::string::npos)
      said += test::receiveRaw(channels.toMaster.near.number()).first;
    const std::size_t serial = said.find("BEGIN\r\n") + 7 + 8;
    std::uint32_t number = 0;
    said.copy(reinterpret_cast<char *>(&number), sizeof number, serial);
    EXPECT_TRUE(sendRaw(channels.toTool.far.number(), test::wireReply(GetParam(), number)));
  });
  EXPECT_TRUE(toolTakesRequest(request(std::nullopt)));
  master.join();
  EXPECT_TRUE(returned);
  EXPECT_TRUE(tool->isValid());
}

TEST_P(MessagesIn, AnAnswerIsBroughtToTheClientThatAsked) {
  constexpr WireCall note{"/client/1", "Tesker.Client", "noteLines_for_", "aayay"};
  constexpr WireCall self{"/client/1", "Tesker.Client", "self", "", true};
  Channels others;
  const auto client = RecordingClient::create();
  const auto master = others.masterSide();
  master->rootProxy().findAppsInSearchPath("/p"_ns, nullptr, client);
  // The tool speaks by hand.
  EXPECT_TRUE(sendRaw(others.toMaster.far.number(),
                      std::string("\0AUTH ANONYMOUS\r\nBEGIN\r\n", 24) + carry("a long ") +
                          wireMessage(note, arguments().optionalBytes("text").bytes("/p")) +
                          wireMessage(self, arguments())));
  ASSERT_TRUE(test::pump(*master, *master, [&] { return client->selfCalls == 1; }));
  EXPECT_THAT(client->noted, ElementsAre(Noted{"a long text"_ns, "/p"_ns}));
}

} // namespace
} // namespace tesker
