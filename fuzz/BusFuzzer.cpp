// BusFuzzer.cpp - a connection of either side that is told what the input says, until it ends.
//
// The input's first byte says which side it is and whether the far side authenticates properly
// before it says the rest; the second, in which pieces it says it.
#include "fuzz/Check.h"
#include "fuzz/Input.h"
#include "protocol/NSRunLoop.h"
#include "tests/protocol/ConnectionPair.h"

#include <cstdint>

using namespace tesker;

namespace {

constexpr std::size_t kMostBytes = 60000; // what a socket takes without a reader
constexpr int kMostPieces = 16;
constexpr std::size_t kCarryLimit = 1000;  // within the reach of an input
constexpr std::size_t kMostSteps = 100000; // far more than a message a byte

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

// A master asks both of its questions, on behalf of the same client.
void request(NSConnection &connection) {
  const auto client = test::RecordingClient::create();
  connection.rootProxy().findAppsInSearchPath("/p"_ns, nullptr, client);
  connection.rootProxy().findAppsForDockPaths("/p"_ns, "(0)"_ns, client);
  check(connection.hasUnsent());
}

// Says all of it and hangs up: some pieces first, then the rest. Not all in pieces: the bus library
// makes room for a whole message each time, which is expensive under AddressSanitizer only.
void say(const FileDescriptor &output, NSConnection &connection, Input input) {
  const std::size_t piece = input.byte();
  Input left(input.take(kMostBytes));
  for (int i = 0; i < kMostPieces && piece > 0 && connection.isValid() && !left.isEmpty(); ++i) {
    (void)test::sendRaw(output.number(), left.take(piece * 4));
    dispatch(connection);
  }
  (void)test::sendRaw(output.number(), left.rest());
  ::shutdown(output.number(), SHUT_WR);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  Input input(data, size);
  const unsigned choice = input.byte();
  const bool isTool = choice % 2 == 0, authenticates = choice / 2 % 2 == 0;
  test::Channels channels;
  const auto connection =
      isTool ? channels.toolSide(kCarryLimit) : channels.masterSide(kCarryLimit);
  const FileDescriptor &output = isTool ? channels.toTool.far : channels.toMaster.far;
  test::RecordingRoot root;
  bool hasHungUp = false; // before that, waiting for an answer would never end
  root.onRequest = [&](const test::Requested &request, FinderClient &asking) {
    asking.noteLines(request.previous, request.paths);
    if (hasHungUp)
      asking.self();
  };
  if (isTool)
    connection->setRootObject(root);
  else
    request(*connection);
  if (authenticates)
    check(test::sendRaw(output.number(), isTool
                                             ? "OK 0123456789abcdef0123456789abcdef\r\n"
                                             : std::string("\0AUTH ANONYMOUS\r\nBEGIN\r\n", 24)));
  say(output, *connection, input);
  hasHungUp = true;
  if (isTool)
    NSRunLoop::currentRunLoop().run();
  check(test::pump(*connection, *connection, [&] { return !connection->isValid(); }));
  return 0;
}
