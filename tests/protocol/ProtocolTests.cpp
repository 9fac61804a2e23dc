// The tool's side of the connection against a master that speaks D-Bus by itself.

#include "protocol/NSRunLoop.h"
#include "tests/protocol/ConnectionPair.h"
#include "tests/protocol/WireMessage.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <regex>

namespace tesker {
namespace {

using test::BusPeer;
using test::Channels;
using test::pump;
using test::RecordingRoot;
using test::Requested;
using testing::ElementsAre;

constexpr const char *kInvalidArguments = "org.freedesktop.DBus.Error.InvalidArgs";
constexpr std::size_t kCarryLimit = 1000;

class Protocol : public testing::Test {
protected:
  Protocol() { tool->setRootObject(root); }

  bool pumpUntil(const std::function<bool()> &done) { return pump(*tool, master, done); }
  bool pumpUntilAnswered(std::size_t count = 1) {
    return pumpUntil([&] { return master.answers.size() == count; });
  }
  // Sends a good request; what was sent before has been taken when it arrives.
  NSString previousOfNextRequest(std::optional<std::string_view> own) {
    const std::size_t before = root.requests.size();
    master.tell(master.request(own));
    EXPECT_TRUE(pumpUntil([&] { return root.requests.size() > before; }));
    return root.requests.empty() ? "no request"_ns : root.requests.back().previous;
  }

  // A request that the library would not send.
  void sendByHand(std::string_view client) {
    ASSERT_TRUE(pumpUntil([&] { return sd_bus_is_ready(master.bus()) > 0; }));
    master.ask(master.call("org.freedesktop.DBus.Peer", "Ping"));
    ASSERT_TRUE(pumpUntilAnswered());
    std::string bytes = test::wireMessage(
        {"/", "Tesker.ToolFinder", "findAppsInSearchPath_previous_for_", "ayaayo"},
        test::WireArguments(std::endian::native).bytes("/p").optionalBytes({}).string(client), 99);
    ASSERT_TRUE(test::sendRaw(master.output(), bytes));
  }

  Channels channels;
  RecordingRoot root;
  RefPtr<NSConnection> tool = channels.toolSide(kCarryLimit);
  BusPeer master{channels};
};

TEST_F(Protocol, ARequestIsAnsweredWhenAReplyIsAskedFor) {
  master.ask(master.request("old"));
  ASSERT_TRUE(pumpUntilAnswered());
  EXPECT_THAT(master.answers, ElementsAre(""));
  EXPECT_THAT(root.requests, ElementsAre(Requested{"path", "/p"_ns, "old"_ns}));
}

TEST_F(Protocol, ARequestThatAsksForNoReplyGetsNone) {
  const auto request = master.request("old");
  master.tell(request);
  ASSERT_TRUE(pumpUntil([&] { return root.requests.size() == 1; }));
  int replies = 0;
  const auto count = [](sd_bus_message *message, void *data, sd_bus_error *) {
    std::uint8_t type = 0;
    sd_bus_message_get_type(message, &type);
    *static_cast<int *>(data) += type == SD_BUS_MESSAGE_METHOD_CALL ? 0 : 1;
    return 0;
  };
  sd_bus_add_filter(master.bus(), nullptr, count, &replies);
  master.ask(master.request(std::nullopt));
  ASSERT_TRUE(pumpUntilAnswered());
  EXPECT_EQ(replies, 0); // but the awaited one, which filters do not see
}

TEST_F(Protocol, AWrongSignatureIsAnInvalidArgument) {
  const auto message = master.call("Tesker.ToolFinder", "findAppsInSearchPath_previous_for_");
  sd_bus_message_append(message, "sso", "/p", "", "/me");
  master.ask(message);
  ASSERT_TRUE(pumpUntilAnswered());
  EXPECT_THAT(master.answers, ElementsAre(kInvalidArguments));
  EXPECT_TRUE(root.requests.empty());
  EXPECT_EQ(previousOfNextRequest("next"), "next"_ns); // the run loop goes on
}

TEST_F(Protocol, TwoElementsWhereNoneOrOneMayStandAreAnInvalidArgument) {
  const auto message = master.call("Tesker.ToolFinder", "findAppsForDockPaths_previous_for_");
  sd_bus_message_append(message, "ayaayo", 1, 'p', 2, 1, 'a', 1, 'b', "/me");
  master.ask(message);
  ASSERT_TRUE(pumpUntilAnswered());
  EXPECT_THAT(master.answers, ElementsAre(kInvalidArguments));
  EXPECT_TRUE(root.requests.empty());
  EXPECT_EQ(previousOfNextRequest("next"), "next"_ns);
}

TEST_F(Protocol, ARequestOfAClientWhosePathIsTooLongForThisSideEndsTheConnection) {
  const auto message = master.call("Tesker.ToolFinder", "findAppsInSearchPath_previous_for_");
  (void)appendText(message, "/p");
  (void)appendOptionalText(message, std::nullopt);
  const std::string path = '/' + std::string(100000, 'c');
  const bool sent = sd_bus_message_append(message, "o", path.c_str()) >= 0;
  if (sent)
    master.tell(message);
  else
    sendByHand(path);
  EXPECT_FALSE(pumpUntil([&] { return !master.isOpen() && tool->isValid(); }));
  EXPECT_FALSE(tool->isValid());
  EXPECT_TRUE(root.requests.empty());
}

TEST_F(Protocol, ARefusedCallDoesNotTakeWhatWasCarried) {
  master.carry("carried ");
  const auto message = master.call("Tesker.ToolFinder", "findAppsForDockPaths_previous_for_");
  sd_bus_message_append(message, "ayaayo", 1, 'p', 2, 1, 'a', 1, 'b', "/me");
  master.ask(message);
  EXPECT_EQ(previousOfNextRequest("own"), "carried own"_ns);
}

TEST_F(Protocol, WhatIsNotKnownIsAnErrorAndTheRunLoopGoesOn) {
  master.ask(master.call("Tesker.ToolFinder", "findNothing"));
  master.ask(master.call("Tesker.Unknown", "self"));
  master.ask(master.call("Tesker.ToolFinder", "self", "/elsewhere"));
  ASSERT_TRUE(pumpUntilAnswered(3));
  EXPECT_THAT(master.answers, ElementsAre("org.freedesktop.DBus.Error.UnknownMethod",
                                          "org.freedesktop.DBus.Error.UnknownMethod",
                                          "org.freedesktop.DBus.Error.UnknownObject"));
  EXPECT_EQ(previousOfNextRequest("next"), "next"_ns);
}

TEST_F(Protocol, CarriedPiecesStandBeforeTheNextTextInOrder) {
  master.carry("one ");
  master.carry("");
  master.carry("two ");
  EXPECT_EQ(previousOfNextRequest("three"), "one two three"_ns);
  EXPECT_EQ(previousOfNextRequest("alone"), "alone"_ns);
}

TEST_F(Protocol, NilAfterCarriedPiecesCountsAsEmpty) {
  master.carry("carried");
  EXPECT_EQ(previousOfNextRequest(std::nullopt), "carried"_ns);
  EXPECT_EQ(previousOfNextRequest(std::nullopt), NSString());
  master.carry("");
  EXPECT_EQ(previousOfNextRequest(std::nullopt), ""_ns);
}

TEST_F(Protocol, CarryIsAnsweredWhenAReplyIsAskedFor) {
  const auto message = master.call("Tesker.Connection", "carry");
  sd_bus_message_append(message, "ay", 1, 'x');
  master.ask(message);
  ASSERT_TRUE(pumpUntilAnswered());
  EXPECT_THAT(master.answers, ElementsAre(""));
  EXPECT_EQ(previousOfNextRequest("y"), "xy"_ns);
}

TEST_F(Protocol, CarryingAsMuchAsTheLimitIsTaken) {
  const std::string half(kCarryLimit / 2, '.');
  master.carry(half);
  master.carry(half);
  EXPECT_EQ(previousOfNextRequest("end"), NSString::create(half + half + "end"));
  master.carry(half + half);
  EXPECT_EQ(previousOfNextRequest("end"), NSString::create(half + half + "end"));
}

TEST_F(Protocol, CarryingMoreThanTheLimitEndsTheConnection) {
  master.carry(std::string(kCarryLimit, '.'));
  master.carry(".");
  EXPECT_FALSE(pumpUntil([&] { return !master.isOpen() && tool->isValid(); }));
  EXPECT_FALSE(tool->isValid());
  EXPECT_FALSE(master.isOpen()); // it sees the end
  EXPECT_TRUE(root.requests.empty());
}

TEST_F(Protocol, WhileARequestIsServedAFurtherOneIsRefused) {
  bool nested = false;
  root.onRequest = [&](const Requested &, FinderClient &) {
    master.ask(master.request("second"));
    // As a tool that waits for an answer does.
    nested = pumpUntil([&] { return master.answers.size() == 1; });
  };
  master.tell(master.request("first"));
  ASSERT_TRUE(pumpUntil([&] { return nested; }));
  EXPECT_THAT(master.answers, ElementsAre("org.freedesktop.DBus.Error.LimitsExceeded"));
  EXPECT_THAT(root.requests, ElementsAre(Requested{"path", "/p"_ns, "first"_ns}));
}

TEST_F(Protocol, TheObjectsAreTheDocumentedOnes) {
  std::string introspected;
  const auto keep = [](sd_bus_message *reply, void *text, sd_bus_error *) {
    const char *xml = nullptr;
    if (sd_bus_message_read(reply, "s", &xml) > 0)
      *static_cast<std::string *>(text) = xml;
    return 1;
  };
  sd_bus_call_async(master.bus(), nullptr,
                    master.call("org.freedesktop.DBus.Introspectable", "Introspect"), keep,
                    &introspected, UINT64_MAX);
  ASSERT_TRUE(pumpUntil([&] { return !introspected.empty(); }));

  std::ifstream file(TESKER_DOCUMENTS "/Tesker.ToolFinder.xml");
  const std::string whole{std::istreambuf_iterator<char>(file), {}};
  const auto interfaceOf = [](const std::string &xml, const std::string &name) {
    const std::size_t start = xml.find("<interface name=\"" + name + "\">");
    EXPECT_NE(start, std::string::npos) << name;
    if (start == std::string::npos)
      return std::string();
    const std::string text = xml.substr(start, xml.find("</interface>", start) - start);
    const std::string bare = std::regex_replace(text, std::regex("<!--[^>]*-->"), "");
    // What only generators of code read, the bus library cannot tell.
    const std::regex forGenerators(">\\s*<annotation name=\"org.gtk.[^>]*/>\\s*</arg>");
    const std::string wire = std::regex_replace(bare, forGenerators, "/>");
    return std::regex_replace(wire, std::regex("\\s+"), " ");
  };
  for (const char *name : {"Tesker.ToolFinder", "Tesker.Connection"})
    EXPECT_EQ(interfaceOf(introspected, name), interfaceOf(whole, name));
}

} // namespace
} // namespace tesker
