// What a hostile tool says to its master on the bus, byte by byte.

#include "parsing/RecordEncoding.h"
#include "tests/master/FakeToolSteps.h"
#include "tests/master/FakeToolWays.h"
#include "tests/ports/RawSockets.h"
#include "tests/protocol/WireMessage.h"

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <iostream>
#include <sstream>
#include <string>
#include <string_view>
#include <thread>
#include <unistd.h>

namespace tesker::fake_tool {

namespace {

using test::WireArguments;
using test::wireMessage;

constexpr const char *kClient = "/client/1";
constexpr std::string_view kPath = "/tmp";

WireArguments arguments(std::endian order = std::endian::native) { return WireArguments(order); }

std::string note(std::optional<std::string_view> text, std::string_view key = kPath) {
  return wireMessage({kClient, "Tesker.Client", "noteLines_for_", "aayay"},
                     arguments().optionalBytes(text).bytes(key));
}

std::string carry(std::string_view piece) {
  return wireMessage({"/", "Tesker.Connection", "carry", "ay"}, arguments().bytes(piece));
}

std::string progress(std::string_view path, std::string_view directory,
                     std::endian order = std::endian::native, bool wantsReply = false) {
  return wireMessage({kClient, "Tesker.Client", "noteProgress", "tttayay", wantsReply},
                     arguments(order)
                         .large(12)
                         .large((std::uint64_t{1} << 32) + 345)
                         .large(6)
                         .bytes(path)
                         .bytes(directory),
                     9);
}

std::endian otherOrder() {
  return std::endian::native == std::endian::little ? std::endian::big : std::endian::little;
}

std::string self() {
  return wireMessage({kClient, "Tesker.Client", "self", "", true}, arguments(), 9);
}

std::string ping() {
  return wireMessage({"/", "org.freedesktop.DBus.Peer", "Ping", "", true}, arguments(), 9);
}

// A message with one byte, or one word, of its header changed.
std::string with(std::string message, std::size_t at, char byte) {
  message[at] = byte;
  return message;
}
std::string withWord(std::string message, std::size_t at, std::uint32_t word) {
  return message.replace(at, 4, reinterpret_cast<const char *>(&word), 4);
}

// After a good beginning, with the request there: a master that writes to a tool which has ended
// already takes nothing of what that one has sent.
port_t begunBus() {
  port_t ownPort = PORT_NULL;
  const port_t port = beginBus(ownPort);
  (void)test::receiveRaw(receiveDescriptor(ownPort));
  const int descriptor = sendDescriptor(port);
  ::fcntl(descriptor, F_SETFL, ::fcntl(descriptor, F_GETFL) & ~O_NONBLOCK);
  return port;
}

Way saying(const std::string &bytes, const Way &afterwards = hang) {
  return [bytes, afterwards] {
    say(begunBus(), bytes);
    afterwards();
  };
}

// So many records without a pair.
std::string emptyRecords(std::size_t count) {
  std::ostringstream text;
  text << '(' << std::hex << count;
  for (std::size_t i = 0; i < count; ++i)
    text << ",0";
  return text.str() + ')';
}

// Long before the answer there is a line in the log.
void logAndAnswerLater(std::string_view answer) {
  port_t ownPort = PORT_NULL;
  const port_t port = beginBus(ownPort);
  (void)test::receiveRaw(receiveDescriptor(ownPort)); // the request: both sides are at work
  std::cerr << "more follows" << std::endl;
  std::this_thread::sleep_for(std::chrono::milliseconds(200));
  say(port, note(answer));
  std::exit(0);
}

Way sayingWithoutEnd(const std::string &message) {
  return [message] {
    const port_t port = begunBus();
    std::string much = message;
    while (much.size() < 65536)
      much += message;
    for (;;)
      say(port, much);
  };
}

// In place of the authentication.
Way authenticating(std::string_view bytes, const Way &afterwards = hang) {
  return [bytes = std::string(bytes), afterwards] {
    port_t own = PORT_NULL;
    say(handOver(own), bytes);
    afterwards();
  };
}

void endlessAuthentication() {
  port_t own = PORT_NULL;
  const port_t port = handOver(own);
  say(port, std::string_view("\0", 1));
  for (;;)
    say(port, "AUTH EXTERNAL 30\r\n");
}

void closeOne(bool input) {
  port_t own = PORT_NULL;
  const port_t port = handOver(own);
  port_deallocate(input ? own : port);
  hang();
}

void sendDescriptorOnBus() {
  const port_t port = begunBus();
  (void)test::sendRaw(sendDescriptor(port), "l", {STDIN_FILENO});
  hang();
}

} // namespace

const Ways &hostileBusWays() {
  using namespace std::string_view_literals;
  static const std::string good = note("(0)");
  static const Ways ways{
      {"auth-nothing", authenticating("")},
      {"auth-half", authenticating("\0AUTH ANON"sv)},
      {"auth-half-and-exit", authenticating("\0AUTH ANON"sv, [] { std::exit(0); })},
      {"auth-without-nul", authenticating("AUTH ANONYMOUS\r\nBEGIN\r\n")},
      {"auth-begin-first", authenticating("\0BEGIN\r\n"sv)},
      {"auth-unknown", authenticating("\0AUTH MAGIC 00\r\n"sv)},
      {"auth-endless-line", authenticating('\0' + std::string(200000, 'A'))},
      {"auth-without-end", endlessAuthentication},
      {"auth-for-descriptors",
       authenticating("\0AUTH ANONYMOUS\r\nNEGOTIATE_UNIX_FD\r\nBEGIN\r\n"sv)},
      {"auth-and-nuls", authenticating(std::string(4096, '\0'))},
      {"close-its-input", [] { closeOne(true); }},
      {"close-its-output", [] { closeOne(false); }},
      {"send-a-descriptor-on-the-bus", sendDescriptorOnBus},
      {"half-a-header", saying(good.substr(0, 10))},
      {"half-a-message", saying(good.substr(0, good.size() - 1))},
      {"half-a-message-and-exit", saying(good.substr(0, good.size() - 1), [] { std::exit(0); })},
      {"huge-body-announced", saying(withWord(good, 4, 0x7fffffff))},
      {"large-body-announced", saying(withWord(good, 4, std::uint32_t{100} << 20))},
      {"huge-header-announced", saying(withWord(good, 12, 0x7fffffff))},
      {"wrong-order-mark", saying(with(good, 0, 'x'))},
      {"wrong-version", saying(with(good, 3, 9))},
      {"wrong-type", saying(with(good, 1, 77))},
      {"no-serial", saying(withWord(good, 8, 0))},
      {"wrong-body-length", saying(withWord(good, 4, 3))},
      {"wrong-signature", saying(wireMessage({kClient, "Tesker.Client", "noteLines_for_", "s"},
                                             arguments().string("(0)")))},
      {"two-texts", saying(wireMessage({kClient, "Tesker.Client", "noteLines_for_", "aayay"},
                                       arguments().number(13).bytes("a").bytes("b").bytes(kPath)))},
      {"array-beyond-the-message",
       saying(wireMessage({kClient, "Tesker.Client", "noteLines_for_", "aayay"},
                          arguments().number(0x3000000).number(1)))},
      {"unknown-client",
       saying(wireMessage({"/client/9", "Tesker.Client", "noteLines_for_", "aayay"},
                          arguments().optionalBytes("(0)").bytes(kPath)))},
      {"unknown-member", saying(wireMessage({kClient, "Tesker.Client", "die", ""}, arguments()))},
      {"unknown-interface",
       saying(wireMessage({kClient, "Tesker.Other", "self", ""}, arguments()))},
      {"ask-the-master-to-search",
       saying(
           wireMessage({"/", "Tesker.ToolFinder", "findAppsInSearchPath_previous_for_", "ayaayo"},
                       arguments().bytes("/").optionalBytes({}).string("/c")))},
      {"unasked-reply", saying(test::wireReply(std::endian::native, 4711))},
      {"self-first-and-exit", saying(self(), [] { std::exit(0); })},
      {"self-without-end", sayingWithoutEnd(self())},
      {"ping-without-end", sayingWithoutEnd(ping())},
      {"unknown-without-end",
       sayingWithoutEnd(wireMessage({"/" + std::string(60000, 'p'), "Tesker.Other", "x", "", true},
                                    arguments(), 5))},
      {"long-names-without-end",
       sayingWithoutEnd(wireMessage({"/", "org.freedesktop.DBus.Properties", "GetAll", "s", true},
                                    arguments().string(std::string(1 << 20, 'n')), 5))},
      {"carry-and-hang", saying(carry("piece"))},
      {"carry-garbage", saying(carry("gar") + note("bage"), [] { std::exit(0); })},
      {"carry-wrong-signature",
       saying(wireMessage({"/", "Tesker.Connection", "carry", "s"}, arguments().string("x")))},
      {"carry-without-end", sayingWithoutEnd(carry(std::string(1 << 20, 'c')))},
      {"progress-in-the-other-order", saying(progress(kPath, "/tmp/below", otherOrder()))},
      {"progress-of-long-paths",
       saying(progress(kPath, std::string(4096, 'd')) + progress(std::string(4097, 'p'), "") +
              progress(kPath, std::string(4097, 'd'), otherOrder()))},
      {"progress-wrong-signature",
       saying(
           wireMessage({kClient, "Tesker.Client", "noteProgress", "s"}, arguments().string("x")))},
      {"progress-without-end", sayingWithoutEnd(progress(kPath, "/tmp/below"))},
      {"progress-of-megabytes-without-end",
       [] { sayingWithoutEnd(progress(std::string(8 << 20, 'p'), "/tmp"))(); }},
      {"progress-for-replies-without-end",
       sayingWithoutEnd(progress(kPath, "/tmp/below", std::endian::native, true))},
      {"progress-after-the-answer",
       saying(good + progress(kPath, "/tmp/below"), [] { std::exit(0); })},
      {"another-key", saying(note("(0)", "/elsewhere"))},
      {"no-key", saying(note("(0)", ""))},
      {"huge-key", saying(note("(0)", std::string(std::size_t{30} << 20, 'k')))},
      {"nil-unasked", saying(note({}))},
      {"empty-text", saying(note(""), [] { std::exit(0); })},
      {"only-nuls", saying(note(std::string(1 << 20, '\0')), [] { std::exit(0); })},
      {"a-count-beyond-reason", saying(note("(7fffffff)"), [] { std::exit(0); })},
      {"more-records-than-allowed",
       [] { saying(note(emptyRecords(kMostRecords + 1)), [] { std::exit(0); })(); }},
      {"two-thousand-records-late", [] { logAndAnswerLater(emptyRecords(2000)); }},
      {"an-index-beyond-reason",
       saying(note("a\0(1,1,ffffffffffffffffff,0)"sv), [] { std::exit(0); })},
      {"many-brackets", saying(note(std::string(1 << 20, '(')), [] { std::exit(0); })},
      {"twice", saying(good + good)},
      {"twice-with-self", saying(good + self() + good)},
      {"answer-and-close",
       [] {
         port_deallocate([] {
           const port_t port = begunBus();
           say(port, good);
           return port;
         }());
         hang();
       }},
      {"answer-and-die", saying(good, [] { ::raise(SIGKILL); })},
      {"answer-and-garbage", saying(good + std::string(100, '\xfe'))},
      {"answer-and-exit", saying(good, [] { std::exit(0); })},
      {"answer-in-the-other-order",
       saying(wireMessage({kClient, "Tesker.Client", "noteLines_for_", "aayay"},
                          arguments(otherOrder()).optionalBytes("(0)").bytes(kPath)),
              [] { std::exit(0); })},
  };
  return ways;
}

} // namespace tesker::fake_tool
