// HandOverFuzzer.cpp - either side's hand-over of ports, with a far side that sends what the input
// says (MessageParts.h). It ends, and no descriptor is left behind.
#include "fuzz/Check.h"
#include "fuzz/MessageParts.h"
#include "fuzz/Silence.h"
#include "protocol/HandOver.h"
#include "tests/support/TemporaryDirectory.h"

#include <cstdint>
#include <cstdlib>
#include <thread>

using namespace tesker;

namespace {

constexpr int kMostSteps = 40; // more than there are parts

// A tool that connects and sends; then it has gone.
void handOverToTool(const std::string &directory, const std::string &name, Input input) {
  auto listening = MasterHandOver::listen(directory);
  check(static_cast<bool>(listening));
  FileDescriptor tool(::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0));
  const sockaddr_un address = test::addressOf(name);
  check(::connect(tool.number(), reinterpret_cast<const sockaddr *>(&address), sizeof address) ==
        0);
  using State = MasterHandOver::State;
  check(listening->step() == State::waiting); // takes the connection
  const Descriptors descriptors;              // the tool keeps its end
  sendParts(tool.number(), input, descriptors);
  std::vector<pollfd> watched;
  listening->appendPollDescriptors(watched);
  check(watched.size() == 2);
  State state = listening->step();
  tool.reset();
  for (int i = 0; i < kMostSteps && state == State::waiting; ++i)
    state = listening->step();
  check(state != State::waiting);
  check((state == State::done) == static_cast<bool>(listening->connection()));
  check((state == State::broken || state == State::failed) == !listening->reason().empty());
}

// A master that answers the tool's message over the port that came with it.
void handOverToMaster(const std::string &name, Input input) {
  const FileDescriptor listener = test::boundSocket(name);
  check(::listen(listener.number(), 1) == 0);
  std::thread master([&] {
    const FileDescriptor tool(::accept4(listener.number(), nullptr, nullptr, SOCK_CLOEXEC));
    const auto [bytes, rights] = test::receiveRaw(tool.number());
    check(bytes.size() == kMessageSize && rights.size() == 1);
    sendParts(rights[0].number(), input, Descriptors());
  });
  const auto connection = newSlave();
  master.join();
  ::unlink(name.c_str());
  port_t service = PORT_NULL; // gives the remembered right to the service up
  check(bootstrap_look_up(bootstrap_port(), kMasterServiceName, service) != 0);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  silenceLogs();
  static const test::TemporaryDirectory temporary;
  static const std::string directory = temporary.makeDirectory("names", 0700);
  static const std::string name = directory + "/" + std::string(kMasterServiceName);
  ::setenv("TESKER_BOOTSTRAP_DIR", directory.c_str(), 1);
  const auto before = test::openDescriptorCount();
  Input input(data, size);
  if (input.byte() % 2 == 0)
    handOverToTool(directory, name, input);
  else
    handOverToMaster(name, input);
  check(test::openDescriptorCount() == before);
  return 0;
}
