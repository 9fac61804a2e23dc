// BusFuzzer.cpp - either side of a connection that is told what the input says, until it ends.
//
// The input's first byte says which side it is and whether the far side authenticates properly
// before it says the rest; and in its other bits, what else is special (Special). A byte about that
// follows where there is one, then one that says in which pieces the far side says what it says.
#include "fuzz/Check.h"
#include "fuzz/FailingCalls.h"
#include "fuzz/Input.h"
#include "platform/foundation/NSException.h"
#include "protocol/FinderProtocol.h"
#include "protocol/NSRunLoop.h"
#include "tests/protocol/ConnectionPair.h"
#include "tests/support/AllocationCount.h"

#include <cstdint>
#include <optional>

using namespace tesker;

namespace {

constexpr std::size_t kMostBytes = 60000; // what a socket takes without a reader
// Not all is said in pieces: the bus library makes room for a whole message at each, which is
// expensive under AddressSanitizer only.
constexpr int kMostPieces = 16;
constexpr std::size_t kCarryLimit = 1000;  // within the reach of an input
constexpr std::size_t kMostSteps = 100000; // far more than a message a byte

// What bits 2 to 7 of the first byte stand for.
struct Special {
  Special(unsigned choice, Input &input)
      : failingAllocation(choice / 4 % 2 != 0 ? input.byte() : 0U),
        hasFewDescriptors(choice / 8 % 2 != 0), hasLargeTexts(choice / 16 % 2 != 0),
        hasSmallBuffer(choice / 32 % 2 != 0), isSaidLate(choice / 64 % 2 != 0),
        isBoth(choice / 128 % 2 != 0) {}

  unsigned failingAllocation; // 0: none
  bool hasFewDescriptors;     // as a connection begins
  bool hasLargeTexts;         // of more than a piece; a path that is too long
  bool hasSmallBuffer;        // for what this side writes
  bool isSaidLate;            // only when the tool waits for it
  bool isBoth;                // the tool asks as well
};

// The sockets of the far side, which hangs up by closing one of them: what it would read from if it
// does not read.
struct FarSide {
  const FileDescriptor &output, &input;
  bool neverReads;

  void hangUp() const {
    if (neverReads)
      ::shutdown(input.number(), SHUT_RDWR);
    else
      ::shutdown(output.number(), SHUT_WR);
  }
};

// Says the next piece whenever this side waits for one, and hangs up at the end, or when this side
// reads nothing.
class LateSpeaker final : public OperatingSystem {
public:
  LateSpeaker(const FarSide &far, Input input)
      : far_(far), piece_(input.byte() * 4U + 1), left_(input) {}

  int poll(struct pollfd *descriptors, nfds_t count, int milliseconds) override {
    if (milliseconds != 0 && !left_.isEmpty() && (descriptors[0].events & POLLIN) != 0)
      (void)test::sendRaw(far_.output.number(),
                          left_.take(++pieces_ < kMostPieces ? piece_ : kMostBytes));
    else if (milliseconds != 0)
      far_.hangUp();
    return OperatingSystem::poll(descriptors, count, milliseconds);
  }

private:
  const FarSide &far_;
  std::size_t piece_;
  int pieces_ = 0; // said so far
  Input left_;
};

// Takes the steps that there are to take.
void dispatch(NSConnection &connection) {
  std::size_t steps = 0;
  while (connection.dispatch())
    check(++steps < kMostSteps);
  if (!connection.isValid())
    return;
  std::vector<pollfd> descriptors;
  connection.appendPollDescriptors(descriptors);
  check(descriptors.size() == 2 && connection.pollTimeout() != 0); // it waits
}

const NSString &carriedText() {
  static const NSString text =
      NSString::takingOver(std::string(NSConnection::kLargestPiece + 1, 'x'));
  return text;
}

// A master asks both of its questions, on behalf of the same client.
void request(NSConnection &connection, const Special &special) {
  static const NSString large =
      NSString::takingOver(std::string(NSConnection::kLargestArgument + 1, 'x'));
  const auto client = test::RecordingClient::create();
  connection.rootProxy().findAppsInSearchPath(
      "/p"_ns, special.hasLargeTexts ? carriedText() : nullptr, client);
  connection.rootProxy().findAppsForDockPaths("/p"_ns, "(0)"_ns, client);
  check(connection.hasUnsent());
  if (!special.hasLargeTexts)
    return;
  try {
    connection.rootProxy().findAppsInSearchPath(large, nullptr, client);
    check(false);
  } catch (const NSException &exception) {
    check(exception.name() == NSInvalidArgumentException);
  }
}

// Says all of it and hangs up: some pieces first, then the rest.
void say(const FarSide &far, NSConnection &connection, Input input) {
  const std::size_t piece = input.byte();
  Input left(input.take(kMostBytes));
  for (int i = 0; i < kMostPieces && piece > 0 && connection.isValid() && !left.isEmpty(); ++i) {
    (void)test::sendRaw(far.output.number(), left.take(piece * 4));
    dispatch(connection);
  }
  (void)test::sendRaw(far.output.number(), left.rest());
  far.hangUp();
}

RefPtr<NSConnection> connect(test::Channels &channels, bool isTool, const Special &special) {
  const int own = (isTool ? channels.toMaster : channels.toTool).far.number();
  const FewDescriptors few(special.hasFewDescriptors ? 1 : 100);
  auto connection = isTool ? channels.toolSide(kCarryLimit) : channels.masterSide(kCarryLimit);
  const int smallest = 1; // the kernel makes it a few thousand; the library has made it large
  if (connection && special.hasSmallBuffer)
    check(::setsockopt(own, SOL_SOCKET, SO_SNDBUF, &smallest, sizeof smallest) == 0);
  return connection;
}

void authenticate(const FileDescriptor &output, bool isTool) {
  check(test::sendRaw(output.number(), isTool ? "OK 0123456789abcdef0123456789abcdef\r\n"
                                              : std::string("\0AUTH ANONYMOUS\r\nBEGIN\r\n", 24)));
}

void tryConnection(Input input) {
  const unsigned choice = input.byte();
  const bool isTool = choice % 2 == 0, authenticates = choice / 2 % 2 == 0;
  const Special special(choice, input);
  const auto withoutPorts = NSConnection::initWithReceivePort(NSPort::portWithMachPort(PORT_NULL),
                                                              NSPort::portWithMachPort(PORT_NULL));
  check(!withoutPorts);
  test::Channels channels;
  const auto connection = connect(channels, isTool, special);
  check(connection || (isTool && special.hasFewDescriptors));
  if (!connection)
    return;
  const FarSide far{isTool ? channels.toTool.far : channels.toMaster.far,
                    isTool ? channels.toMaster.near : channels.toTool.near, special.hasSmallBuffer};
  test::RecordingRoot root;
  bool hasHungUp = special.isSaidLate; // else waiting for an answer would never end
  root.onRequest = [&](const test::Requested &asked, FinderClient &asking) {
    if (countOfDockPaths(asked.paths.bytes()) > kMostDockPaths)
      return;
    asking.noteProgress({1, 2, 3, asked.paths, asked.previous});
    asking.noteLines(special.hasLargeTexts ? carriedText() : asked.previous, asked.paths);
    if (hasHungUp)
      asking.self();
  };
  if (isTool)
    connection->setRootObject(root);
  if (!isTool || special.isBoth)
    request(*connection, special);
  if (authenticates)
    authenticate(far.output, isTool);
  const test::FailingAllocation failing(special.failingAllocation);
  if (isTool && special.isSaidLate) {
    LateSpeaker speaker(far, input);
    const ScopedOperatingSystem scoped(speaker);
    NSRunLoop::currentRunLoop().run();
    return;
  }
  say(far, *connection, input);
  hasHungUp = true;
  if (isTool)
    NSRunLoop::currentRunLoop().run();
  check(test::pump(*connection, *connection, [&] { return !connection->isValid(); }));
  connection->rootProxy().findAppsInSearchPath("/p"_ns, nullptr, test::RecordingClient::create());
  check(!connection->hasUnsent());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  const auto before = test::openDescriptorCount();
  try {
    tryConnection(Input(data, size));
  } catch (const std::bad_alloc &) { // as wanted
  }
  check(test::openDescriptorCount() == before);
  return 0;
}
