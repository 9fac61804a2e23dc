#include "tests/tool/HostileMasters.h"

#include "tests/ports/RawSockets.h"
#include "tests/protocol/WireMessage.h"

#include <cerrno>
#include <optional>
#include <poll.h>
#include <sys/resource.h>
#include <sys/socket.h>

namespace tesker::test {

void HandMadeMaster::handOver() {
  const port_t tool = steps.receivePort().port;
  fromTool = takeReceiveRight(steps.sendPort(tool, 79));
  toTool = takeSendRight(tool);
}

void HandMadeMaster::authenticate() {
  handOver();
  say("OK 0123456789abcdef0123456789abcdef\r\n");
}

void HandMadeMaster::say(std::string_view bytes, bool reads) {
  for (int idle = 0; !bytes.empty() && idle < 2;) {
    if (reads)
      drain();
    const ssize_t sent =
        ::send(toTool.number(), bytes.data(), bytes.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
    if (sent > 0) {
      bytes.remove_prefix(static_cast<std::size_t>(sent));
      idle = 0;
    } else if (errno != EAGAIN) {
      return;
    } else {
      pollfd descriptors[] = {{toTool.number(), POLLOUT, 0},
                              {reads ? fromTool.number() : -1, POLLIN, 0}};
      idle = ::poll(descriptors, 2, 1000) > 0 ? 0 : idle + 1;
    }
  }
}

void HandMadeMaster::drain() const {
  char bytes[65536];
  while (::recv(fromTool.number(), bytes, sizeof bytes, MSG_DONTWAIT) > 0) {
  }
}

void HandMadeMaster::awaitWord() const {
  pollfd word{fromTool.number(), POLLIN, 0};
  (void)::poll(&word, 1, 1000);
}

void HandMadeMaster::leave() {
  toTool.reset();
  fromTool.reset();
  steps.forgetTools();
}

std::string dockRequest(std::string_view paths) {
  return wireMessage(
      {"/", "Tesker.ToolFinder", "findAppsForDockPaths_previous_for_", "ayaayo"},
      WireArguments(std::endian::native).bytes(paths).optionalBytes({}).string("/c"));
}

namespace {

using Deed = std::function<void(HandMadeMaster &)>;

WireArguments arguments() { return WireArguments(std::endian::native); }

std::string request(std::string_view path, std::optional<std::string_view> previous = {},
                    std::string_view client = "/c", bool wantsReply = false) {
  return wireMessage(
      {"/", "Tesker.ToolFinder", "findAppsInSearchPath_previous_for_", "ayaayo", wantsReply},
      arguments().bytes(path).optionalBytes(previous).string(client));
}

std::string carry(std::string_view piece) {
  return wireMessage({"/", "Tesker.Connection", "carry", "ay"}, arguments().bytes(piece));
}

std::string asking(std::string_view path, std::string_view interface, std::string_view member) {
  return wireMessage({path, interface, member, "", true}, arguments(), 7);
}

std::string withWord(std::string message, std::size_t at, std::uint32_t word) {
  return message.replace(at, 4, reinterpret_cast<const char *>(&word), 4);
}

std::string times(int count, const std::string &text) {
  std::string all;
  for (int i = 0; i < count; ++i)
    all += text;
  return all;
}

// ---- what they do in the hand-over ----

Deed answering(const std::string &bytes, int descriptors = 1, int type = SOCK_STREAM) {
  return [=](HandMadeMaster &master) {
    const SocketPair first(type), second(type);
    std::vector<int> carried{first.far.number(), second.far.number()};
    carried.resize(static_cast<std::size_t>(descriptors));
    master.steps.sendBytes(master.steps.receivePort().port, bytes, carried);
  };
}

// ---- and on the bus ----

// Made when they are said, for the tool begins with as much memory as this process has.
Deed saying(const std::function<std::string()> &bytes, bool reads = true) {
  return [=](HandMadeMaster &master) {
    master.authenticate();
    master.say(bytes(), reads);
    master.awaitWord();
  };
}

Deed inPlaceOfTheAuthentication(const std::string &bytes) {
  return [=](HandMadeMaster &master) {
    master.handOver();
    master.say(bytes);
  };
}

} // namespace

const std::vector<HostileMasterKind> &hostileMasters() {
  static const std::vector<HostileMasterKind> masters{
      {"DoesNotAccept", [](HandMadeMaster &) {}},
      {"NeverAnswers", [](HandMadeMaster &master) { (void)master.steps.receivePort(); }},
      {"AnswersHalf", answering(messageText(79).substr(0, 16))},
      {"AnswersZeros", answering(std::string(32, '\0'))},
      {"AnswersAnotherNumber", answering(messageText(80))},
      {"AnswersManyOtherNumbers", answering(times(100, messageText(80)))},
      {"SendsNoDescriptor", answering(messageText(79), 0)},
      {"SendsTwoDescriptors", answering(messageText(79), 2)},
      {"SendsAPacketSocket", answering(messageText(79), 1, SOCK_SEQPACKET)},
      {"SendsADatagramSocket", answering(messageText(79), 1, SOCK_DGRAM)},
      {"SaysNothingOnTheBus", [](HandMadeMaster &master) { master.handOver(); }},
      {"RefusesTheAuthentication", inPlaceOfTheAuthentication("REJECTED EXTERNAL\r\n")},
      {"AnswersTheAuthenticationHalf", inPlaceOfTheAuthentication("OK 0123")},
      {"AnswersTheAuthenticationWithGarbage",
       inPlaceOfTheAuthentication(std::string(5000, '\xfe'))},
      {"AnswersTheAuthenticationWithoutEnd", inPlaceOfTheAuthentication(std::string(1 << 20, 'x'))},
      {"GoesWithoutARequest", [](HandMadeMaster &master) { master.authenticate(); }},
      {"SaysGarbage", saying([] { return std::string(100, '\x7f'); })},
      {"SaysHalfAHeader", saying([] { return request("/nowhere").substr(0, 9); })},
      {"SaysHalfARequest", saying([] { return request("/nowhere").substr(0, 100); })},
      {"AnnouncesAHugeBody", saying([] { return withWord(request("/nowhere"), 4, 0x7fffffff); })},
      {"AnnouncesALargeBody",
       saying([] { return withWord(request("/nowhere"), 4, std::uint32_t{100} << 20); })},
      {"AnnouncesAHugeHeader",
       saying([] { return withWord(request("/nowhere"), 12, 0x7fffffff); })},
      {"AnnouncesTooShortABody", saying([] { return withWord(request("/nowhere"), 4, 3); })},
      {"AsksWithAWrongSignature", saying([] {
         return wireMessage({"/", "Tesker.ToolFinder", "findAppsInSearchPath_previous_for_", "s"},
                            arguments().string("/nowhere"));
       })},
      {"AsksForAClientThatIsNoPath", saying([] { return request("/nowhere", {}, "no path"); })},
      {"AsksForAClientFarTooLong",
       saying([] { return request("/nowhere", {}, "/" + std::string(100000, 'c')); })},
      {"CallsWhatIsUnknown",
       saying([] { return times(1000, asking("/", "Tesker.Unknown", "die")); })},
      {"AsksWithoutEndAndReadsNothing",
       saying([] { return times(100000, asking("/", "org.freedesktop.DBus.Peer", "Ping")); },
              false)},
      {"AsksLongQuestionsAndReadsNothing",
       saying(
           [] { return times(500, asking("/" + std::string(60000, 'p'), "Tesker.Unknown", "x")); },
           false)},
      {"CallsTheClientOfTheTool",
       saying([] { return asking("/client/1", "Tesker.Client", "self"); })},
      {"RepliesWithoutBeingAsked",
       saying([] { return times(1000, wireReply(std::endian::native, 4711)); })},
      {"CarriesEmptyPieces", saying([] { return times(10000, carry("")); })},
      {"CarriesAndGoes", saying([] { return carry(std::string(std::size_t{8} << 20, 'c')); })},
      {"AsksForAHugePath",
       saying([] { return request('/' + std::string(std::size_t{30} << 20, 'p')); }),
       kEitherStatus},
      {"AsksForAPathOfSlashes",
       saying([] { return request(std::string(std::size_t{1} << 20, '/')); }), kEitherStatus},
      {"AsksForAPathOfNuls",
       saying([] { return request('/' + std::string(std::size_t{1} << 20, '\0')); }),
       kEitherStatus},
      {"BringsAHugePrevious",
       saying([] { return request("/nowhere", std::string(std::size_t{30} << 20, 'x')); }),
       kEitherStatus},
      {"AsksForADockOfSeparators",
       saying([] { return dockRequest(std::string(std::size_t{20} << 20, '\0')); })},
      {"AsksForADockOfMany",
       saying([] { return dockRequest(times(9999, std::string("/n\0", 3))); }), kEitherStatus},
      {"AsksTwice", saying([] { return times(2, request("/nowhere")); }), kEitherStatus},
      {"AsksAThousandTimes",
       saying([] { return times(1000, request("/nowhere", {}, "/c", true)); }), kEitherStatus},
      {"AsksAndNeverReads", saying([] { return request("/nowhere"); }, false), kEitherStatus},
      {"SendsADescriptorOnTheBus",
       [](HandMadeMaster &master) {
         master.authenticate();
         (void)sendRaw(master.toTool.number(), "l", {STDIN_FILENO});
       }},
      {"ClosesWhatTheToolWritesTo",
       [](HandMadeMaster &master) {
         master.authenticate();
         master.fromTool.reset();
       }},
      {"ClosesWhatTheToolReadsFrom",
       [](HandMadeMaster &master) {
         master.authenticate();
         master.toTool.reset();
       }},
      {"GoesBeforeTheSearch",
       [](HandMadeMaster &master) {
         master.authenticate();
         master.steps.goAway();
         master.say(request("/nowhere"));
         master.awaitWord();
         master.drain();
         master.awaitWord();
       },
       255},
  };
  return masters;
}

int exitStatusFacing(const HostileMasterKind &hostile) {
  HandMadeMaster master;
  ToolUnderTest tool(master.steps.directory(), [] {
    const struct rlimit noCore { 0, 0 };
    ::setrlimit(RLIMIT_CORE, &noCore);
  });
  hostile.deed(master);
  master.leave();
  (void)tool.logLines();
  return tool.exitStatus();
}

} // namespace tesker::test
