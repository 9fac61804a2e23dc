// HandOverFuzzer.cpp - either side's hand-over of ports, with a far side that sends what the input
// says (MessageParts.h). It ends, and no descriptor is left behind.
//
// The input's first byte says which side it is, and in bits 1 and 2 what fails: system calls
// (FailingCalls.h), or the descriptors run out. Then come the bytes that say more about that. Bits
// 3 and 4 say whether somebody has taken the master's name before, and listens there.
#include "fuzz/Check.h"
#include "fuzz/FailingCalls.h"
#include "fuzz/MessageParts.h"
#include "fuzz/Silence.h"
#include "protocol/HandOver.h"
#include "tests/support/TemporaryDirectory.h"

#include <cstdint>
#include <cstdlib>
#include <latch>
#include <optional>
#include <sched.h>
#include <thread>

using namespace tesker;

namespace {

constexpr int kMostSteps = 40; // more than there are parts

// What this side lacks while it lives.
class Lack {
public:
  Lack(unsigned choice, Input &input) {
    if (choice / 2 % 2 != 0)
      scoped_.emplace(calls_.emplace(input));
    if (choice / 4 % 2 != 0)
      few_.emplace(input.byte() % 8);
  }
  // Whether it may have failed because of that.
  bool mayHaveShown() const { return few_ || (calls_ && calls_->hasFailed()); }

private:
  std::optional<FailingCalls> calls_;
  std::optional<ScopedOperatingSystem> scoped_;
  std::optional<FewDescriptors> few_;
};

// A tool that connects and sends; then it has gone.
void handOverToTool(const std::string &directory, const std::string &name, unsigned choice,
                    Input input) {
  FileDescriptor tool(::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0));
  const Descriptors descriptors; // the tool keeps its end
  const sockaddr_un address = test::addressOf(name);
  FileDescriptor former;
  if (choice / 8 % 2 != 0)
    former = test::boundSocket(name);
  const bool isTaken = former && choice / 16 % 2 != 0 && ::listen(former.number(), 1) == 0;
  const Lack lack(choice, input);
  auto listening = MasterHandOver::listen(directory);
  if (!listening) {
    check(isTaken || lack.mayHaveShown());
    return;
  }
  check(::connect(tool.number(), reinterpret_cast<const sockaddr *>(&address), sizeof address) ==
        0);
  using State = MasterHandOver::State;
  State state = listening->step(); // takes the connection
  check(state == State::waiting || lack.mayHaveShown());
  sendParts(tool.number(), input, descriptors);
  std::vector<pollfd> watched;
  listening->appendPollDescriptors(watched);
  check(watched.size() == 2 || lack.mayHaveShown());
  if (state == State::waiting)
    state = listening->step();
  tool.reset();
  for (int i = 0; i < kMostSteps && state == State::waiting; ++i)
    state = listening->step();
  check(state != State::waiting || lack.mayHaveShown());
  check((state == State::done) == static_cast<bool>(listening->connection()));
  check((state == State::broken || state == State::failed) == !listening->reason().empty());
  if (state == State::done)
    check(listening->step() == State::done || lack.mayHaveShown());
  listening->appendPollDescriptors(watched);
}

// Answers the tool's message over the port that came with it, until nobody listens any longer. In
// a thread with descriptors of its own, so that each side has as many as it has.
void beMaster(const FileDescriptor &listener, Input input, std::latch &isReady) {
  check(::unshare(CLONE_FILES) == 0);
  isReady.count_down();
  const FileDescriptor tool(::accept4(listener.number(), nullptr, nullptr, SOCK_CLOEXEC));
  pollfd waiting[] = {{tool.number(), POLLIN, 0}, {listener.number(), 0, 0}};
  if (!tool || ::poll(waiting, 2, -1) < 0 || (waiting[0].revents & POLLIN) == 0)
    return;
  const auto [bytes, rights] = test::receiveRaw(tool.number());
  if (rights.size() == 1)
    sendParts(rights[0].number(), input, Descriptors());
}

void handOverToMaster(const std::string &name, unsigned choice, Input input) {
  const FileDescriptor listener = test::boundSocket(name);
  check(::listen(listener.number(), 1) == 0);
  {
    std::latch isReady(1);
    const Lack lack(choice, input);
    std::thread master([&] { beMaster(listener, input, isReady); });
    isReady.wait();
    const auto connection = newSlave();
    ::shutdown(listener.number(), SHUT_RDWR);
    master.join();
  }
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
  const unsigned choice = input.byte();
  ::unlink(name.c_str()); // a tool side that could not look whose it is has left it
  if (choice % 2 == 0)
    handOverToTool(directory, name, choice, input);
  else
    handOverToMaster(name, choice, input);
  check(test::openDescriptorCount() == before);
  return 0;
}
